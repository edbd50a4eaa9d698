#include "ContractTest.h"
#include "PLMCfgInTraceClass.h"
#include "QRLSysTSGetArg.h"
#include "ZEPCfgBasicInfraServices.h"
#include "ZEPCfgDictionaryServices.h"
#include "ZEPCfgExpressionComparisonServices.h"
#include "ZEPCfgInfraServices.h"
#include "ZEPCfgTracePerfo.h"
#include "ZEPEnvironment.h"
#include "ZEPError.h"
#include "ZEPFile.h"
#include "ZEPIXMLXSLFactory.h"
#include "ZEPListValZEPBoolean.h"
#include "ZEPSysSettingRepository.h"

#include <algorithm>
#include <cstring>
#include <limits>
#include <memory>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#if !defined(_WIN32)
#include <dlfcn.h>
#endif

// Files, settings, the session, the trace: what the library asks of its surroundings.

namespace {

using namespace zep::contract;

constexpr unsigned int kUntouched = 4711;

struct Releases {
  template <class Object>
  void operator()(Object* object) const {
    object->Release();
  }
};

// ---- files ----

using File = ContractTest;

// Every piece that ZEPFGets gives out.
std::vector<std::string> Pieces(const std::string& path, int size) {
  unsigned int descriptor = kUntouched;
  EXPECT_EQ(ZEPFOpen(Text(path), "r", &descriptor), S_OK) << path;
  std::vector<std::string> pieces;
  std::vector<char> buffer(static_cast<std::size_t>(size));
  while (ZEPFEof(descriptor) != 0 && pieces.size() < 100) {
    const long result = ZEPFGets(buffer.data(), size, descriptor);
    EXPECT_EQ(result, S_OK);
    if (result != S_OK) {
      break;
    }
    pieces.emplace_back(buffer.data());
  }
  EXPECT_EQ(ZEPFClose(descriptor), S_OK);
  return pieces;
}

TEST_F(File, Info_IsExactlyZero_AndFilled_WhenTheFileExists) {
  std::string path;
  ZEP_NEEDS(TheWorld().MakeFile("info.xsl", "12345", path));
  struct stat info = {};
  EXPECT_EQ(ZEPGetFileInfo(Text(path), &info), 0);
  EXPECT_EQ(info.st_size, 5);
  info = {};
  ZEPUnicodeString asked = Text(path);
  EXPECT_SUCCESS(ZEPFileStat(&asked, &info, 0));
  EXPECT_EQ(info.st_size, 5);
  EXPECT_TRUE(asked == Text(path));
}

TEST_F(File, Info_FailsAndLeavesTheOutput_WhenThereIsNone) {
  std::string path;
  ZEP_NEEDS(TheWorld().MakeFile("info.xsl", "12345", path));
  for (const std::string& missing : {path + ".missing", path + std::string("\0", 1), std::string()}) {
    struct stat untouched;
    std::memset(&untouched, 0x5A, sizeof untouched);
    struct stat info;
    std::memset(&info, 0x5A, sizeof info);
    EXPECT_NE(ZEPGetFileInfo(Text(missing), &info), 0);
    ZEPUnicodeString asked = Text(missing);
    EXPECT_FAILURE(ZEPFileStat(&asked, &info, 0));
    EXPECT_EQ(std::memcmp(&info, &untouched, sizeof info), 0);
  }
}

TEST_F(File, Path_IsTriedWithSlashes_WhenItDoesNotExistAsGiven) {
  ZEP_NEEDS(TheWorld().Has(Ability::PathForms));
  std::string path;
  ZEP_NEEDS(TheWorld().MakeFile("form.xsl", "x", path));
  std::replace(path.begin(), path.end(), '/', '\\');
  struct stat info = {};
  EXPECT_EQ(ZEPGetFileInfo(Text(path), &info), 0);
  ZEPUnicodeString asked = Text(path);
  EXPECT_SUCCESS(ZEPFileStat(&asked, &info, 0));
  EXPECT_EQ(Pieces(path, 1024), std::vector<std::string>{"x"});
}

TEST_F(File, Open_FailsAndLeavesTheDescriptor_WhenThereIsNone) {
  std::string path;
  ZEP_NEEDS(TheWorld().MakeFile("f", "x", path));
  unsigned int descriptor = kUntouched;
  EXPECT_FAILURE(ZEPFOpen(Text(path + ".missing"), "r", &descriptor));
  EXPECT_EQ(descriptor, kUntouched);
}

TEST_F(File, Open_Refuses_WhatIsNoRegularFile) {
  std::string path;
  ZEP_NEEDS(TheWorld().MakeWhatIsNoFile(path));
  unsigned int descriptor = kUntouched;
  EXPECT_FAILURE(ZEPFOpen(Text(path), "r", &descriptor));
  EXPECT_EQ(descriptor, kUntouched);
}

TEST_F(File, Gets_GivesLinesWithTheirEnds) {
  struct Row {
    int line;
    std::string content;
    int size;
    std::vector<std::string> pieces;
  };
  const Row rows[] = {
      Row{__LINE__, "", 1024, {}},
      Row{__LINE__, "one\n", 1024, {"one\n"}},
      Row{__LINE__, "one\ntwo", 1024, {"one\n", "two"}},
      Row{__LINE__, "\n\n", 1024, {"\n", "\n"}},
      Row{__LINE__, "one\r\ntwo\r\n", 1024, {"one\r\n", "two\r\n"}},
      Row{__LINE__, std::string(1023, 'x') + "\nnext", 1024, {std::string(1023, 'x'), "\n", "next"}},
      Row{__LINE__, "abc\n", 3, {"ab", "c\n"}},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.line);
    std::string path;
    ZEP_NEEDS(TheWorld().MakeFile("lines" + std::to_string(row.line), row.content, path));
    EXPECT_EQ(Pieces(path, row.size), row.pieces);
  }
}

