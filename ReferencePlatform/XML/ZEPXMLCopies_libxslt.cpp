#include "ZEPXMLCopies_libxslt.h"

#include "ZEPXMLSession_libxslt.h"
#include "ZEPXMLTree_libxml2.h"
#include "ZEPXMLValues_libxml2.h"

#include <cstring>

#include <libxslt/xslt.h>
#include <libxslt/xsltInternals.h>

namespace zep {
namespace {

constexpr std::size_t kNodesBetweenLooksAtTheClock = 65536;
constexpr std::size_t kStepsPerMillisecond = 200'000;
constexpr std::size_t kAroundElements = 1;  // the document above them, or the text in the deepest one
constexpr std::size_t kBytesInOneStep = 16; // of two texts that are compared

constexpr std::size_t kMaxNamespacesInResult = 1'000;
constexpr std::size_t kFewNamespaces = 16; // that one element brings

// ---- what is looked through for a namespace ----------------------------------------------------

struct Scope {
  std::size_t steps = 0;
  std::size_t namespaces = 0;

  void Add(const Scope& other) {
    steps += other.steps;
    namespaces += other.namespaces;
  }
  void Remove(const Scope& other) {
    steps -= other.steps;
    namespaces -= other.namespaces;
  }
  // That a copy of its declarations takes.
  std::size_t Bytes() const { return namespaces * kBytesOfDeclaration + steps * kBytesInOneStep; }

  static constexpr std::size_t kBytesOfDeclaration = sizeof(xmlNs) + 64;
};

std::size_t StepsFor(const xmlChar* text) {
  return View(text).size() / kBytesInOneStep;
}

Scope Of(const xmlNs& declaration) {
  return {1 + StepsFor(declaration.prefix) + StepsFor(declaration.href), 1};
}

Scope OwnScope(const xmlNode& element) {
  Scope scope{1, 0};
  for (const xmlNs* declaration = element.nsDef; declaration != nullptr; declaration = declaration->next) {
    scope.Add(Of(*declaration));
  }
  return scope;
}

Scope ScopeIn(const xmlNode* element) {
  Scope scope;
  for (; element != nullptr && element->type == XML_ELEMENT_NODE; element = element->parent) {
    scope.Add(OwnScope(*element));
  }
  return scope;
}

// Those in the scope of one element that another one's scope lacks.
Scope Missing(const xmlNode* element, xmlNode& target) {
  Scope missing;
  for (; element != nullptr && element->type == XML_ELEMENT_NODE; element = element->parent) {
    for (const xmlNs* declaration = element->nsDef; declaration != nullptr; declaration = declaration->next) {
      const xmlNs* const known = xmlSearchNs(target.doc, &target, declaration->prefix);
      if (known == nullptr || xmlStrEqual(known->href, declaration->href) == 0) {
        missing.Add(Of(*declaration));
      }
    }
  }
  return missing;
}

std::size_t StepsFor(const xmlAttr& attribute) {
  return 1 + StepsFor(attribute.name) + (attribute.ns == nullptr ? 0 : StepsFor(attribute.ns->href));
}

// Where an instruction writes. For those inside of literal elements libxslt knows it only once they are
// carried out: in the innermost of these, the last of those that are written so far.
xmlNodePtr TargetOf(const XMLSession& session, const xmlNode& instruction) {
  xmlNodePtr target = session.Transformation()->insert;
  for (const xmlNode* around = instruction.parent; around != nullptr && IsLiteral(*around);
       around = around->parent) {
    if (target == nullptr || target->type == XML_TEXT_NODE || target->last == nullptr) {
      break;
    }
    target = target->last;
  }
  return target;
}

// ---- what nodes weigh --------------------------------------------------------------------------

// Of nodes that are walked through.
class Weight {
public:
  explicit Weight(XMLSession& session) : m_session(session) {}
  Weight(const Weight&) = delete;
  Weight& operator=(const Weight&) = delete;
  virtual ~Weight() = default;

  // With all that is below it.
  void AddTree(const xmlNode& top) {
    std::size_t depth = 0;
    const xmlNode* node = &top;
    while (Add(*node)) {
      if (HasChildren(*node)) {
        Enter(*node);
        node = node->children;
        if (++depth > m_session.Limits().maxDepth + kAroundElements) {
          m_session.Fail("the stylesheet nests elements too deeply");
          return;
        }
        continue;
      }
      while (node != &top && node->next == nullptr) {
        node = node->parent;
        Leave(*node);
        --depth;
      }
      if (node == &top) {
        return;
      }
      node = node->next;
    }
  }

