#include "ScriptedState.h"
#include "ZEPCfgInfraServices.h"
#include "ZEPCfgTracePerfo.h"

using namespace scripted;

long ZEPCfgInfraServices::GetCurrentContext(ZEPUnicodeString& oContext) {
  const Call call(Op::GetCurrentContext);
  if (!call.Fails()) {
    oContext = call.GivesEmpty() ? ZEPUnicodeString() : textOf(script().context);
  }
  return call.Code();
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