TEST_F(File, Eof_LooksAhead_AndTakesNothing) {
  std::string path;
  ZEP_NEEDS(TheWorld().MakeFile("two", "1\n2\n", path));
  unsigned int file = kUntouched;
  ASSERT_EQ(ZEPFOpen(Text(path), "r", &file), S_OK);
  char buffer[16];
  EXPECT_NE(ZEPFEof(file), 0);
  EXPECT_NE(ZEPFEof(file), 0);
  EXPECT_EQ(ZEPFGets(buffer, sizeof buffer, file), S_OK);
  EXPECT_STREQ(buffer, "1\n");
  EXPECT_NE(ZEPFEof(file), 0);
  EXPECT_EQ(ZEPFGets(buffer, sizeof buffer, file), S_OK);
  EXPECT_STREQ(buffer, "2\n");
  EXPECT_EQ(ZEPFEof(file), 0) << "the last line leaves the file at its end";
  EXPECT_EQ(ZEPFClose(file), S_OK);
}

TEST_F(File, Gets_FailsAndEmptiesTheBuffer_AtTheEnd) {
  std::string path;
  ZEP_NEEDS(TheWorld().MakeFile("empty", "", path));
  unsigned int file = kUntouched;
  ASSERT_EQ(ZEPFOpen(Text(path), "r", &file), S_OK);
  EXPECT_EQ(ZEPFEof(file), 0) << "an empty file is at its end at once";
  char buffer[16] = "before";
  EXPECT_FAILURE(ZEPFGets(buffer, sizeof buffer, file));
  EXPECT_STREQ(buffer, "");
  EXPECT_EQ(ZEPFClose(file), S_OK);
}

TEST_F(File, Files_AreReadIndependently) {
  std::string path;
  ZEP_NEEDS(TheWorld().MakeFile("twice", "1\n2\n", path));
  unsigned int first = kUntouched;
  unsigned int second = kUntouched;
  ASSERT_EQ(ZEPFOpen(Text(path), "r", &first), S_OK);
  ASSERT_EQ(ZEPFOpen(Text(path), "r", &second), S_OK);
  EXPECT_NE(first, second);
  char buffer[16];
  EXPECT_EQ(ZEPFGets(buffer, sizeof buffer, first), S_OK);
  EXPECT_EQ(ZEPFClose(first), S_OK);
  EXPECT_EQ(ZEPFGets(buffer, sizeof buffer, second), S_OK);
  EXPECT_STREQ(buffer, "1\n");
  EXPECT_EQ(ZEPFClose(second), S_OK);
}

