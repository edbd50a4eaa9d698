#include "ContractSetup.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>

// Defaults: nothing is offered but what needs no arranging.

namespace zep::contract {

namespace {

Offer NotByThisAdapter() {
  return Offer::Not("not offered by this adapter");
}

} // namespace

World::~World() = default;

Offer World::Has(Ability /*ability*/) {
  return Offer::Given();
}
Offer World::LetFail(Failing /*failing*/) {
  return Offer::Given();
}
Offer World::MakeFile(const std::string& /*name*/, const std::string& /*bytes*/, std::string& /*oPath*/) {
  return NotByThisAdapter();
}
Offer World::MakeWhatIsNoFile(std::string& /*oPath*/) {
  return NotByThisAdapter();
}
Offer World::SetEnvironment(const std::string& /*name*/, const std::optional<std::string>& /*value*/) {
  return NotByThisAdapter();
}
Offer World::SetSetting(const std::string& /*repository*/, const std::string& /*key*/,
                        const std::string& /*value*/) {
  return NotByThisAdapter();
}
Offer World::SetSettingThatIsNoText(const std::string& /*repository*/, const std::string& /*key*/) {
  return NotByThisAdapter();
}
Offer World::SetNamedArgument(const std::string& /*value*/) {
  return NotByThisAdapter();
}
Offer World::SetSecurityContext(const std::string& /*value*/) {
  return NotByThisAdapter();
}
Offer World::SetBranching(bool /*isOn*/) {
  return NotByThisAdapter();
}
Offer World::SetStylesheetServer(bool /*exists*/) {
  return NotByThisAdapter();
}
Offer World::Answer(const HttpAnswer& /*answer*/, std::string& /*oUrl*/) {
  return NotByThisAdapter();
}
Offer World::LastRequest(SentRequest& /*oRequest*/) {
  return NotByThisAdapter();
}
Offer World::PrepareJson(const JsonNode& /*document*/) {
  return Offer::Given();
}
Offer World::PrepareTransformation(const std::string& /*expectedBytes*/) {
  return Offer::Given();
}
Offer World::PrepareComparison(Comparison& /*oComparison*/) {
  return NotByThisAdapter();
}
Offer World::MakeObject(KnownObject& /*oObject*/) {
  return NotByThisAdapter();
}
Offer World::SetTrace(bool /*isOn*/) {
  return NotByThisAdapter();
}
Offer World::Traced(std::vector<TracedRecord>& /*oRecords*/) {
  return NotByThisAdapter();
}
std::string World::Problems() {
  return {};
}

} // namespace zep::contract

namespace {

// ZEP_CONTRACT_NOT_OFFERED: how many clauses may be skipped. With another number the run fails, so that
// an adapter cannot come to offer less without being seen.
bool IsNumberOfSkippedAsExpected(int skipped) {
  const char* const expected = std::getenv("ZEP_CONTRACT_NOT_OFFERED");
  if (expected == nullptr || std::to_string(skipped) == expected) {
    return true;
  }
  std::printf("expected are %s clauses that are not offered\n", expected);
  return false;
}

} // namespace

int main(int argc, char** argv) {
  testing::InitGoogleTest(&argc, argv);
  const int result = RUN_ALL_TESTS();
  const testing::UnitTest& run = *testing::UnitTest::GetInstance();
  std::printf("platform contract: %d clauses kept, %d broken, %d not offered\n", run.successful_test_count(),
              run.failed_test_count(), run.skipped_test_count());
  return IsNumberOfSkippedAsExpected(run.skipped_test_count()) ? result : 1;
}
