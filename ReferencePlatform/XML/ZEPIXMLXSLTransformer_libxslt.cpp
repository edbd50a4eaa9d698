#include "ZEPIXMLXSLTransformer.h"

#include "ZEPComponent.h"
#include "ZEPHResult.h"
#include "ZEPLastError.h"
#include "ZEPUTF8Conversion.h"
#include "ZEPXMLDocument_libxml2.h"
#include "ZEPXMLInputSource.h"
#include "ZEPXMLOutput.h"
#include "ZEPXMLResult.h"
#include "ZEPXMLSession_libxslt.h"
#include "ZEPXMLStylesheet_libxslt.h"
#include "ZEPXMLTransformation_libxslt.h"
#include "ZEPXMLXSLTransformerOptions.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstring>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <strings.h>
#include <utility>

#include <libxml/encoding.h>
#include <libxml/xmlIO.h>
#include <libxslt/imports.h>
#include <libxslt/xsltutils.h>

namespace zep {
namespace {

struct OutputBufferDeleter {
  void operator()(xmlOutputBufferPtr buffer) const { xmlOutputBufferClose(buffer); }
};
using OutputBuffer = std::unique_ptr<xmlOutputBuffer, OutputBufferDeleter>;

const char* Text(const xmlChar* text) {
  return reinterpret_cast<const char*>(text);
}

const xmlChar* XMLText(const char* text) {
  return reinterpret_cast<const xmlChar*>(text);
}

// ---- the result as bytes -----------------------------------------------------------------------

// A stylesheet that names no encoding is given out as UTF-16.
constexpr char kDefaultEncoding[] = "UTF-16";

bool IsUTF8(const char* encoding) {
  return strcasecmp(encoding, "UTF-8") == 0;
}

const char* EncodingOf(xsltStylesheetPtr stylesheet) {
  const xmlChar* encoding = nullptr;
  XSLT_GET_IMPORT_PTR(encoding, stylesheet, encoding)
  return encoding == nullptr ? kDefaultEncoding : Text(encoding);
}

const xmlNode* NextNode(const xmlNode* node) {
  if (node->children != nullptr && node->type != XML_ENTITY_REF_NODE) {
    return node->children;
  }
  while (node != nullptr && node->next == nullptr) {
    node = node->parent;
    if (node == nullptr || node->type == XML_DOCUMENT_NODE || node->type == XML_HTML_DOCUMENT_NODE) {
      return nullptr;
    }
  }
  return node == nullptr ? nullptr : node->next;
}

bool IsText(const xmlNode& node) {
  return (node.type == XML_TEXT_NODE || node.type == XML_CDATA_SECTION_NODE) && node.content != nullptr;
}

std::string TextOf(const xmlDoc& document) {
  std::string text;
  for (const xmlNode* node = document.children; node != nullptr; node = NextNode(node)) {
    if (IsText(*node)) {
      text += Text(node->content);
    }
  }
  return text;
}

struct Collector {
  XMLSession& session;
  xmlBufferPtr bytes;
};

// Called from C, as the next one.
int Collect(void* context, const char* bytes, int count) {
  const Collector& collector = *static_cast<Collector*>(context);
  collector.session.CheckTimeToWrite();
  if (collector.session.HasFailed()) {
    return -1;
  }
  if (static_cast<std::size_t>(xmlBufferLength(collector.bytes)) + static_cast<std::size_t>(count) >
      collector.session.Limits().maxTextBytes) {
    collector.session.Fail("the result is larger than ZEP_XSLT_MAX_OUTPUT_BYTES allows");
    return -1;
  }
  return xmlBufferAdd(collector.bytes, XMLText(bytes), count) == 0 ? count : -1;
}

// At each character that the encoding lacks, libxml2 moves all that it has not yet converted.
constexpr std::size_t kConvertedBytes = 512;

bool IsInsideCharacter(char byte) {
  return (byte & 0xC0) == 0x80;
}

// The first byte of a character that has others.
bool IsInMany(char byte) {
  return (byte & 0xC0) == 0xC0;
}

// At most so many bytes from the beginning that are whole characters.
std::string_view WholeCharacters(std::string_view text, std::size_t most) {
  if (text.size() <= most) {
    return text;
  }
  std::size_t count = most;
  while (count > 1 && IsInsideCharacter(text[count])) {
    --count;
  }
  return text.substr(0, count);
}

// Takes UTF-8, cut anywhere, and gives it out in the encoding of `target`.
class Converter {
public:
  Converter(XMLSession& session, xmlOutputBufferPtr target) : m_session(session), m_target(target) {}