  void CheckMemory() { m_session.CheckMemory(m_nodes * sizeof(xmlNode) + m_textBytes + m_otherBytes); }

protected:
  XMLSession& Session() { return m_session; }

  void AddBytes(std::size_t bytes) { m_otherBytes += bytes; }

  // False once the limits are passed.
  bool Add(const xmlNode& node) {
    if (node.type == XML_ELEMENT_NODE) {
      AddElement(node);
    } else if (node.type == XML_TEXT_NODE && node.content != nullptr) {
      m_textBytes += std::strlen(reinterpret_cast<const char*>(node.content));
    }
    if (++m_nodes > m_session.Limits().maxNodes) {
      m_session.Fail("there are more nodes than ZEP_XSLT_MAX_NODES allows");
    }
    m_session.CheckTextSize(m_textBytes);
    if (m_nodes % kNodesBetweenLooksAtTheClock == 0) {
      m_session.CheckUse();
    }
    return !m_session.HasFailed();
  }

private:
  virtual void Enter(const xmlNode&) {}
  virtual void Leave(const xmlNode&) {}
  virtual void OnElement(const xmlNode&) {}

  void AddElement(const xmlNode& element) {
    for (const xmlAttr* attribute = element.properties; attribute != nullptr; attribute = attribute->next) {
      m_nodes += 2;
    }
    OnElement(element);
  }

  XMLSession& m_session;
  std::size_t m_nodes = 0;
  std::size_t m_textBytes = 0;
  std::size_t m_otherBytes = 0;
};

// ---- copies ------------------------------------------------------------------------------------

// Of nodes that are copied to the end of `target`, with the steps that it takes to find out what the
// copies' names mean there.
class CopiedWeight final : public Weight {
public:
  CopiedWeight(XMLSession& session, xmlNodePtr target)
      : Weight(session),
        m_target(target),
        m_scope(ScopeIn(target)) {}

  void AddSelected(const xmlNode& node) {
    if (node.type == XML_NAMESPACE_DECL) {
      AddNamespace(reinterpret_cast<const xmlNs&>(node));
    } else if (node.type == XML_ATTRIBUTE_NODE) {
      AddAttribute(reinterpret_cast<const xmlAttr&>(node));
      Add(node);
    } else if (node.type == XML_ELEMENT_NODE && node.parent != nullptr &&
               node.parent->type == XML_ELEMENT_NODE) {
      AddElementWithScope(node);
    } else {
      AddTree(node);
    }
  }

private:
  void AddSteps(std::size_t steps) {
    m_steps += steps;
    if (m_steps / kStepsPerMillisecond > static_cast<std::size_t>(Session().Limits().time.count())) {
      Session().Fail("copying takes more steps than ZEP_XSLT_TIMEOUT_MS allows");
    }
  }

  // libxslt looks through the list of the element, and through what is in scope; libxml2 goes to the end of
  // the list.
  void AddNamespace(const xmlNs& declaration) {
    if (xmlStrEqual(declaration.prefix, reinterpret_cast<const xmlChar*>("xml")) != 0) {
      return; // everywhere, and never declared
    }
    const Scope own = Of(declaration);
    AddSteps(2 * m_scope.steps + own.steps);
    AddBytes(own.Bytes());
    m_scope.Add(own);
  }

  // libxml2 looks whether the element has one of the name. Where its prefix means something else, libxslt
  // tries one new prefix after the other.
  void AddAttribute(const xmlAttr& attribute) {
    if (!m_knowsAttributes) {
      m_knowsAttributes = true;
      AddAttributesOfTarget();
    }
    AddSteps(m_attributeSteps);
    m_attributeSteps += StepsFor(attribute);
    if (attribute.ns != nullptr) {
      const Scope own = Of(*attribute.ns);
      AddSteps(m_scope.steps * (m_scope.namespaces + 1));
      AddBytes(own.Bytes());
      m_scope.Add(own);
    }
  }