TEST_F(File, Close_Fails_WhenTheDescriptorIsNotOpen) {
  ZEP_NEEDS(TheWorld().Has(Ability::ForeignFiles));
  std::string path;
  ZEP_NEEDS(TheWorld().MakeFile("f", "x", path));
  unsigned int file = kUntouched;
  ASSERT_EQ(ZEPFOpen(Text(path), "r", &file), S_OK);
  EXPECT_EQ(ZEPFClose(file), S_OK);
  EXPECT_FAILURE(ZEPFClose(file));
}

// ---- environment ----

using Environment = ContractTest;

TEST_F(Environment, GetEnv_TellsUnset_FromEmpty) {
  ZEP_NEEDS(TheWorld().SetEnvironment("ZEP_CONTRACT_VALUE", "caf\xC3\xA9"));
  ZEP_NEEDS(TheWorld().SetEnvironment("ZEP_CONTRACT_EMPTY", ""));
  ZEP_NEEDS(TheWorld().SetEnvironment("ZEP_CONTRACT_UNSET", std::nullopt));
  const char* const value = ZEPGetEnv("ZEP_CONTRACT_VALUE");
  EXPECT_STREQ(value, "caf\xC3\xA9");
  EXPECT_STREQ(ZEPGetEnv("ZEP_CONTRACT_EMPTY"), "");
  EXPECT_EQ(ZEPGetEnv("ZEP_CONTRACT_UNSET"), nullptr);
  EXPECT_STREQ(value, "caf\xC3\xA9") << "the text is the platform's and stays";
}

TEST_F(Environment, ExpandString_LeavesTextsWithoutReferences) {
  for (const char* const text : {"", "nothing to do", "cost $5 or 5%", "$", "%", "%%", "${}"}) {
    ZEPUnicodeString expanded(text);
    EXPECT_EQ(ZEPExpandString(&expanded), S_OK);
    EXPECT_STREQ(expanded.ConvertToChar(), text);
  }
}

TEST_F(Environment, ExpandString_ReplacesReferences_OnceFromLeftToRight) {
  ZEP_NEEDS(TheWorld().Has(Ability::VariableReferences));
  ZEP_NEEDS(TheWorld().SetEnvironment("ZEP_CONTRACT_A", "/root"));
  ZEP_NEEDS(TheWorld().SetEnvironment("ZEP_CONTRACT_NESTED", "$ZEP_CONTRACT_A"));
  ZEP_NEEDS(TheWorld().SetEnvironment("ZEP_CONTRACT_UNSET", std::nullopt));
  struct Row {
    int line;
    const char* text;
    const char* expected;
  };
  const Row rows[] = {Row{__LINE__, "$ZEP_CONTRACT_A/x.xsl", "/root/x.xsl"},
                      Row{__LINE__, "${ZEP_CONTRACT_A}x.xsl", "/rootx.xsl"},
                      Row{__LINE__, "%ZEP_CONTRACT_A%\\x.xsl", "/root\\x.xsl"},
                      Row{__LINE__, "[$ZEP_CONTRACT_UNSET]", "[]"},
                      Row{__LINE__, "$ZEP_CONTRACT_NESTED", "$ZEP_CONTRACT_A"},
                      Row{__LINE__, "50% of %ZEP_CONTRACT_A%", "50% of /root"}};
  for (const Row& row : rows) {
    SCOPED_TRACE(row.line);
    ZEPUnicodeString text(row.text);
    EXPECT_EQ(ZEPExpandString(&text), S_OK);
    EXPECT_STREQ(text.ConvertToChar(), row.expected);
  }
}

// ---- settings ----

using SettingRepository = ContractTest;
using Repository = std::unique_ptr<ZEPSysSettingRepository, Releases>;

