#include "ZEPCfgXMLWriter.h"

#include "PLMCfgInListVal.h"
#include "PLMCfgInString.h"
#include "ZEPHResult.h"
#include "ZEPUTF8Conversion.h"
#include "ZEPUnicodeString.h"
#include "ZEPXMLMemory_libxml2.h"

#include <limits>
#include <set>
#include <string>
#include <vector>

#include <libxml/chvalid.h>
#include <libxml/tree.h>
#include <libxml/xmlwriter.h>

namespace {

// The caller has the text in memory anyway.
constexpr std::size_t kNoLimit = std::numeric_limits<std::size_t>::max() / 4;

const xmlChar* XMLText(const char* text) {
  return reinterpret_cast<const xmlChar*>(text);
}

bool IsHighSurrogate(char16_t unit) {
  return unit >= 0xD800 && unit <= 0xDBFF;
}

bool IsLowSurrogate(char16_t unit) {
  return unit >= 0xDC00 && unit <= 0xDFFF;
}

// Whether XML can hold every character: no control characters, no lone surrogates.
bool IsXMLText(const ZEPUnicodeString& text) {
  const char16_t* const units = text.CastToUnitPtr();
  const int length = text.GetLengthInChar();
  for (int i = 0; i < length; ++i) {
    if (IsHighSurrogate(units[i])) {
      if (i + 1 == length || !IsLowSurrogate(units[i + 1])) {
        return false;
      }
      ++i;
    } else if (IsLowSurrogate(units[i]) || !xmlIsCharQ(static_cast<unsigned int>(units[i]))) {
      return false;
    }
  }
  return true;
}

bool IsXMLName(const ZEPUnicodeString& name) {
  return IsXMLText(name) && xmlValidateQName(XMLText(name.CastToCharPtr()), 0) == 0;
}

} // namespace

struct ZEPCfgXMLWriter::Implementation final : zep::XMLMemory::Owner {
  // Where in the document the writer is.
  enum class Place { Start, Prolog, Element, End, Done };

  Implementation() {
    Do([this] {
      buffer = xmlBufferCreate();
      writer = buffer == nullptr ? nullptr : xmlNewTextWriterMemory(buffer, 0);
      return writer == nullptr ? -1 : 0;
    });
  }
  ~Implementation() {
    if (writer != nullptr) {
      xmlFreeTextWriter(writer);
    }
    if (buffer != nullptr) {
      xmlBufferFree(buffer);
    }
  }
  Implementation(const Implementation&) = delete;
  Implementation& operator=(const Implementation&) = delete;

  // The first failure stands.
  long Fail(long code) {
    if (ZEPSucceeded(failure)) {
      failure = code;
    }
    return failure;
  }
  // Whether the document may go on from here; if not, the failure is set.
  bool IsAt(Place wanted) {
    if (ZEPSucceeded(failure) && place != wanted) {
      failure = E_UNEXPECTED;
    }
    return ZEPSucceeded(failure);
  }
  // The library answers below 0 when it cannot write, but not always when it has no memory.
  template <class Write>
  long Do(const Write& write) {
    const zep::XMLMemory memory(kNoLimit, *this);
    const bool isWritten = memory.IsReady() && write() >= 0;
    return isWritten && !isShort ? S_OK : Fail(E_OUTOFMEMORY);
  }
  void OnMemoryFailure(const char*) override { isShort = true; }

  xmlBufferPtr buffer = nullptr;
  xmlTextWriterPtr writer = nullptr;
  bool isShort = false;
  Place place = Place::Start;
  int depth = 0;
  long failure = S_OK;
};

ZEPCfgXMLWriter::ZEPCfgXMLWriter() : m_implementation(std::make_unique<Implementation>()) {}
ZEPCfgXMLWriter::~ZEPCfgXMLWriter() = default;

long ZEPCfgXMLWriter::WriteStartDocument() {
  Implementation& document = *m_implementation;
  if (!document.IsAt(Implementation::Place::Start)) {
    return document.failure;
  }
  document.place = Implementation::Place::Prolog;
  return document.Do([&] { return xmlTextWriterStartDocument(document.writer, "1.0", "UTF-8", nullptr); });
}

long ZEPCfgXMLWriter::WriteStartElement(const PLMCfgInString& iName, const PLMCfgInListVal* iAttributeNames,
                                        const PLMCfgInListVal* iAttributeValues) {
  static const std::vector<PLMCfgInString> none;
  const std::vector<PLMCfgInString>& names = iAttributeNames == nullptr ? none : iAttributeNames->GetValues();
  const std::vector<PLMCfgInString>& values =
      iAttributeValues == nullptr ? none : iAttributeValues->GetValues();
  Implementation& document = *m_implementation;
  if (!document.IsAt(document.depth == 0 ? Implementation::Place::Prolog : Implementation::Place::Element)) {
    return document.failure;
  }
  std::set<std::string> used;
  bool isValid = IsXMLName(iName.GetText()) && names.size() == values.size();
  for (std::size_t i = 0; isValid && i < names.size(); ++i) {
    isValid = IsXMLName(names[i].GetText()) && IsXMLText(values[i].GetText()) &&
              used.insert(names[i].GetText().CastToCharPtr()).second;
  }
  if (!isValid) {
    return document.Fail(E_INVALIDARG);
  }
  document.place = Implementation::Place::Element;
  ++document.depth;
  long result = document.Do(
      [&] { return xmlTextWriterStartElement(document.writer, XMLText(iName.GetText().CastToCharPtr())); });
  for (std::size_t i = 0; ZEPSucceeded(result) && i < names.size(); ++i) {
    result = document.Do([&] {
      return xmlTextWriterWriteAttribute(document.writer, XMLText(names[i].GetText().CastToCharPtr()),
                                         XMLText(values[i].GetText().CastToCharPtr()));
    });
  }
  return result;
}

long ZEPCfgXMLWriter::WriteCharacters(const PLMCfgInString& iText) {
  Implementation& document = *m_implementation;
  if (!document.IsAt(Implementation::Place::Element)) {
    return document.failure;
  }
  if (!IsXMLText(iText.GetText())) {
    return document.Fail(E_INVALIDARG);
  }
  return document.Do(
      [&] { return xmlTextWriterWriteString(document.writer, XMLText(iText.GetText().CastToCharPtr())); });
}

long ZEPCfgXMLWriter::WriteEndElement() {
  Implementation& document = *m_implementation;
  if (!document.IsAt(Implementation::Place::Element)) {
    return document.failure;
  }
  if (--document.depth == 0) {
    document.place = Implementation::Place::End;
  }
  return document.Do([&] { return xmlTextWriterEndElement(document.writer); });
}

long ZEPCfgXMLWriter::WriteEndDocument() {
  Implementation& document = *m_implementation;
  if (!document.IsAt(Implementation::Place::End)) {
    return document.failure;
  }
  document.place = Implementation::Place::Done;
  const long result = document.Do([&] { return xmlTextWriterEndDocument(document.writer); });
  return ZEPFailed(result) ? result : document.Do([&] { return xmlTextWriterFlush(document.writer); });
}

long ZEPCfgXMLWriter::GetGeneratedXML(ZEPUnicodeString& oXML) {
  Implementation& document = *m_implementation;
  if (!document.IsAt(Implementation::Place::Done)) {
    return document.failure;
  }
  return oXML.BuildFromUTF8(reinterpret_cast<const char*>(xmlBufferContent(document.buffer)),
                            static_cast<std::size_t>(xmlBufferLength(document.buffer)));
}
