#include "Bench.h"
#include "Inputs.h"
#include "Libxslt.h"
#include "Saxon.h"
#include "Xalan.h"

#include "ZEPCfgXMLExpressionServices.h"
#include "ZEPHResult.h"

#include <memory>
#include <string>
#include <vector>

// The formatting sequence over lists of expressions, beside those who prepare the same stylesheet once and
// apply it to the same list. An iteration is the whole list.
//
// Ours reads and gives UTF-16 texts, as its callers have them; each peer has its own kind of text: UTF-8 for
// those in C and C++, Java's strings for Saxon.

namespace {

struct List {
  inputs::Size size;
  std::size_t count;
};

// One program for each encoding of the output: a process that has once decoded a sequence's output as UTF-8
// goes on doing so.
#ifdef ZEP_OUTPUT_IS_UTF16
constexpr bool isUTF16 = true;
constexpr const char* work = "utf16";
constexpr const char* stylesheet = ZEP_STYLESHEET_UTF16;
constexpr List lists[] = {{inputs::size1KB, 10'000}};
#else
constexpr bool isUTF16 = false;
constexpr const char* work = "utf8";
constexpr const char* stylesheet = ZEP_STYLESHEET_UTF8;
constexpr List lists[] = {
    {inputs::size1KB, 10'000}, {inputs::size10KB, 200}, {inputs::size100KB, 20}, {inputs::size10MB, 1}};
#endif

using Texts = std::vector<std::string>;

class Sequence {
public:
  Sequence() {
    bench::require(ZEPSucceeded(ZEPCfgXMLExpressionServices::StartExpressionFormatting(stylesheet)),
                   "the sequence does not start");
  }
  ~Sequence() { ZEPCfgXMLExpressionServices::EndExpressionFormatting(); }
  Sequence(const Sequence&) = delete;
  Sequence& operator=(const Sequence&) = delete;

  static ZEPUnicodeString Format(const ZEPUnicodeString& expression) {
    ZEPUnicodeString text;
    bench::require(ZEPCfgXMLExpressionServices::ExpressionFormatting(expression, text, 0) == S_OK,
                   "the sequence does not format an expression");
    return text;
  }
};

// What one list is formatted with, and by whom.
class Comparison {
public:
  explicit Comparison(const List& list)
      : m_name(std::string("sequence/") + work + "/" + list.size.name),
        m_expressions(inputs::expressions(list.count, list.size.bytes)),
        m_libxslt(stylesheet),
        m_xalan(stylesheet) {
    for (const std::string& expression : m_expressions) {
      m_ourExpressions.push_back(bench::textOf(expression));
    }
  }

  // What every peer makes of the list has to be what ours makes of it.
  void Verify() {
    m_ourTexts = OurTexts();
    for (std::size_t i = 0; i < m_expressions.size(); ++i) {
      const std::string& expression = m_expressions[i];
      bench::requireSame(m_name + "/libxslt_best", m_ourTexts[i], m_libxslt.Best(expression));
      bench::requireSame(m_name + "/libxslt_loop", m_ourTexts[i], Decoded(m_libxslt.Plain(expression)));
      bench::requireSame(m_name + "/xalan", m_ourTexts[i], Decoded(m_xalan.Format(expression)));
    }
  }

  void AddOurs() {
    bench::addPrepared(m_name + "/ours", [this]() -> bench::Work {
      return [this, sequence = std::make_shared<Sequence>()] {
        for (const ZEPUnicodeString& expression : m_ourExpressions) {
          bench::keep(Sequence::Format(expression));
        }
      };
    });
  }
  void AddLibxslt() {
    AddPeer("libxslt_best", [this](const std::string& expression) { return m_libxslt.Best(expression); });
    AddPeer("libxslt_loop", [this](const std::string& expression) { return m_libxslt.Plain(expression); });
  }
  void AddXalan() {
    AddPeer("xalan", [this](const std::string& expression) { return m_xalan.Format(expression); });
  }
  // It starts a Java machine, so that happens when its turn comes.
  void AddSaxon() {
    if (!saxon::isAvailable()) {
      return;
    }
    bench::addTimed(m_name + "/saxon", [this] {
      if (!m_saxon) {
        m_saxon = std::make_unique<saxon::Formatter>(stylesheet, m_expressions);
        for (std::size_t i = 0; i < m_ourTexts.size(); ++i) {
          bench::requireSame(m_name + "/saxon", m_ourTexts[i], m_saxon->FirstTexts().at(i));
        }
        m_saxon->WarmUp();
      }
      return m_saxon->SecondsOfPass();
    });
  }

private:
  Texts OurTexts() const {
    const Sequence sequence;
    Texts texts;
    for (const ZEPUnicodeString& expression : m_ourExpressions) {
      texts.push_back(bench::utf8Of(Sequence::Format(expression)));
    }
    return texts;
  }

  // UTF-16 of this machine's byte order, with or without its mark.
  static std::string Decoded(const std::string& bytes) {
    if (!isUTF16) {
      return bytes;
    }
    std::u16string units(bytes.size() / 2, u'\0');
    bytes.copy(reinterpret_cast<char*>(units.data()), units.size() * 2);
    return inputs::toUTF8(units.starts_with(u'\uFEFF') ? units.substr(1) : units);
  }

  template <class Format>
  void AddPeer(const char* who, Format format) {
    bench::add(m_name + "/" + who, [this, format] {
      for (const std::string& expression : m_expressions) {
        bench::keep(format(expression));
      }
    });
  }

  const std::string m_name;
  const Texts m_expressions;
  std::vector<ZEPUnicodeString> m_ourExpressions;
  Texts m_ourTexts;
  libxslt::Stylesheet m_libxslt;
  XalanStylesheet m_xalan;
  std::unique_ptr<saxon::Formatter> m_saxon;
};

} // namespace

int main(int argc, char** argv) {
  std::vector<std::unique_ptr<Comparison>> comparisons;
  for (const List& list : lists) {
    Comparison& comparison = *comparisons.emplace_back(std::make_unique<Comparison>(list));
    comparison.Verify();
    comparison.AddOurs();
    comparison.AddLibxslt();
    comparison.AddXalan();
    comparison.AddSaxon();
  }
  return bench::run(argc, argv);
}