TEST_F(SettingRepository, ReadAttr_IsExactlyOne_ForAText) {
  ZEP_NEEDS(TheWorld().SetSetting("ContractRepository", "path", "$HOME/\xC3\xA9.xsl"));
  const Repository repository(ZEPSysSettingRepository::GetRepository("ContractRepository", 0));
  ASSERT_NE(repository, nullptr);
  ZEPUnicodeString value("before");
  EXPECT_EQ(repository->ReadAttr("path", &value), 1);
  EXPECT_STREQ(value.ConvertToChar(), "$HOME/\xC3\xA9.xsl") << "as it stands, not expanded";
}

TEST_F(SettingRepository, ReadAttr_LeavesTheValue_WhenThereIsNone) {
  ZEP_NEEDS(TheWorld().SetSetting("ContractRepository", "path", "x"));
  const Repository repository(ZEPSysSettingRepository::GetRepository("ContractRepository", 0));
  ASSERT_NE(repository, nullptr);
  ZEPUnicodeString value("before");
  EXPECT_NE(repository->ReadAttr("other", &value), 1);
  EXPECT_STREQ(value.ConvertToChar(), "before");
}

TEST_F(SettingRepository, ReadAttr_LeavesTheValue_WhenItIsNoText) {
  ZEP_NEEDS(TheWorld().SetSettingThatIsNoText("ContractRepository", "number"));
  const Repository repository(ZEPSysSettingRepository::GetRepository("ContractRepository", 0));
  ASSERT_NE(repository, nullptr);
  ZEPUnicodeString value("before");
  EXPECT_NE(repository->ReadAttr("number", &value), 1);
  EXPECT_STREQ(value.ConvertToChar(), "before");
}

TEST_F(SettingRepository, GetRepository_IsNull_WhenThereIsNone) {
  ZEP_NEEDS(TheWorld().SetSetting("ContractRepository", "path", "x"));
  EXPECT_EQ(ZEPSysSettingRepository::GetRepository("ContractNowhere", 0), nullptr);
}

// ---- the last error ----

using LastError = ContractTest;
using Error = std::unique_ptr<ZEPError, Releases>;

// The code of a call that fails and records an error: it compiles nothing.
long RecordAnError() {
  ZEPIXMLXSLFactory_var factory;
  EXPECT_SUCCESS(CreateZEPIXMLXSLFactory(factory, CLSID_XSLT_JAVA));
  ZEPIXMLXSLTransformer_var transformer;
  const long result = factory->CreateTransformer(NULL_var, transformer);
  EXPECT_FAILURE(result);
  return result;
}

std::string LastMessage(long code) {
  const Error error(ZEPError::ZEPGetLastError(code, nullptr));
  return error == nullptr ? "" : Bytes(error->GetMessageText());
}

TEST_F(LastError, None_IsNull) {
  ZEPError::ZEPCleanLastError();
  EXPECT_EQ(ZEPError::ZEPGetLastError(E_FAIL, nullptr), nullptr);
}

TEST_F(LastError, FailedCall_LeavesAMessage_UntilItIsCleaned) {
  ZEP_NEEDS(TheWorld().LetFail(Failing::Stylesheet));
  const long result = RecordAnError();
  EXPECT_NE(LastMessage(result), "");
  EXPECT_NE(LastMessage(result), "") << "it is not forgotten by asking";
  ZEPError::ZEPCleanLastError();
  EXPECT_EQ(ZEPError::ZEPGetLastError(result, nullptr), nullptr);
  ZEPError::ZEPCleanLastError();
}

TEST_F(LastError, ErrorGivenOut_BelongsToTheCaller) {
  ZEP_NEEDS(TheWorld().LetFail(Failing::Stylesheet));
  const long result = RecordAnError();
  const Error error(ZEPError::ZEPGetLastError(result, nullptr));
  ASSERT_NE(error, nullptr);
  const std::string before = Bytes(error->GetMessageText());
  ZEPError::ZEPCleanLastError();
  EXPECT_EQ(Bytes(error->GetMessageText()), before);
}

