#include "ScriptedState.h"
#include "ZEPCfgBasicInfraServices.h"
#include "ZEPCfgDictionaryServices.h"
#include "ZEPCfgExpressionComparisonServices.h"
#include "ZEPCfgInfraServices.h"
#include "ZEPCfgTracePerfo.h"
#include "ZEPListValZEPBinary.h"
#include "ZEPListValZEPBoolean.h"

using namespace scripted;

namespace {

template <class List>
Plain shownList(const List& list) {
  std::string text;
  for (int i = 1; i <= list.Size(); ++i) {
    text += (i == 1 ? "" : ", ") + argumentText(list[i]);
  }
  return {"[" + text + "]"};
}

PLMObject objectOf(const ZEPPLMID& id) {
  const auto known = script().objects.find(utf8Of(id));
  return known == script().objects.end() ? PLMObject() : known->second;
}

long giveText(const Call& call, const std::string& given, ZEPUnicodeString& text) {
  if (!call.Fails()) {
    text = call.GivesEmpty() ? ZEPUnicodeString() : textOf(given);
  }
  return call.Code();
}

} // namespace

long ZEPCfgInfraServices::GetCurrentContext(ZEPUnicodeString& oContext) {
  const Call call(Op::GetCurrentContext);
  return giveText(call, script().context, oContext);
}

unsigned char ZEPCfgInfraServices::GetBranchingVar() {
  const Call call(Op::GetBranchingVar);
  return static_cast<unsigned char>(call.Code(script().branching ? 1 : 0));
}

bool ZEPCfgInfraServices::IsATSTProvider() {
  const Call call(Op::IsATSTProvider);
  return call.Code(script().atstProvider ? 1 : 0) != 0;
}

struct ZEPCfgTracePerfo::Implementation {
  std::string beginText;
  std::string endText;
  LiveObject live{"tracePerfo"};
};

ZEPCfgTracePerfo::ZEPCfgTracePerfo(const char* iLabel) {
  const Call call(Op::ZEPCfgTracePerfo, iLabel);
  m_implementation = std::make_unique<Implementation>();
  m_implementation->beginText = "<BEGIN " + std::string(iLabel) + ">";
  m_implementation->endText = "<END " + std::string(iLabel) + ">";
}

ZEPCfgTracePerfo::~ZEPCfgTracePerfo() = default;

char* ZEPCfgTracePerfo::beginPerfo() {
  const Call call(Op::beginPerfo);
  return m_implementation->beginText.data();
}

char* ZEPCfgTracePerfo::endPerfo() {
  const Call call(Op::endPerfo);
  return m_implementation->endText.data();
}

// Another text than the reference platform's, so that a test sees whose it is.
const char* const entity_ConfigurationFeature = "ScriptedFeature";

long ZEPCfgDictionaryServices::IsPLMIDOfType(const ZEPPLMID& iId, const ZEPUnicodeString& iType,
                                             unsigned char iFlag, unsigned char& oIsOfType) {
  const Call call(Op::IsPLMIDOfType, iId, iType, iFlag, oIsOfType);
  if (!call.Fails()) {
    oIsOfType = objectOf(iId).isOfType;
  }
  return call.Code();
}

long ZEPCfgBasicInfraServices::GetLogicalID(const ZEPPLMID& iId, ZEPUnicodeString& oText) {
  const Call call(Op::GetLogicalID, iId, oText);
  return giveText(call, objectOf(iId).logicalId, oText);
}

long ZEPCfgBasicInfraServices::GetPhysicalID(const ZEPPLMID& iId, ZEPUnicodeString& oText) {
  const Call call(Op::GetPhysicalID, iId, oText);
  return giveText(call, objectOf(iId).physicalId, oText);
}

long ZEPCfgExpressionComparisonServices::IsIncluding(
    const ZEPBinary& iReference, const ZEPListValZEPBinary& iCandidates, PLMCfgExpressionView iView,
    ZEPListValZEPBoolean& oResults, PLMCfgComparisonMode iMode1, PLMCfgComparisonMode iMode2) {
  const Call call(Op::IsIncluding, iReference, shownList(iCandidates), static_cast<int>(iView),
                  shownList(oResults), static_cast<int>(iMode1), static_cast<int>(iMode2));
  if (!call.Fails()) {
    oResults.RemoveAll();
    for (const unsigned char inclusion :
         call.GivesEmpty() ? std::vector<unsigned char>() : script().inclusions) {
      oResults.Append(inclusion);
    }
  }
  return call.Code();
}