  bool Take(std::string_view text) {
    m_session.CheckTimeToWrite();
    while (!text.empty() && m_cutBytes != 0 && IsInsideCharacter(text.front()) && m_cutBytes < m_cut.size()) {
      m_cut[m_cutBytes++] = text.front();
      text.remove_prefix(1);
    }
    if (text.empty()) {
      return true;
    }
    const std::size_t last = LastCharacter(text);
    if (!Finish() || !Convert(text.substr(0, last))) {
      return false;
    }
    m_cutBytes = text.copy(m_cut.data(), m_cut.size(), last);
    return true;
  }

  bool Finish() { return Convert({m_cut.data(), std::exchange(m_cutBytes, 0)}); }

private:
  // Where the last character begins, which the next text may go on with; the end when it cannot.
  std::size_t LastCharacter(std::string_view text) const {
    for (std::size_t bytes = 1; bytes <= std::min(m_cut.size(), text.size()); ++bytes) {
      const char byte = text[text.size() - bytes];
      if (!IsInsideCharacter(byte)) {
        return text.size() - (IsInMany(byte) ? bytes : 0);
      }
    }
    return text.size();
  }

  bool Convert(std::string_view text) {
    while (!text.empty()) {
      const std::string_view piece = WholeCharacters(text, kConvertedBytes);
      if (xmlOutputBufferWrite(m_target, static_cast<int>(piece.size()), piece.data()) < 0 ||
          xmlOutputBufferFlush(m_target) < 0) {
        return false;
      }
      text.remove_prefix(piece.size());
    }
    return true;
  }

  XMLSession& m_session;
  xmlOutputBufferPtr m_target;
  std::array<char, 4> m_cut{}; // the character at the end of what came last
  std::size_t m_cutBytes = 0;
};

int Convert(void* converter, const char* bytes, int count) {
  return static_cast<Converter*>(converter)->Take({bytes, static_cast<std::size_t>(count)}) ? count : -1;
}

bool IsMarkAlone(const std::string& bytes, const char* encoding) {
  return (bytes == "\xFF\xFE" || bytes == "\xFE\xFF") && strcasecmp(encoding, "UTF-16") == 0;
}

template <class Write>
bool Writes(xmlOutputBufferPtr buffer, const Write& write) {
  return buffer != nullptr && write(buffer) >= 0 && xmlOutputBufferFlush(buffer) >= 0 && buffer->error == 0;
}

// What `write` writes, in this encoding. Characters that the encoding lacks become character
// references.
template <class Write>
bool CollectEncoded(Collector& collector, const char* encoding, const Write& write) {
  if (IsUTF8(encoding)) {
    const OutputBuffer buffer(xmlOutputBufferCreateIO(Collect, nullptr, &collector, nullptr));
    return Writes(buffer.get(), write);
  }
  const OutputBuffer target(
      xmlOutputBufferCreateIO(Collect, nullptr, &collector, xmlFindCharEncodingHandler(encoding)));
  if (target == nullptr) {
    return false;
  }
  Converter converter(collector.session, target.get());
  const OutputBuffer buffer(xmlOutputBufferCreateIO(Convert, nullptr, &converter, nullptr));
  return Writes(buffer.get(), write) && converter.Finish() &&
         Writes(target.get(), [](xmlOutputBufferPtr) { return 0; });
}

// Where nothing is written, there is no byte-order mark either.
template <class Write>
std::optional<std::string> Encoded(XMLSession& session, const char* encoding, const Write& write) {
  const std::unique_ptr<xmlBuffer, void (*)(xmlBufferPtr)> collected(xmlBufferCreate(), xmlBufferFree);
  if (collected == nullptr) {
    return std::nullopt;
  }
  xmlBufferSetAllocationScheme(collected.get(), XML_BUFFER_ALLOC_DOUBLEIT);
  Collector collector{session, collected.get()};
  if (!CollectEncoded(collector, encoding, write)) {
    return std::nullopt;
  }
  std::string bytes(Text(xmlBufferContent(collected.get())),
                    static_cast<std::size_t>(xmlBufferLength(collected.get())));
  return IsMarkAlone(bytes, encoding) ? std::string() : bytes;
}

std::optional<std::string> BytesAsText(XMLSession& session, const xmlDoc& result, const char* encoding) {
  std::string text = TextOf(result);
  if (text.size() > session.Limits().maxTextBytes) {
    session.Fail("the result is larger than ZEP_XSLT_MAX_OUTPUT_BYTES allows");
    return std::nullopt;
  }
  if (IsUTF8(encoding)) {
    return text;
  }
  return Encoded(session, encoding, [&text](xmlOutputBufferPtr buffer) {
    return xmlOutputBufferWrite(buffer, static_cast<int>(text.size()), text.data());
  });
}

// In the stylesheet's own output method.
std::optional<std::string> BytesAsWritten(XMLSession& session, xmlDocPtr result, xsltStylesheetPtr stylesheet,
                                          const char* encoding) {
  return Encoded(session, encoding, [result, stylesheet](xmlOutputBufferPtr buffer) {
    return xsltSaveResultTo(buffer, result, stylesheet);
  });
}

// A name as XPath knows it, and texts that C can carry.
bool IsParameter(const ZEPUTF8Conversion& name, const ZEPUTF8Conversion& uri,
                 const ZEPUTF8Conversion& value) {
  for (const ZEPUTF8Conversion* const text : {&name, &uri, &value}) {
    if (std::strlen(text->Bytes()) != text->ByteCount()) {
      return false;
    }
  }
  return xmlValidateNCName(XMLText(name.Bytes()), 0) == 0 && std::strchr(uri.Bytes(), '}') == nullptr;
}

// ---- the transformer ---------------------------------------------------------------------------

class Transformer final : public ZEPComponent<ZEPIXMLXSLTransformer> {
public:
  explicit Transformer(PreparedStylesheetPtr prepared) : m_prepared(std::move(prepared)) {}
  ~Transformer() override {
    if (m_isSound) {
      KeepPrepared(std::move(m_prepared));
    }
  }