TEST_F(LastError, ErrorOfAnotherCode_IsNotGivenOut) {
  ZEP_NEEDS(TheWorld().Has(Ability::LastErrorByCode));
  ZEP_NEEDS(TheWorld().LetFail(Failing::Stylesheet));
  const long result = RecordAnError();
  EXPECT_EQ(ZEPError::ZEPGetLastError(E_ABORT, nullptr), nullptr);
  EXPECT_NE(LastMessage(result), "");
  ZEPError::ZEPCleanLastError();
}

TEST_F(LastError, Error_BelongsToItsThread) {
  ZEP_NEEDS(TheWorld().Has(Ability::LastErrorByThread));
  ZEP_NEEDS(TheWorld().LetFail(Failing::Stylesheet));
  const long result = RecordAnError();
  std::string seenElsewhere;
  std::thread([&seenElsewhere, result] {
    seenElsewhere = LastMessage(result);
    ZEPError::ZEPCleanLastError();
  }).join();
  EXPECT_EQ(seenElsewhere, "");
  EXPECT_NE(LastMessage(result), "");
  ZEPError::ZEPCleanLastError();
}

// ---- arguments and session ----

using NamedArgument = ContractTest;

TEST_F(NamedArgument, Success_SetsTheValue) {
  for (const char* const value : {"http://server:8080/x", ""}) {
    ZEP_NEEDS(TheWorld().SetNamedArgument(value));
    int kind = 0;
    int rank = 0;
    ZEPUnicodeString url("before");
    EXPECT_SUCCESS(QRLSysTSGetArg("Url", kind, rank, url));
    EXPECT_STREQ(url.ConvertToChar(), value);
  }
}

TEST_F(NamedArgument, Failure_LeavesTheValue) {
  ZEP_NEEDS(TheWorld().LetFail(Failing::NamedArgument));
  int kind = 0;
  int rank = 0;
  ZEPUnicodeString value("before");
  EXPECT_FAILURE(QRLSysTSGetArg("ZepContractNobodyGaveThis", kind, rank, value));
  EXPECT_STREQ(value.ConvertToChar(), "before");
}

using InfraServices = ContractTest;

TEST_F(InfraServices, GetCurrentContext_SetsTheContext_EmptyForNone) {
  for (const char* const context : {"ctx::Role.Org", ""}) {
    ZEP_NEEDS(TheWorld().SetSecurityContext(context));
    ZEPUnicodeString value("before");
    EXPECT_SUCCESS(ZEPCfgInfraServices::GetCurrentContext(value));
    EXPECT_STREQ(value.ConvertToChar(), context);
  }
}

TEST_F(InfraServices, GetCurrentContext_LeavesTheOutput_OnFailure) {
  ZEP_NEEDS(TheWorld().LetFail(Failing::CurrentContext));
  ZEPUnicodeString value("before");
  EXPECT_FAILURE(ZEPCfgInfraServices::GetCurrentContext(value));
  EXPECT_STREQ(value.ConvertToChar(), "before");
}

TEST_F(InfraServices, GetBranchingVar_IsNonZero_WithBranches) {
  ZEP_NEEDS(TheWorld().SetBranching(true));
  EXPECT_NE(ZEPCfgInfraServices::GetBranchingVar(), 0);
  ZEP_NEEDS(TheWorld().SetBranching(false));
  EXPECT_EQ(ZEPCfgInfraServices::GetBranchingVar(), 0);
}

TEST_F(InfraServices, IsATSTProvider_IsTrue_WithoutAServer) {
  ZEP_NEEDS(TheWorld().SetStylesheetServer(false));
  EXPECT_TRUE(ZEPCfgInfraServices::IsATSTProvider());
  ZEP_NEEDS(TheWorld().SetStylesheetServer(true));
  EXPECT_FALSE(ZEPCfgInfraServices::IsATSTProvider());
}

// ---- objects of the server ----

using ObjectServices = ContractTest;

