#include "ScriptedState.h"
#include "ZEPHttpClient.h"

using namespace scripted;

struct ZEPHttpClient::Implementation {
  std::size_t nextPiece = 0;
  LiveObject live{"httpClient"};
};

namespace {

// A piece without bytes is a null pointer.
char* handOutPiece(const std::string& bytes) {
  return bytes.empty() ? nullptr : handOut(bytes);
}

} // namespace

ZEPHttpClient::ZEPHttpClient(const char* iAgent, short iAccessType, short iFlags) {
  const Call call(Op::ZEPHttpClient, iAgent, iAccessType, iFlags);
  m_implementation = std::make_unique<Implementation>();
}

ZEPHttpClient::~ZEPHttpClient() = default;

int ZEPHttpClient::OpenRequest(const char* iVerb, const char* iPath, unsigned long iFlags,
                               const char** iAcceptTypes) {
  const Call call(Op::OpenRequest, iVerb, iPath, Plain{hex(iFlags)},
                  Plain{iAcceptTypes == nullptr ? "null" : "accept types"});
  return call.IntCode();
}

int ZEPHttpClient::AddRequestHeaders(const char* iHeader, unsigned long iModifiers) {
  const Call call(Op::AddRequestHeaders, iHeader, Plain{hex(iModifiers)});
  return call.IntCode();
}

int ZEPHttpClient::SendRequest(const char* iBody, std::size_t iLength) {
  const Call call(Op::SendRequest,
                  iBody == nullptr ? Plain{"null"} : Plain{shown(std::string(iBody, iLength))}, iLength);
  return call.IntCode();
}

int ZEPHttpClient::CloseRequest() {
  const Call call(Op::CloseRequest);
  return call.IntCode();
}

int ZEPHttpClient::GetResponseHeaders(char** oBuffer, std::size_t* oLength, std::size_t* oSecondLength,
                                      unsigned long iInfoLevel, const char* iName) {
  const Call call(Op::GetResponseHeaders, iInfoLevel, iName);
  if (call.Fails()) {
    return call.IntCode();
  }
  const LegacyAnswer& answer = script().legacy;
  const bool isNull = answer.nullHeader || call.GivesEmpty();
  const std::string text = answer.status + answer.headerText;
  *oBuffer = isNull ? nullptr : handOut(text + '\0');
  *oLength = isNull ? 0 : answer.status.size();
  *oSecondLength = isNull ? 0 : text.size();
  return call.IntCode();
}

int ZEPHttpClient::Download(std::size_t* oLength, char** oBuffer) {
  const Call call(Op::Download);
  if (call.Fails()) {
    return call.IntCode();
  }
  const LegacyAnswer& answer = script().legacy;
  *oBuffer = answer.nullBody || call.GivesEmpty() ? nullptr : handOut(answer.body);
  *oLength = answer.body.size();
  return call.IntCode();
}

int ZEPHttpClient::DownloadEx(int iPieceSize, std::size_t* oLength, char** oBuffer, int* oFinished) {
  const Call call(Op::DownloadEx, iPieceSize);
  if (call.Fails()) {
    return call.IntCode();
  }
  const LegacyAnswer& answer = script().legacy;
  const bool isLast = m_implementation->nextPiece >= answer.pieces.size();
  const std::string& piece = isLast ? answer.lastPiece : answer.pieces[m_implementation->nextPiece++];
  *oFinished = isLast ? 1 : 0;
  *oLength = call.GivesEmpty() ? 0 : piece.size();
  *oBuffer = call.GivesEmpty() ? nullptr : handOutPiece(piece);
  return call.IntCode();
}
