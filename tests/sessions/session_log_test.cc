// The session log: its exact bytes, the beta filter, and what failures keep or lose.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>

#include "sessions/chunked_writer.h"
#include "sessions/listener_test_support.h"
#include "sessions/pretty_json.h"
#include "sessions/tl_date_formatter.h"

namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using namespace tl::testing;
using Notice = tl::sim::SimApplications::Notice;
using Fault = tl::platform::FaultyFileSystem::Fault;

tl::testing::Json PeriodDevice() {
  return tl::testing::Json::parse(R"({
    "time_zone": "America/New_York", "locale": "FR", "languages": ["fr-CA", "en"],
    "system_version": {"ProductName": "SimOS", "ProductVersion": "2.1",
                       "ProductBuildVersion": "2B7"},
    "machine": "Sim7,2",
    "apps": [
      {"bundle": "com.example.alpha", "bundle_version": "5", "short_version": "5.0",
       "item_id": 100200300, "store_front": 143455, "cohort": "c1",
       "vendor_id": "A1B2C3D4-0000-1111-2222-333344445555",
       "entitlements": {"beta-reports-active": true}},
      {"bundle": "com.example.beta", "bundle_version": "9", "short_version": "0.9",
       "original_install_type": 4, "is_update": true}
    ],
    "processes": {"300": {"uuid": "00112233-4455-6677-8899-AABBCCDDEEFF", "lp64": true}}
  })");
}

// Alpha (a beta build) runs 65.4 s in the foreground and is uninstalled; beta is installed as an
// update by sync.
void PlayThePeriod(ListenerTest& t) {
  t.at(30);
  t.state("com.example.alpha", 300, 8);
  t.at(95.4);
  t.state("com.example.alpha", 300, 4);
  t.at(120);
  t.notice(Notice::kInstalled, "com.example.beta");
  t.at(150);
  t.notice(Notice::kUninstalled, "com.example.alpha");
}

// Worked out from the log's layout: the device is five hours behind UTC, the start is
// 2026-01-01T00:00:00Z, and the log is written 200 s in.
constexpr char kExpectedLog[] =
    R"log({"bug_type":"179","os_version":"SimOS 2.1 (2B7)"}
{
  "language" : "fr-CA",
  "log_timestamp" : "2025-12-31T19:03:20-0500",
  "log_version" : 2,
  "machine_config" : "Sim7,2",
  "os_version" : "SimOS 2.1 (2B7)",
  "region_format" : "FR",
  "scheduled" : true,
  "sessions_data" : [
{
  "app_adamid" : "",
  "app_build_version" : "9",
  "app_bundleid" : "com.example.beta",
  "app_cohort" : "",
  "app_events" : [
    {
      "date" : "2025-12-31T19:02:00-0500",
      "install_type" : "sync",
      "is_redownload" : false,
      "is_update" : true,
      "type" : "app_install"
    }
  ],
  "app_is_beta" : false,
  "app_sessionreporter_key" : "",
  "app_storefront" : "",
  "app_version" : "0.9"
},
{
  "app_adamid" : 100200300,
  "app_arch" : "arm-64bit",
  "app_build_version" : "5",
  "app_bundleid" : "com.example.alpha",
  "app_cohort" : "c1",
  "app_events" : [
    {
      "date" : "2025-12-31T19:00:30-0500",
      "duration" : 65,
      "state" : "foregroundRunning",
      "type" : "app_session"
    },
    {
      "date" : "2025-12-31T19:02:30-0500",
      "type" : "app_uninstall"
    }
  ],
  "app_is_beta" : true,
  "app_sessionreporter_key" : "A1B2C3D4-0000-1111-2222-333344445555",
  "app_storefront" : 143455,
  "app_version" : "5.0",
  "slice_uuid" : "00112233-4455-6677-8899-AABBCCDDEEFF"
}
  ]
}
)log";

constexpr char kLogName[] = "log-sessions-2025-12-31-190320.session";