TEST_F(ObjectServices, Identifiers_AreThoseOfTheObject) {
  KnownObject object;
  ZEP_NEEDS(TheWorld().MakeObject(object));
  ZEPUnicodeString text("before");
  EXPECT_SUCCESS(ZEPCfgBasicInfraServices::GetLogicalID(object.id, text));
  EXPECT_EQ(Bytes(text), object.logicalId);
  text = "before";
  EXPECT_SUCCESS(ZEPCfgBasicInfraServices::GetPhysicalID(object.id, text));
  EXPECT_EQ(Bytes(text), object.physicalId);
}

TEST_F(ObjectServices, IsPLMIDOfType_IsSet_ToYesOrNo) {
  KnownObject object;
  ZEP_NEEDS(TheWorld().MakeObject(object));
  unsigned char isOfType = 77;
  EXPECT_SUCCESS(ZEPCfgDictionaryServices::IsPLMIDOfType(object.id, Text(object.type), 0, isOfType));
  EXPECT_EQ(isOfType, 1);
}

TEST_F(ObjectServices, Failures_LeaveTheOutputs) {
  ZEP_NEEDS(TheWorld().LetFail(Failing::Identifier));
  const ZEPPLMID noObject("\x01 no identifier");
  ZEPUnicodeString text("before");
  EXPECT_FAILURE(ZEPCfgBasicInfraServices::GetLogicalID(noObject, text));
  EXPECT_FAILURE(ZEPCfgBasicInfraServices::GetPhysicalID(noObject, text));
  EXPECT_STREQ(text.ConvertToChar(), "before");
  unsigned char isOfType = 77;
  EXPECT_FAILURE(ZEPCfgDictionaryServices::IsPLMIDOfType(noObject, entity_ConfigurationFeature, 0, isOfType));
  EXPECT_EQ(isOfType, 77);
}

TEST_F(ObjectServices, TypeOfConfigurationFeatures_HasAName) {
  ASSERT_NE(entity_ConfigurationFeature, nullptr);
  EXPECT_GT(std::strlen(entity_ConfigurationFeature), 0U);
}

using ComparisonServices = ContractTest;

// The only ones that the library asks for.
constexpr auto kView = static_cast<PLMCfgExpressionView>(1);
constexpr auto kExact = static_cast<PLMCfgComparisonMode>(1);

TEST_F(ComparisonServices, Answers_AreOneForEachCandidate_InOrder) {
  Comparison comparison;
  ZEP_NEEDS(TheWorld().PrepareComparison(comparison));
  ZEPListValZEPBoolean results;
  results.Append(1); // emptied first
  EXPECT_SUCCESS(ZEPCfgExpressionComparisonServices::IsIncluding(comparison.reference, comparison.candidates,
                                                                 kView, results, kExact, kExact));
  ASSERT_EQ(results.Size(), static_cast<int>(comparison.answers.size()));
  for (int i = 1; i <= results.Size(); ++i) {
    EXPECT_EQ(results[i] != 0, comparison.answers[static_cast<std::size_t>(i) - 1]) << i;
  }
}

TEST_F(ComparisonServices, NoCandidates_GetNoAnswers) {
  ZEP_NEEDS(TheWorld().Has(Ability::Comparisons));
  Comparison comparison;
  ZEP_NEEDS(TheWorld().PrepareComparison(comparison));
  ZEPListValZEPBoolean results;
  results.Append(1);
  EXPECT_SUCCESS(ZEPCfgExpressionComparisonServices::IsIncluding(comparison.reference, ZEPListValZEPBinary(),
                                                                 kView, results, kExact, kExact));
  EXPECT_EQ(results.Size(), 0);
}

TEST_F(ComparisonServices, Failure_LeavesTheAnswers) {
  ZEP_NEEDS(TheWorld().LetFail(Failing::Comparison));
  ZEPListValZEPBinary candidates;
  candidates.Append(ZEPBinary("no expression", 13));
  ZEPListValZEPBoolean results;
  results.Append(1);
  EXPECT_FAILURE(ZEPCfgExpressionComparisonServices::IsIncluding(candidates[1], candidates, kView, results,
                                                                 kExact, kExact));
  EXPECT_EQ(results.Size(), 1);
}

// ---- trace ----