  void AddAttributesOfTarget() {
    if (m_target == nullptr || m_target->type != XML_ELEMENT_NODE) {
      return;
    }
    for (const xmlAttr* attribute = m_target->properties; attribute != nullptr; attribute = attribute->next) {
      m_attributeSteps += StepsFor(*attribute);
    }
  }

  // libxslt lists what is in scope where such an element stands, compares these in pairs, and declares in
  // the copy those that the result lacks.
  void AddElementWithScope(const xmlNode& element) {
    if (element.parent != m_parent) {
      m_parent = element.parent;
      m_inherited = ScopeIn(m_parent);
      AddSteps(StepsForInherited());
      m_missingBytes =
          Session().HasFailed() || m_target == nullptr ? 0 : Missing(m_parent, *m_target).Bytes();
    }
    AddSteps(StepsForInherited());
    AddBytes(m_missingBytes);
    m_scope.Add(m_inherited);
    AddTree(element);
    m_scope.Remove(m_inherited);
  }

  std::size_t StepsForInherited() const {
    return m_inherited.steps * (m_inherited.namespaces + 1) + m_inherited.namespaces * m_scope.steps;
  }

  void Enter(const xmlNode& parent) override {
    if (parent.type == XML_ELEMENT_NODE) {
      m_scope.Add(OwnScope(parent));
    }
  }

  void Leave(const xmlNode& parent) override {
    if (parent.type == XML_ELEMENT_NODE) {
      m_scope.Remove(OwnScope(parent));
    }
  }

  // Without one, it has to be known that it has none where there is one around it.
  bool NeedsNamespace(const xmlNode& element) const {
    return element.ns != nullptr || IsInNamespace(element.parent) || IsInNamespace(m_target);
  }

  static bool IsInNamespace(const xmlNode* node) {
    return node != nullptr && node->type == XML_ELEMENT_NODE && node->ns != nullptr;
  }

  void OnElement(const xmlNode& element) override {
    const Scope own = OwnScope(element);
    std::size_t attributes = 0;
    std::size_t searches = own.namespaces + (NeedsNamespace(element) ? 1 : 0);
    for (const xmlAttr* attribute = element.properties; attribute != nullptr; attribute = attribute->next) {
      ++attributes;
      searches += attribute->ns == nullptr ? 0 : 1;
    }
    // Each attribute goes to the end of their list.
    AddSteps((m_scope.steps + own.steps) * searches + attributes * attributes / 2);
    if (own.namespaces != 0) {
      AddBytes(own.Bytes());
    }
  }

  xmlNodePtr m_target;
  Scope m_scope; // where the next copy comes
  std::size_t m_steps = 0;
  std::size_t m_attributeSteps = 0; // to look at those of the target
  bool m_knowsAttributes = false;
  const xmlNode* m_parent = nullptr; // of the elements copied last
  Scope m_inherited;
  std::size_t m_missingBytes = 0;
};

} // namespace

void WatchTree(XMLSession& session, const xmlNodeSet* nodes) {
  Weight weight(session);
  for (int i = 0; nodes != nullptr && i < nodes->nodeNr && !session.HasFailed(); ++i) {
    if (nodes->nodeTab[i]->type != XML_NAMESPACE_DECL) {
      weight.AddTree(*nodes->nodeTab[i]);
    }
  }
  weight.CheckMemory();
}

void WatchCopies(XMLSession& session, const xmlNode& instruction, const xmlNodeSet* nodes) {
  CopiedWeight weight(session, TargetOf(session, instruction));
  for (int i = 0; nodes != nullptr && i < nodes->nodeNr && !session.HasFailed(); ++i) {
    weight.AddSelected(*nodes->nodeTab[i]);
  }
  weight.CheckMemory();
}

bool IsLiteral(const xmlNode& instruction) {
  return instruction.type == XML_ELEMENT_NODE && instruction.psvi == nullptr &&
         (instruction.ns == nullptr || xmlStrEqual(instruction.ns->href, XSLT_NAMESPACE) == 0);
}

void WatchNamespaces(XMLSession& session, const xmlNode& instruction, std::size_t count) {
  if (count > kFewNamespaces && ScopeIn(TargetOf(session, instruction)).namespaces > kMaxNamespacesInResult) {
    session.Fail("more than 1000 namespaces in scope in the result are refused");
  }
}

} // namespace zep
