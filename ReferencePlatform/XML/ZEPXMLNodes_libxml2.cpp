#include "ZEPXMLNodes_libxml2.h"

#include <libxml/dict.h>
#include <libxml/tree.h>

namespace zep {
namespace {

constexpr int kMaxStored = 8192; // of each of both kinds: about 2 MB
constexpr int kStoredWhenIdle = 256;

// The parser keeps some texts in its dictionary.
void FreeContent(xmlNode& node) {
  if (node.content != nullptr && xmlDictOwns(node.doc->dict, node.content) == 0) {
    xmlFree(node.content);
  }
}

void StoreNode(xmlParserCtxt& parser, xmlNode& node) {
  if (parser.freeElemsNr >= kMaxStored) {
    xmlFree(&node);
    return;
  }
  node.next = parser.freeElems;
  parser.freeElems = &node;
  ++parser.freeElemsNr;
}

void StoreAttribute(xmlParserCtxt& parser, xmlAttr& attribute) {
  if (parser.freeAttrsNr >= kMaxStored) {
    xmlFree(&attribute);
    return;
  }
  attribute.next = parser.freeAttrs;
  parser.freeAttrs = &attribute;
  ++parser.freeAttrsNr;
}

void RecycleText(xmlParserCtxt& parser, xmlNode& node) {
  FreeContent(node);
  StoreNode(parser, node);
}

void RecycleAttributes(xmlParserCtxt& parser, xmlAttr* attribute) {
  while (attribute != nullptr) {
    xmlAttr* const next = attribute->next;
    for (xmlNode* text = attribute->children; text != nullptr;) {
      xmlNode* const nextText = text->next;
      RecycleText(parser, *text);
      text = nextText;
    }
    StoreAttribute(parser, *attribute);
    attribute = next;
  }
}

// What has no children any more. Names are those of the dictionary.
void RecycleNode(xmlParserCtxt& parser, xmlNode& node) {
  if (node.type == XML_TEXT_NODE) {
    RecycleText(parser, node);
  } else if (node.type == XML_ELEMENT_NODE) {
    RecycleAttributes(parser, node.properties);
    if (node.nsDef != nullptr) {
      xmlFreeNsList(node.nsDef);
    }
    StoreNode(parser, node);
  } else {
    xmlFreeNode(&node);
  }
}

xmlNode* Lowest(xmlNode* node) {
  while (node->type == XML_ELEMENT_NODE && node->children != nullptr) {
    node = node->children;
  }
  return node;
}

bool IsPlain(const xmlDoc& document, const xmlParserCtxt& parser) {
  return document.dict == parser.dict && document.intSubset == nullptr && document.extSubset == nullptr &&
         document.ids == nullptr && document.refs == nullptr;
}

} // namespace

void RecycleDocument(xmlParserCtxtPtr parser, xmlDocPtr document) {
  if (IsPlain(*document, *parser) && document->children != nullptr) {
    for (xmlNode* node = Lowest(document->children); node != nullptr;) {
      xmlNode* const next = node->next;
      xmlNode* const parent = node->parent;
      RecycleNode(*parser, *node);
      const bool isTop = parent == reinterpret_cast<xmlNode*>(document);
      if (next != nullptr) {
        node = Lowest(next);
      } else {
        node = isTop ? nullptr : parent;
        parent->children = nullptr;
      }
    }
    document->children = nullptr;
    document->last = nullptr;
  }
  xmlFreeDoc(document);
}

void ShrinkNodeStore(xmlParserCtxtPtr parser) {
  while (parser->freeElemsNr > kStoredWhenIdle) {
    xmlNode* const node = parser->freeElems;
    parser->freeElems = node->next;
    --parser->freeElemsNr;
    xmlFree(node);
  }
  while (parser->freeAttrsNr > kStoredWhenIdle) {
    xmlAttr* const attribute = parser->freeAttrs;
    parser->freeAttrs = attribute->next;
    --parser->freeAttrsNr;
    xmlFree(attribute);
  }
}

} // namespace zep