// As the library's own: built when it is loaded, destroyed when it goes.
PLMCfgInTraceClass theLoadedOne("ZepContractLoaded", "");

using TraceClass = ContractTest;

// Records of that class in this test.
std::vector<TracedRecord> RecordsOf(World& world, const std::string& className) {
  std::vector<TracedRecord> records;
  EXPECT_TRUE(world.Traced(records).IsGiven());
  std::erase_if(records, [&className](const TracedRecord& record) { return record.className != className; });
  return records;
}

void Write(PLMCfgInTraceClass& trace, const char* text, int level = 0) {
  trace.beginTrace(level) << text;
  trace.endTraceWithLineNumber(level, 7, "Contract.cpp");
}

TEST_F(TraceClass, ErrorPrefixes_AreNeverNull) {
  ASSERT_NE(PLMCfgInTraceClass::GetError(), nullptr);
  ASSERT_NE(PLMCfgInTraceClass::GetErrorIndent(), nullptr);
}

TEST_F(TraceClass, IsActivated_FollowsTheSwitch_EachTimeItIsAsked) {
  PLMCfgInTraceClass trace("ZepContract", "Contract");
  for (const bool isOn : {true, false, true}) {
    ZEP_NEEDS(TheWorld().SetTrace(isOn));
    EXPECT_EQ(trace.IsActivated() != 0, isOn);
    EXPECT_EQ(theLoadedOne.IsActivated() != 0, isOn);
  }
}

TEST_F(TraceClass, Record_HoldsWhatWasAppended_InOneText) {
  ZEP_NEEDS(TheWorld().SetTrace(true));
  PLMCfgInTraceClass trace("ZepContract", "Contract");
  const long large = std::numeric_limits<std::int32_t>::min();
  PLMCfgInTraceClass& open = trace.beginTrace(0);
  EXPECT_EQ(&open, &trace);
  open << "a [" << -1 << "|" << large << "|" << 4294967295U << "|" << Text("\xE2\x82\xAC") << "]";
  EXPECT_EQ(&trace.endTraceWithLineNumber(0, 12, "Contract.cpp"), &trace);
  const std::vector<TracedRecord> records = RecordsOf(TheWorld(), "ZepContract");
  ASSERT_EQ(records.size(), 1U);
  EXPECT_EQ(records[0].text, "a [-1|-2147483648|4294967295|\xE2\x82\xAC]");
  EXPECT_EQ(records[0].level, 0);
  EXPECT_EQ(records[0].line, 12);
  EXPECT_EQ(records[0].file, "Contract.cpp");
}

TEST_F(TraceClass, EntryAndExit_HaveTheirLevels_AndMayLackTextAndFile) {
  ZEP_NEEDS(TheWorld().SetTrace(true));
  PLMCfgInTraceClass trace("ZepContract", "");
  trace.beginTrace(1).endTraceWithLineNumber(1, 5, "Contract.cpp");
  trace.beginTrace(2).endTraceWithLineNumber(2, 5, nullptr);
  const std::vector<TracedRecord> records = RecordsOf(TheWorld(), "ZepContract");
  ASSERT_EQ(records.size(), 2U);
  EXPECT_EQ(records[0].level, 1);
  EXPECT_EQ(records[0].text, "");
  EXPECT_EQ(records[1].level, 2);
  EXPECT_EQ(records[1].file, std::nullopt);
}

TEST_F(TraceClass, Names_AreCopied) {
  ZEP_NEEDS(TheWorld().SetTrace(true));
  std::string name = "ZepContract";
  std::string group = "Contract";
  PLMCfgInTraceClass trace(name.c_str(), group.c_str());
  name.assign(name.size(), 'x');
  group.assign(group.size(), 'x');
  Write(trace, "text");
  EXPECT_EQ(RecordsOf(TheWorld(), "ZepContract").size(), 1U);
}

