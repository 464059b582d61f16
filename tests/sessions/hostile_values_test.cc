// Values from outside that once cut, wrapped or reshaped what the sessions record: NUL bytes and
// long texts in bundle identifiers, numbers of every kind, and the end of the 32-bit wall clock.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>

#include "platform/device_paths.h"
#include "sessions/listener_test_support.h"
#include "sessions/session_records.h"
#include "sessions/tl_date_formatter.h"

namespace {

using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::Pair;
using namespace tl::testing;
using Notice = tl::sim::SimApplications::Notice;

// The scalars added under keys starting with prefix, by key.
std::map<std::string, int64_t> Added(TestDevice& device, const std::string& prefix) {
  std::map<std::string, int64_t> sums;
  for (const auto& scalar : device.recorded().scalars()) {
    if (scalar.key.starts_with(prefix)) sums[scalar.key] += scalar.value;
  }
  return sums;
}

// The one session log the device holds, whole.
std::string TheSessionLog(TestDevice& device) {
  std::string text;
  for (const auto& entry : std::filesystem::directory_iterator(
           device.hostPath(tl::platform::kDiagnosticLogDirectory))) {
    std::ifstream in(entry.path());
    text += std::string(std::istreambuf_iterator<char>(in), {});
  }
  return text;
}

TEST(HostileValues, BundleIdentifiersAreUsedWholeEvenWithNulAndLength) {
  const std::string x("com.a\0x", 7);
  const std::string y("com.a\0y", 7);
  ListenerTest t(
      Json{{"apps", Json::array({{{"bundle", x}, {"bundle_version", "1"}, {"short_version", "1.0"}},
                                 {{"bundle", y}}})}});
  t.state(x, 10, 8);
  t.state(y, 11, 8);
  // Two bundles, two keys each: nothing is cut at the NUL.
  EXPECT_THAT(Added(t.device(), "appLaunchCount."),
              ElementsAre(Pair("appLaunchCount." + x, 1), Pair("appLaunchCount." + y, 1)));
  EXPECT_THAT(LogTexts(t.device()), Contains("Tracking " + x + " (via activity)"));
  // An installed notice of the running version finds its session: no new one is made.
  t.notice(Notice::kInstalled, x);
  EXPECT_TRUE(t.listener().versedBundles().empty());
  ASSERT_EQ(t.listener().activeBundles().at(x)->events.size(), 1u);
  EXPECT_EQ(t.listener().activeBundles().at(x)->events[0].appState(), 0x10000u);

  // A crash reason far beyond any fixed buffer: two bundles whose version keys coincide.
  const std::string longName = "com.x." + std::string(600, 'n');
  ListenerTest d(Json{
      {"apps",
       Json::array(
           {{{"bundle", longName}, {"bundle_version", "1:2"}, {"short_version", "3"}},
            {{"bundle", longName + ":1"}, {"bundle_version", "2"}, {"short_version", "3"}}})}});
  d.state(longName, 0, 8);
  d.notice(Notice::kUninstalled, longName + ":1");
  d.notice(Notice::kInstalled, longName);
  const auto& crashes = d.device().recorded().crashes();
  ASSERT_EQ(crashes.size(), 1u);
  EXPECT_EQ(crashes[0].reason,
            "Session SimCrash -- RS event 10000 metadata is duplicated: " + longName + ":1:2:3");
}

TEST(HostileValues, NumbersAreWrittenBackAsTheyCame) {
  // A record written by another layout: a fractional item identifier and store front.
  CurrentDevice device;
  auto s = TLBundleSession::initWithRecordArray(nlohmann::json::parse(
      R"(["com.n", 2, "00112233-4455-6677-8899-AABBCCDDEEFF", "1", "1.0", "", 5.5, "", 7.25,
          false, 3])"));
  EXPECT_EQ((*s->recordArray())[6].dump(), "5.5");
  EXPECT_EQ((*s->recordArray())[8].dump(), "7.25");
  TLDateFormatter formatter("en_US_POSIX", "yyyy-MM-dd'T'HH':'mm':'ssZZ");
  const auto info = s->getInfoWithFormatter(formatter);
  EXPECT_EQ(info["app_adamid"].dump(), "5.5");
  EXPECT_EQ(info["app_storefront"].dump(), "7.25");
  // 0.5 is 0 as a 32-bit integer: no item identifier at all.
  auto none = TLBundleSession::initWithRecordArray(
      nlohmann::json::parse(R"(["com.z", 0, "", "", "", "", 0.5])"));
  EXPECT_FALSE(none->adamID());

  // The first language is written as it is: an integer stays one, true stays true.
  for (const auto& [first, written] :
       {std::pair(Json(5), "\"language\" : 5,"), std::pair(Json(true), "\"language\" : true,"),
        std::pair(Json(2.5), "\"language\" : 2.5,")}) {
    ListenerTest t(Json{{"languages", Json::array({first, "en"})}, {"apps", {{{"bundle", "a"}}}}});
    t.state("a", 1, 8);
    t.at(10);
    t.state("a", 1, 4);
    t.post("com.veltro.session.write");
    EXPECT_THAT(TheSessionLog(t.device()), HasSubstr(written));
  }
}

TEST(HostileValues, EventRecordsAreReadStrictly) {
  using tl::sessions::ParseEventRecord;
  auto fields = [](std::string_view line) {
    auto r = ParseEventRecord(line);
    return r ? std::vector<uint32_t>{r->key, r->state, r->duration, r->endtime}
             : std::vector<uint32_t>{};
  };
  EXPECT_THAT(fields("1 8 60 1767225695\n"), ElementsAre(1, 8, 60, 1767225695));
  EXPECT_THAT(fields("4294967295  0\t0 0"), ElementsAre(4294967295u, 0, 0, 0));
  // Nothing wraps into another key, and the field count is exactly four.
  for (const char* bad :
       {"4294967296 8 60 100\n", "1 8 60 99999999999999999999\n", "-1 8 60 100\n", "+1 8 60 100\n",
        "1 8 60\n", "1 8 60 100 5\n", "1 8 60 1x\n", "1 8 0x3c 100\n", "\n", ""}) {
    EXPECT_THAT(fields(bad), IsEmpty()) << bad;
  }
}

TEST(HostileValues, TheWallClockEndsAtTheLastSecondOf32Bits) {
  // 60 s in the foreground ending 40 s after 2106-02-07T06:28:15Z: the end saturates at that
  // second instead of wrapping to 1970.
  ListenerTest t(Json{{"start", 4294967295.0 - 20}, {"apps", {{{"bundle", "a"}}}}});
  t.state("a", 1, 8);
  t.at(60);
  t.state("a", 1, 4);
  EXPECT_EQ(EventFile(t.device()), "1 8 60 4294967295\n");
}

}  // namespace