  long SetInputSource(const ZEPISAXInputSource_var& iSource) override {
    m_input = iSource;
    return S_OK;
  }
  long SetOption(const ZEPUnicodeString& iOption, const ZEPUnicodeString& iValue) override {
    if (!(iOption == ZEPXMLXSLTransformerOptions::OutputFormat) || !(iValue == "text")) {
      return Failed(E_INVALIDARG, "the option or its value is not known");
    }
    m_isTextOutput = true;
    return S_OK;
  }
  long SetOutputSource(const ZEPIXMLPPOutputSource_var& iSource) override {
    m_output = iSource;
    return S_OK;
  }
  long SetParameter(const ZEPUnicodeString& iName, const ZEPUnicodeString& iNamespace,
                    const ZEPUnicodeString& iValue) override {
    return XMLResult([&] { return AddParameter(iName, iNamespace, iValue); });
  }

  long Transform() override {
    return XMLResult([this] { return TransformInput(); });
  }

private:
  long AddParameter(const ZEPUnicodeString& iName, const ZEPUnicodeString& iNamespace,
                    const ZEPUnicodeString& iValue) {
    const ZEPUTF8Conversion name(iName);
    const ZEPUTF8Conversion uri(iNamespace);
    const ZEPUTF8Conversion value(iValue);
    if (!IsParameter(name, uri, value)) {
      return Failed(E_INVALIDARG, "the name or the value of a parameter is not one");
    }
    const std::string prefix = uri.ByteCount() == 0 ? "" : "{" + std::string(uri.Bytes()) + "}";
    m_parameters[prefix + name.Bytes()] = value.Bytes();
    return S_OK;
  }

  long TransformInput() {
    const XMLInputSource* const source = SourceOf(m_input);
    XMLOutputSource* const output = SourceOf(m_output);
    if (source == nullptr || output == nullptr) {
      return Failed(E_FAIL, source == nullptr ? "there is no input source" : "there is no output source");
    }
    XMLSession session(CurrentXMLLimits());
    XMLDocument document = m_prepared->parser.Parse(session, *source);
    if (document == nullptr) {
      return Failed(E_FAIL, std::string(source->SourceId().ConvertToChar()) + ": " + session.Message());
    }
    std::optional<std::string> bytes = Apply(session, document.get());
    if (!bytes || session.HasFailed()) {
      const std::string message = session.Message();
      return Failed(E_FAIL, message.empty() ? "the result cannot be written in its encoding" : message);
    }
    return output->Deliver(std::move(*bytes)) ? S_OK : Failed(E_FAIL, "the output buffer is gone");
  }

  static long Failed(long code, const std::string& message) {
    ZEPSetLastError(code, message);
    return code;
  }

  std::optional<std::string> Apply(XMLSession& session, xmlDocPtr document) {
    const bool wasSound = std::exchange(m_isSound, false);
    const XMLDocument result = m_prepared->transformation.Apply(session, document, m_parameters);
    if (result == nullptr) {
      return std::nullopt;
    }
    m_isSound = wasSound;
    const char* const encoding = EncodingOf(m_prepared->stylesheet.get());
    return m_isTextOutput ? BytesAsText(session, *result, encoding)
                          : BytesAsWritten(session, result.get(), m_prepared->stylesheet.get(), encoding);
  }

  PreparedStylesheetPtr m_prepared;
  bool m_isSound = true; // no transformation with it failed
  ZEPISAXInputSource_var m_input;
  ZEPIXMLPPOutputSource_var m_output;
  XSLTParameters m_parameters;
  bool m_isTextOutput = false;
};

} // namespace

ZEPIXMLXSLTransformer_var MakeTransformer(PreparedStylesheetPtr prepared) {
  return ZEPIXMLXSLTransformer_var(new Transformer(std::move(prepared)));
}

} // namespace zep
