#include "PLMCfgInListVal.h"
#include "PLMCfgInString.h"
#include "ScriptedState.h"
#include "ZEPCfgXMLWriter.h"

using namespace scripted;

struct ZEPCfgXMLWriter::Implementation {
  LiveObject live{"xmlWriter"};
};

namespace {

// name="value" pairs behind one another; null for no lists.
Plain attributesOf(const PLMCfgInListVal* names, const PLMCfgInListVal* values) {
  if (names == nullptr || values == nullptr) {
    return {names == values ? "null" : "one null"};
  }
  std::string text = "[";
  for (std::size_t i = 0; i < names->GetValues().size() || i < values->GetValues().size(); ++i) {
    const auto at = [i](const PLMCfgInListVal& list) {
      return i < list.GetValues().size() ? shown(list.GetValues()[i].GetText()) : std::string("missing");
    };
    text += (i == 0 ? "" : " ") + at(*names) + "=" + at(*values);
  }
  return {text + "]"};
}

} // namespace

ZEPCfgXMLWriter::ZEPCfgXMLWriter() {
  const Call call(Op::ZEPCfgXMLWriter);
  m_implementation = std::make_unique<Implementation>();
}

ZEPCfgXMLWriter::~ZEPCfgXMLWriter() = default;

long ZEPCfgXMLWriter::WriteStartDocument() {
  return Call(Op::WriteStartDocument).Code();
}

long ZEPCfgXMLWriter::WriteStartElement(const PLMCfgInString& iName, const PLMCfgInListVal* iAttributeNames,
                                        const PLMCfgInListVal* iAttributeValues) {
  return Call(Op::WriteStartElement, iName.GetText(), attributesOf(iAttributeNames, iAttributeValues)).Code();
}

long ZEPCfgXMLWriter::WriteCharacters(const PLMCfgInString& iText) {
  return Call(Op::WriteCharacters, iText.GetText()).Code();
}

long ZEPCfgXMLWriter::WriteEndElement() {
  return Call(Op::WriteEndElement).Code();
}

long ZEPCfgXMLWriter::WriteEndDocument() {
  return Call(Op::WriteEndDocument).Code();
}

long ZEPCfgXMLWriter::GetGeneratedXML(ZEPUnicodeString& oXML) {
  const Call call(Op::GetGeneratedXML);
  if (!call.Fails()) {
    oXML = call.GivesEmpty() ? ZEPUnicodeString() : textOf(script().generatedXML);
  }
  return call.Code();
}