TEST(SessionLog, BytesOfASmallPeriod) {
  ListenerTest t(PeriodDevice());
  PlayThePeriod(t);
  ASSERT_THAT(EventFile(t.device()), HasSubstr(" 8 65 1767225695\n"));
  t.at(200);
  t.device().recorded().clear();
  t.post("com.veltro.session.write");

  EXPECT_EQ(t.logFile(kLogName), kExpectedLog);
  EXPECT_EQ(
      Mode(t.device().files(), std::string("/var/mobile/Library/Logs/Faultkeeper/") + kLogName),
      0644);
  EXPECT_THAT(LogTexts(t.device()),
              ElementsAre("writing session log", "processing com.example.beta with 1 events",
                          "processing com.example.alpha with 2 events",
                          std::string("Session log: 2 bundles written to "
                                      "/var/mobile/Library/Logs/Faultkeeper/") +
                              kLogName));
  // A scheduled log truncates the event records only; the sessions' events are gone.
  EXPECT_EQ(EventFile(t.device()), "<none>");
  EXPECT_NE(BundleFile(t.device()), "<none>");
  t.device().recorded().clear();
  t.post("com.veltro.session.write");
  EXPECT_THAT(LogTexts(t.device()),
              ElementsAre("writing session log", "Session log: no events recorded",
                          "Couldn't remove /var/mobile/Library/Tallyline/session_events.log. "
                          "Error: No such file or directory"));
}

TEST(SessionLog, BetaFilterFollowsTaskingThenConsent) {
  struct Case {
    tl::testing::Json fields;
    int written;  // bundles in the log: 1 when only the beta build passes
  };
  const std::vector<Case> cases = {
      {{{"tasking", {{"TLSessionLog", false}}}, {"consent", true}}, 1},
      {{{"tasking", tl::testing::Json::object()}, {"consent", false}}, 1},
      {{{"tasking", {{"TLSessionLog", true}}}, {"consent", false}}, 2},
      {{{"tasking", tl::testing::Json::object()}, {"consent", true}}, 2},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.fields.dump());
    ListenerTest t(PeriodDevice());
    t.device().set(c.fields);
    PlayThePeriod(t);
    t.post("com.veltro.session.write");
    const auto logs = LogTexts(t.device());
    EXPECT_EQ(std::count(logs.begin(), logs.end(), "Filtering only beta sessions"),
              c.written == 1 ? 1 : 0);
    EXPECT_THAT(logs.back(), HasSubstr("Session log: " + std::to_string(c.written) + " bundles"));
    // A session held back keeps its events in memory.
    EXPECT_EQ(t.listener().activeBundles().at("com.example.beta")->eventCount(),
              c.written == 1 ? 1u : 0u);
  }
}

TEST(SessionLog, OnlyFilteredSessionsIsLikeNoEventsButTruncatesTheEventRecords) {
  ListenerTest t(PeriodDevice());
  t.device().set({{"consent", false}});
  t.at(120);
  t.notice(Notice::kInstalled, "com.example.beta");
  t.device().recorded().clear();
  t.post("com.veltro.session.write");
  EXPECT_THAT(LogTexts(t.device()),
              ElementsAre("writing session log", "Filtering only beta sessions",
                          "Session log: no events recorded"));
  EXPECT_EQ(EventFile(t.device()), "<none>");
  EXPECT_EQ(t.listener().activeBundles().at("com.example.beta")->eventCount(), 1u);
  EXPECT_TRUE(
      std::filesystem::is_empty(t.device().hostPath("/var/mobile/Library/Logs/Faultkeeper")));
}

