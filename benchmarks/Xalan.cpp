#include "Xalan.h"

#include "Bench.h"

#include <xalanc/XSLT/XSLTInputSource.hpp>
#include <xalanc/XalanTransformer/XalanCompiledStylesheet.hpp>
#include <xalanc/XalanTransformer/XalanParsedSource.hpp>
#include <xalanc/XalanTransformer/XalanTransformer.hpp>
#include <xercesc/util/BinMemInputStream.hpp>
#include <xercesc/util/PlatformUtils.hpp>

namespace {

// Once for the process. Not taken back: static objects of the libraries outlive it.
void initialise() {
  static const bool done = [] {
    xercesc::XMLPlatformUtils::Initialize();
    xalanc::XalanTransformer::initialize();
    return true;
  }();
  static_cast<void>(done);
}

std::size_t collect(const char* bytes, std::size_t count, void* text) {
  static_cast<std::string*>(text)->append(bytes, count);
  return count;
}

// An expression where it lies in memory.
class ExpressionSource : public xalanc::XSLTInputSource {
public:
  explicit ExpressionSource(std::string_view expression) : m_expression(expression) {}

  xercesc::BinInputStream* makeStream() const override {
    return new xercesc::BinMemInputStream(reinterpret_cast<const XMLByte*>(m_expression.data()),
                                          m_expression.size(), xercesc::BinMemInputStream::BufOpt_Reference);
  }

private:
  std::string_view m_expression;
};

} // namespace

struct XalanStylesheet::Objects {
  Objects() { initialise(); }

  void Require(int code) {
    if (code != 0) {
      bench::fail(std::string("Xalan: ") + transformer->getLastError());
    }
  }

  std::unique_ptr<xalanc::XalanTransformer> transformer;
  const xalanc::XalanCompiledStylesheet* stylesheet = nullptr; // the transformer's
};

XalanStylesheet::XalanStylesheet(const std::string& path) : m_objects(std::make_unique<Objects>()) {
  m_objects->transformer = std::make_unique<xalanc::XalanTransformer>();
  m_objects->Require(m_objects->transformer->compileStylesheet(path.c_str(), m_objects->stylesheet));
}

XalanStylesheet::~XalanStylesheet() = default;

std::string XalanStylesheet::Format(std::string_view expression) {
  const ExpressionSource source(expression);
  const xalanc::XalanParsedSource* parsed = nullptr;
  m_objects->Require(m_objects->transformer->parseSource(source, parsed));
  std::string text;
  m_objects->Require(m_objects->transformer->transform(*parsed, m_objects->stylesheet, &text, collect));
  m_objects->transformer->destroyParsedSource(parsed);
  return text;
}
