#include "FaultAbilities.h"

#include <algorithm>
#include <stdexcept>
#include <string>

namespace fault {
namespace {

constexpr long clientFailure = 12030; // of calls for which anything but 0 is a failure
constexpr long noAttribute = 0;       // of a call for which anything but 1 is a failure
constexpr long atTheEnd = 0;          // of a question whose answer can be wrong, but no failure

const Ability abilities[] = {
    {Op::ZEPGetFileInfo, 2, false},
    {Op::ZEPFileStat, E_ABORT, false},
    {Op::ZEPFOpen, E_ABORT, false},
    {Op::ZEPFEof, atTheEnd, false},
    {Op::ZEPFGets, E_ABORT, true},
    {Op::ZEPFClose, E_ABORT, false},
    {Op::ZEPGetEnv, {}, true},
    {Op::ZEPExpandString, E_ABORT, true},
    {Op::QRLSysTSGetArg, E_ABORT, true},
    {Op::GetRepository, {}, true},
    {Op::ReadAttr, noAttribute, true},
    {Op::ReleaseRepository, {}, false, false},
    {Op::ZEPGetLastError, {}, true},
    {Op::GetMessageText, {}, true},
    {Op::ReleaseError, {}, false, false},
    {Op::ZEPCleanLastError, {}, false},
    {Op::GetCurrentContext, E_ABORT, true},
    {Op::GetBranchingVar, {}, false},
    {Op::IsATSTProvider, {}, false},
    {Op::ZEPCfgTracePerfo, {}, false},
    {Op::beginPerfo, {}, false},
    {Op::endPerfo, {}, false},
    {Op::CreateZEPIXMLSAX2Factory, E_ABORT, true},
    {Op::CreateInputSourceFromFile, E_ABORT, true},
    {Op::CreateInputSourceFromMemoryBuffer, E_ABORT, true},
    {Op::CreateZEPIXMLXSLFactory, E_ABORT, true},
    {Op::CreateTransformer, E_ABORT, true},
    {Op::CreateZEPIXMLPPFactory, E_ABORT, true},
    {Op::CreateOutputSource, E_ABORT, true},
    {Op::SetInputSource, E_ABORT, false},
    {Op::SetOption, E_ABORT, false},
    {Op::SetOutputSource, E_ABORT, false},
    {Op::SetParameter, E_ABORT, false},
    {Op::Transform, E_ABORT, true},
    {Op::ZEPXMLPPMemoryBuffer, {}, false},
    {Op::GetBuffer, E_ABORT, true},
    {Op::ZEPHttpClient, {}, false},
    {Op::OpenRequest, clientFailure, false},
    {Op::AddRequestHeaders, clientFailure, false},
    {Op::SendRequest, clientFailure, false},
    {Op::CloseRequest, clientFailure, false},
    {Op::GetResponseHeaders, clientFailure, true},
    {Op::Download, clientFailure, true},
    {Op::DownloadEx, -clientFailure, true},
    {Op::CreateStringEntity, {}, true},
    {Op::CreateHttpGet, {}, true},
    {Op::CreateHttpPut, {}, true},
    {Op::CreateHttpPost, {}, true},
    {Op::AddHeader, {}, false},
    {Op::SetServiceName, {}, false},
    {Op::SetEntity, {}, false},
    {Op::CreateHttpClient, {}, true},
    {Op::Execute, E_ABORT, true},
    {Op::GetStatusLine, {}, true},
    {Op::GetStatusCode, {}, false},
    {Op::StatusLineToString, {}, true},
    {Op::GetEntity, {}, true},
    {Op::GetContent, E_ABORT, true},
    {Op::IOUtilsToString, E_ABORT, true},
    {Op::JsonParse, E_ABORT, true},
    {Op::Extract, E_ABORT, true},
    {Op::GetValue, E_ABORT, true},
    {Op::ZEPCfgXMLWriter, {}, false},
    {Op::WriteStartDocument, E_ABORT, false},
    {Op::WriteStartElement, E_ABORT, false},
    {Op::WriteCharacters, E_ABORT, false},
    {Op::WriteEndElement, E_ABORT, false},
    {Op::WriteEndDocument, E_ABORT, false},
    {Op::GetGeneratedXML, E_ABORT, true},
    {Op::IsIncluding, E_ABORT, true},
    {Op::IsPLMIDOfType, E_ABORT, false},
    {Op::GetLogicalID, E_ABORT, true},
    {Op::GetPhysicalID, E_ABORT, true},
    {Op::PLMIDToString, {}, false},
};

} // namespace

std::span<const Ability> allAbilities() {
  return abilities;
}

const Ability& abilityOf(Op operation) {
  const auto* const ability =
      std::find_if(std::begin(abilities), std::end(abilities),
                   [operation](const Ability& a) { return a.operation == operation; });
  if (ability == std::end(abilities)) {
    throw std::logic_error(std::string("nothing is known of ") + scripted::nameOf(operation));
  }
  return *ability;
}

bool givesBack(Op operation) {
  return !abilityOf(operation).raises || operation == Op::ZEPFClose;
}

bool canBe(const Ability& ability, Kind kind) {
  switch (kind) {
  case Kind::Fails:
    return ability.code.has_value();
  case Kind::FailsButActs:
    return ability.code.has_value() && ability.operation != Op::ZEPFEof;
  case Kind::Empty:
    return ability.isEmptied;
  case Kind::Throws:
    return ability.raises;
  }
  return false;
}

} // namespace fault