TEST(SessionLog, NoStagingFileKeepsEveryRecordAndEvent) {
  ListenerTest t(PeriodDevice());
  PlayThePeriod(t);
  const std::string records = EventFile(t.device());
  t.device().faults().setFault(Fault::kFailedOpen, true, "/var/tmp/");
  t.device().recorded().clear();
  t.post("com.veltro.session.write");
  EXPECT_THAT(LogTexts(t.device()),
              ElementsAre("writing session log", "Unable to create tmp session log"));
  EXPECT_EQ(EventFile(t.device()), records);
  EXPECT_EQ(t.listener().versedBundles().begin()->second->eventCount(), 2u);

  // A disk that fills up while the log is written gives the events back and removes the
  // unfinished file.
  t.device().faults().clearFaults();
  t.device().faults().setFault(Fault::kNoSpace, true, "/var/tmp/");
  t.device().recorded().clear();
  t.post("com.veltro.session.write");
  EXPECT_EQ(LogTexts(t.device()).back(),
            "Unable to write tmp session log: No space left on device");
  EXPECT_EQ(EventFile(t.device()), records);
  const auto& alpha = t.listener().versedBundles().begin()->second;
  ASSERT_EQ(alpha->eventCount(), 2u);
  EXPECT_EQ(alpha->events[0].description(), "8:65");
  EXPECT_TRUE(std::filesystem::is_empty(t.device().hostPath("/var/tmp")));

  // Once the disk has room the same events make the log.
  t.device().faults().clearFaults();
  t.post("com.veltro.session.write");
  EXPECT_THAT(LogTexts(t.device()).back(), HasSubstr("Session log: 2 bundles written to"));
}

TEST(SessionLog, AFailedMoveLosesThatPeriodsRecords) {
  ListenerTest t(PeriodDevice());
  PlayThePeriod(t);
  t.at(200);
  t.device().faults().setFault(Fault::kFailedRename, true, "/var/mobile/Library/Logs/");
  t.post("com.veltro.session.write");
  const std::string last = LogTexts(t.device()).back();
  EXPECT_THAT(last, ::testing::MatchesRegex(
                        "Couldn't move tempSession from /var/tmp/session\\.[A-Za-z0-9]{4} to "
                        "/var/mobile/Library/Logs/Faultkeeper/log-sessions-2025-12-31-190320\\."
                        "session\\. Error: Invalid cross-device link"));
  // The staging file stays; the records and the events are gone.
  std::string staging =
      last.substr(last.find("/var/tmp/"), std::string("/var/tmp/session.XXXX").size());
  EXPECT_TRUE(Exists(t.device().files(), staging));
  EXPECT_EQ(EventFile(t.device()), "<none>");
  EXPECT_EQ(t.listener().versedBundles().begin()->second->eventCount(), 0u);
}

TEST(SessionLog, EventObjectsByKindAndOddValues) {
  // India is five and a half hours ahead of UTC.
  CurrentDevice device(tl::testing::Json{{"time_zone", "Asia/Kolkata"}});
  auto s = TLBundleSession::initWithRecordArray(
      nlohmann::json::parse(R"(["com.example.odd",3,"00112233-4455-6677-8899-AABBCCDDEEFF"])"));
  s->appendEvent(TLSessionEvent(8, 100, 50));              // starts before 1970: wraps in 32 bits
  s->appendEvent(TLSessionEvent(64, 1, 1767225600));       // a state without a name
  s->appendEvent(TLSessionEvent(0x1C009, 0, 1767225600));  // update, re-download, type 9
  s->appendEvent(TLSessionEvent(0x3C002, 0, 1767225600));
  s->appendEvent(TLSessionEvent(0x40000, 0, 1767225600));
  s->appendEvent(TLSessionEvent(0x50000, 0, 1767225600));
  s->appendEvent(TLSessionEvent(0x60000, 0, 1767225600));  // a kind that is never written
  TLDateFormatter formatter("en_US_POSIX", "yyyy-MM-dd'T'HH':'mm':'ssZZ");
  auto info = s->getInfoWithFormatter(formatter);
  EXPECT_EQ(s->eventCount(), 0u);
  EXPECT_THAT(LogTexts(*device).back(), "processing com.example.odd with 7 events");
  EXPECT_EQ(info["app_arch"], "<unknown-3>");
  EXPECT_EQ(info["slice_uuid"], "00112233-4455-6677-8899-AABBCCDDEEFF");
  EXPECT_EQ(info["app_adamid"], "");
  const auto& events = info["app_events"];
  ASSERT_EQ(events.size(), 6u);
  EXPECT_EQ(events[0]["date"], "2106-02-07T11:57:26+0530");
  EXPECT_EQ(events[1]["state"], "<unknown-64>");
  EXPECT_EQ(events[2], nlohmann::json::parse(R"({"type": "app_install",
      "install_type": "<unknown-9>", "is_update": true, "is_redownload": true,
      "date": "2026-01-01T05:30:00+0530"})"));
  EXPECT_EQ(events[3]["type"], "app_start_install");
  EXPECT_EQ(events[3]["install_type"], "restore");
  EXPECT_EQ(events[4], nlohmann::json::parse(R"({"type": "app_install_fail",
      "date": "2026-01-01T05:30:00+0530"})"));
  EXPECT_EQ(events[5]["type"], "app_install_cancel");

  auto plain = TLBundleSession::initWithRecordArray(nlohmann::json::parse(R"(["p"])"));
  auto plainInfo = plain->getInfoWithFormatter(formatter);
  EXPECT_FALSE(plainInfo.contains("slice_uuid"));
  EXPECT_FALSE(plainInfo.contains("app_arch"));
}

