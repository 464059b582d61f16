// Bundle records: their exact bytes, hostile text, rebuilding by the cursor rule, and refreshing.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "sessions/session_test_support.h"
#include "sessions/tl_bundle_session.h"

namespace {

using nlohmann::json;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using namespace tl::testing;
using tl::platform::RSApplicationProxy;

std::vector<std::string> Lines(const std::string& text) {
  std::vector<std::string> lines;
  size_t start = 0;
  for (size_t end; (end = text.find('\n', start)) != std::string::npos; start = end + 1) {
    lines.push_back(text.substr(start, end - start));
  }
  EXPECT_EQ(start, text.size()) << "the file ends inside a line";
  return lines;
}

TEST(BundleRecord, BytesOfAFullAndOfABareRecord) {
  CurrentDevice device(SessionDevice());
  auto full = TLBundleSession::initBundle("com.example.full", false);
  full->updateState(8, 1.0, 101);  // learns the 64-bit executable
  full->persistBundleRecord();
  auto bare = TLBundleSession::initBundle("com.example.bare", false);
  EXPECT_THAT(Lines(BundleFile(*device)),
              ElementsAre(R"(["com.example.full",0,"00000000-0000-0000-0000-000000000000",)"
                          R"("42","4.2","0A1B2C3D-4E5F-6071-8293-A4B5C6D7E8F9",1234567890,)"
                          R"("cohort-x",143441,true,1])",
                          R"(["com.example.full",2,"00112233-4455-6677-8899-AABBCCDDEEFF",)"
                          R"("42","4.2","0A1B2C3D-4E5F-6071-8293-A4B5C6D7E8F9",1234567890,)"
                          R"("cohort-x",143441,true,1])",
                          R"(["com.example.bare",0,"00000000-0000-0000-0000-000000000000",)"
                          R"("","","",0,"",0,false,2])"));
}

TEST(BundleRecord, HostileTextSurvivesTheRecordUnchanged) {
  CurrentDevice device(SessionDevice());
  const std::string bundle = "com.\"quoted\"\\back\nslash\t\x01\x1f.\xc3\xa9\xe6\x97\xa5";
  auto proxy = std::make_shared<RSApplicationProxy>();
  proxy->bundleIdentifier = bundle;
  proxy->bundleVersion = "1\r\n2 \"x\" \\";
  proxy->shortVersionString = "\xe2\x80\xa8line separator\xf0\x9f\x98\x80";
  proxy->storeCohortMetadata = "{\"json\": [1, 2]}\n";
  proxy->applicationType = "User";
  auto written = TLBundleSession::initBundle(bundle, proxy);

  auto lines = Lines(BundleFile(*device));
  ASSERT_EQ(lines.size(), 1u);  // every control character is escaped: one record, one line
  auto rebuilt = TLBundleSession::initWithRecordArray(json::parse(lines[0]));
  ASSERT_TRUE(rebuilt);
  EXPECT_EQ(rebuilt->bundleID(), bundle);
  EXPECT_EQ(rebuilt->bundleVers(), proxy->bundleVersion);
  EXPECT_EQ(rebuilt->shortVers(), proxy->shortVersionString);
  EXPECT_EQ(rebuilt->cohort(), proxy->storeCohortMetadata);
  EXPECT_EQ(rebuilt->key(), written->key());
  EXPECT_EQ(rebuilt->recordArray(), written->recordArray());
}

TEST(BundleRecord, RebuildingTakesElementsInOrderSkippingWhatDoesNotFit) {
  CurrentDevice device(SessionDevice());
  struct Expected {
    std::optional<std::string> bundle;
    int32_t arch;
    std::string uuid;
    std::optional<std::string> bundleVers, shortVers;
    bool vendor;
    std::optional<int64_t> adam;
    std::optional<std::string> cohort;
    std::optional<int64_t> front;
    bool beta;
    uint32_t key;
  };
  const std::string zero = "00000000-0000-0000-0000-000000000000";
  const std::string known = "00112233-4455-6677-8899-AABBCCDDEEFF";
  const std::vector<std::pair<std::string, Expected>> cases = {
      // The current layout, with store numbers of 0 meaning none.
      {R"(["a",1,"00112233-4455-6677-8899-aabbccddeeff","7","1.2",)"
       R"("0A1B2C3D-4E5F-6071-8293-A4B5C6D7E8F9",0,"c",0,true,5])",
       {"a", 1, known, "7", "1.2", true, std::nullopt, "c", std::nullopt, true, 5}},
      // A newer layout with more elements: the extra ones are ignored.
      {R"(["a",2,"","7","1.2","",9,"",4294967296,false,6,"extra",[1]])",
       {"a", 2, zero, "7", "1.2", false, 9, "", std::nullopt, false, 6}},
      // An older layout without the arch: a string answers the integer request (kept weakness).
      {R"(["a","12abc","00112233-4455-6677-8899-AABBCCDDEEFF"])",
       {"a", 12, known, std::nullopt, std::nullopt, false, std::nullopt, std::nullopt, std::nullopt,
        false, 0}},
      // A number where the uuid should be is offered on until the store identifier takes it;
      // a string answers the boolean request; a string key is not taken.
      {R"(["a",2,123,"1.0","1.1","",0,"c",0,true,9])",
       {"a", 2, zero, std::nullopt, std::nullopt, false, 123, "1.0", std::nullopt, true, 0}},
      // Booleans are boxed numbers: one where the store identifier stands is taken as 1.
      {R"(["a",0,"","","","",true,"",0,"7",true])",
       {"a", 0, zero, "", "", false, 1, "", std::nullopt, true, 1}},
      {R"([7])",
       {std::nullopt, 7, zero, std::nullopt, std::nullopt, false, std::nullopt, std::nullopt,
        std::nullopt, false, 0}},
      {R"([])",
       {std::nullopt, 0, zero, std::nullopt, std::nullopt, false, std::nullopt, std::nullopt,
        std::nullopt, false, 0}},
  };
  for (const auto& [record, want] : cases) {
    SCOPED_TRACE(record);
    auto s = TLBundleSession::initWithRecordArray(json::parse(record));
    ASSERT_TRUE(s);
    EXPECT_EQ(s->bundleID(), want.bundle);
    EXPECT_EQ(s->appstate.arch, want.arch);
    EXPECT_EQ(s->appstate.uuid.text(), want.uuid);
    EXPECT_EQ(s->bundleVers(), want.bundleVers);
    EXPECT_EQ(s->shortVers(), want.shortVers);
    EXPECT_EQ(s->vendorID().has_value(), want.vendor);
    EXPECT_EQ(s->adamID(), want.adam);
    EXPECT_EQ(s->cohort(), want.cohort);
    EXPECT_EQ(s->storeFront(), want.front);
    EXPECT_EQ(s->isBeta(), want.beta);
    EXPECT_EQ(s->key(), want.key);
    EXPECT_EQ(s->appstate.state, 0u);
    EXPECT_FALSE(s->is3rdParty());
  }
  // An unparsable uuid text is logged with the text and leaves a zero uuid.
  EXPECT_THAT(LogTexts(*device), ElementsAre("Error while trying to fill up appstate.uuid for ",
                                             "Error while trying to fill up appstate.uuid for ",
                                             "Error while trying to fill up appstate.uuid for ",
                                             "Error while trying to fill up appstate.uuid for ",
                                             "Error while trying to fill up appstate.uuid for "));
  EXPECT_FALSE(TLBundleSession::initWithRecordArray(json::parse(R"({"a": 1})")));
  // Without a bundle identifier there is no record to write.
  auto anonymous = TLBundleSession::initWithRecordArray(json::parse("[]"));
  EXPECT_FALSE(anonymous->recordArray());
  anonymous->persistBundleRecord();
  EXPECT_EQ(BundleFile(*device), "<none>");
}

TEST(BundleRecord, RefreshCountsChangesAndRewritesOnlyAfterOne) {
  CurrentDevice device(SessionDevice());
  RSApplicationProxy proxy;
  proxy.bundleIdentifier = "com.example.full";
  proxy.deviceIdentifierForVendor =
      tl::platform::Uuid::parse("0A1B2C3D-4E5F-6071-8293-A4B5C6D7E8F9");
  proxy.itemID = 10;
  proxy.storeCohortMetadata = "a";
  proxy.storeFront = 5;
  proxy.applicationType = "User";
  auto s =
      TLBundleSession::initBundle("com.example.full", std::make_shared<RSApplicationProxy>(proxy));
  ASSERT_EQ(s->key(), 1u);

  s->refreshWithAppProxy(proxy);  // nothing changed
  EXPECT_EQ(s->key(), 1u);

  auto expectChange = [&](RSApplicationProxy changed, uint32_t key) {
    s->refreshWithAppProxy(changed);
    EXPECT_EQ(s->key(), key);
    auto lines = Lines(BundleFile(*device));
    ASSERT_EQ(lines.size(), key);
    EXPECT_EQ(json::parse(lines.back()), *s->recordArray());
  };
  RSApplicationProxy p = proxy;
  p.itemID = 11;
  expectChange(p, 2);
  EXPECT_EQ(s->adamID(), 11);
  p.storeFront.reset();
  expectChange(p, 3);
  EXPECT_FALSE(s->storeFront());
  p.entitlements["beta-reports-active"] = false;  // any entry marks a beta
  expectChange(p, 4);
  EXPECT_TRUE(s->isBeta());
  p.deviceIdentifierForVendor = tl::platform::Uuid::parse("11111111-2222-3333-4444-555555555555");
  expectChange(p, 5);
  p.storeCohortMetadata = "b";
  p.itemID = 12;  // two changes, still one new key
  expectChange(p, 6);
  EXPECT_EQ(s->cohort(), "b");

  // An absent cohort or vendor identifier on the proxy is a change every time.
  p.storeCohortMetadata.reset();
  expectChange(p, 7);
  expectChange(p, 8);
  EXPECT_FALSE(s->cohort());
  p.storeCohortMetadata = "b";
  p.deviceIdentifierForVendor.reset();
  expectChange(p, 9);
  expectChange(p, 10);

  // The third-party flag is taken over but is no change.
  p.deviceIdentifierForVendor = tl::platform::Uuid{};
  s->setVendorID(p.deviceIdentifierForVendor);
  uint32_t key = s->key();
  p.applicationType = "System";
  s->refreshWithAppProxy(p);
  EXPECT_EQ(s->key(), key);
  EXPECT_FALSE(s->is3rdParty());
}

}  // namespace