TEST_F(TraceClass, Method_IsCopied_AndHoldsUntilItIsRemoved) {
  ZEP_NEEDS(TheWorld().SetTrace(true));
  PLMCfgInTraceClass trace("ZepContract", "");
  char signature[] = "long __cdecl Contract::Operation(void)";
  const std::string expected = signature;
  trace.SetMethod(signature);
  signature[0] = 'X';
  Write(trace, "inside");
  trace.RemoveMethod();
  Write(trace, "behind");
  const std::vector<TracedRecord> records = RecordsOf(TheWorld(), "ZepContract");
  ASSERT_EQ(records.size(), 2U);
  EXPECT_EQ(records[0].method, expected);
  EXPECT_EQ(records[1].method, "");
}

TEST_F(TraceClass, OpenRecord_BelongsToItsThread) {
  ZEP_NEEDS(TheWorld().SetTrace(true));
  PLMCfgInTraceClass trace("ZepContract", "");
  trace.beginTrace(0) << "mine ";
  std::thread([&trace] { Write(trace, "theirs"); }).join();
  trace << "still mine";
  trace.endTraceWithLineNumber(0, 3, nullptr);
  std::vector<std::string> texts;
  for (const TracedRecord& record : RecordsOf(TheWorld(), "ZepContract")) {
    texts.push_back(record.text);
  }
  EXPECT_EQ(texts, (std::vector<std::string>{"theirs", "mine still mine"}));
}

// Errors are written without asking.
TEST_F(TraceClass, Errors_MayBeWritten_WithTheTraceOff) {
  ZEP_NEEDS(TheWorld().SetTrace(false));
  PLMCfgInTraceClass trace("ZepContract", "");
  for (const char* const start : {PLMCfgInTraceClass::GetError(), PLMCfgInTraceClass::GetErrorIndent()}) {
    trace.beginTrace(0) << start;
    EXPECT_EQ(&trace.endTraceWithLineNumber(0, 1, "Contract.cpp"), &trace);
  }
}

TEST_F(TraceClass, ObjectBuiltAtLoad_Writes) {
  ZEP_NEEDS(TheWorld().SetTrace(true));
  Write(theLoadedOne, "loaded");
  const std::vector<TracedRecord> records = RecordsOf(TheWorld(), "ZepContractLoaded");
  ASSERT_EQ(records.size(), 1U);
  EXPECT_EQ(records[0].text, "loaded");
}

// Writes while the program ends, behind main; a platform that is gone by then ends the process.
struct AtTheEnd {
  PLMCfgInTraceClass trace{"ZepContractEnd", ""};
  ~AtTheEnd() {
    static_cast<void>(trace.IsActivated());
    trace.beginTrace(0).endTraceWithLineNumber(0, 1, nullptr);
  }
} atTheEnd;

TEST_F(TraceClass, Object_MayBeMadeAndGo_ManyTimes) {
  ZEP_NEEDS(TheWorld().SetTrace(false));
  for (int i = 0; i < 100; ++i) {
    PLMCfgInTraceClass trace("ZepContract", "Contract");
    EXPECT_EQ(trace.IsActivated(), 0);
    static_cast<void>(trace.IsPerfoActivated());
  }
}

#if !defined(_WIN32)
using Loading = ContractTest;

TEST_F(Loading, SharedObject_CarriesTheName_ThatTheLibraryAsksFor) {
  void* const platform = dlopen("libZEPPlatform.so.1", RTLD_LAZY | RTLD_NOLOAD);
  ASSERT_NE(platform, nullptr) << "no shared object of that name is loaded";
  dlclose(platform);
}
#endif

using TracePerfo = ContractTest;

TEST_F(TracePerfo, Texts_AreNeverNull_AndStay) {
  std::string label = "ContractLabel";
  ZEPCfgTracePerfo perfo(label.c_str());
  label.assign(label.size(), 'x');
  const char* const begin = perfo.beginPerfo();
  ASSERT_NE(begin, nullptr);
  const std::string beginText = begin;
  const char* const end = perfo.endPerfo();
  ASSERT_NE(end, nullptr);
  EXPECT_EQ(begin, beginText) << "valid as long as the measure lives";
  EXPECT_EQ(beginText.find(label), std::string::npos) << "the label is copied";
}

} // namespace