// Keeps what it is given.
class KeptBytes : public tl::platform::WriteHandle {
 public:
  tl::Status seekToEnd() override { return tl::Status(); }
  tl::Status write(std::span<const uint8_t> bytes) override {
    text.append(reinterpret_cast<const char*>(bytes.data()), bytes.size());
    return tl::Status();
  }
  std::string text;
};

TEST(SessionLog, AnObjectWrittenStraightIsTheObjectPrettyPrinted) {
  CurrentDevice device(tl::testing::Json{{"time_zone", "Australia/Lord_Howe"}});
  TLDateFormatter formatter("en_US_POSIX", "yyyy-MM-dd'T'HH':'mm':'ssZZ");
  const std::vector<std::pair<const char*, std::vector<TLSessionEvent>>> cases = {
      // Every kind, an unnamed state and install type, and a start before 1970.
      {R"(["com.example.odd",3,"00112233-4455-6677-8899-AABBCCDDEEFF","1","1.0","",7.5,"c",
          143441,true,4])",
       {TLSessionEvent(8, 100, 50), TLSessionEvent(64, 1, 1767225600),
        TLSessionEvent(0x1C009, 0, 1775316600), TLSessionEvent(0x3C002, 0, 1775318400),
        TLSessionEvent(0x20000, 0, 1767225600), TLSessionEvent(0x40000, 0, 1767225600),
        TLSessionEvent(0x60000, 0, 1767225600), TLSessionEvent(0x50000, 0, 1767225600)}},
      // Only events that are never written: an empty list.
      {R"(["com.example.none"])", {TLSessionEvent(0x60000, 0, 1), TLSessionEvent(0xF0000, 0, 2)}},
      // Text that must be escaped or lies beyond ASCII, and a negative architecture.
      {"[\"com.\\\"q\\u0001\\u00e9\", -2, \"\", \"\\n\"]", {TLSessionEvent(4, 3, 9)}},
  };
  for (const auto& [record, events] : cases) {
    SCOPED_TRACE(record);
    auto asValue = TLBundleSession::initWithRecordArray(nlohmann::json::parse(record));
    auto straight = TLBundleSession::initWithRecordArray(nlohmann::json::parse(record));
    for (const auto& event : events) {
      asValue->appendEvent(event);
      straight->appendEvent(event);
    }
    std::string expected;
    tl::sessions::AppendPretty(expected, asValue->getInfoWithFormatter(formatter));

    KeptBytes file;
    tl::sessions::ChunkedWriter out(file);
    std::vector<TLSessionEvent> taken;
    straight->appendInfoWithFormatter(out, formatter, &taken);
    ASSERT_TRUE(out.finish().ok());
    EXPECT_EQ(file.text, expected);
    EXPECT_EQ(straight->eventCount(), 0u);
    EXPECT_EQ(taken.size(), events.size());
  }
}

}  // namespace
