// TLApplicationStateChangeEventListener: where sessions live, how reports reach them, and what
// is registered.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "sessions/listener_test_support.h"

namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::Pair;
using namespace tl::testing;
using Notice = tl::sim::SimApplications::Notice;
using Json = tl::testing::Json;

std::vector<std::string> Keys(const std::map<std::string, std::shared_ptr<TLBundleSession>>& map) {
  std::vector<std::string> keys;
  for (const auto& [key, session] : map) keys.push_back(key);
  return keys;
}

std::vector<uint32_t> EventCodes(const TLBundleSession& session) {
  std::vector<uint32_t> codes;
  for (const auto& event : session.events) codes.push_back(event.appState());
  return codes;
}

Json Version(int v) {
  return {{"bundle", "com.x"},
          {"bundle_version", std::to_string(v)},
          {"short_version", std::to_string(v) + ".0"}};
}

TEST(Listener, InstallNoticesMoveSessionsBetweenTheMaps) {
  ListenerTest t(Json{{"apps", {Version(1), {{"bundle", "com.veltro.sys"}, {"type", "System"}}}}});
  auto& apps = t.device().simApplications();
  auto& active = t.listener().activeBundles();
  auto& versed = t.listener().versedBundles();

  t.notice(Notice::kInstalled, "com.x");  // neither: a new active session
  auto s1 = active.at("com.x");
  t.notice(Notice::kInstalled, "com.x");  // the same version: no move
  EXPECT_EQ(active.at("com.x"), s1);
  apps.addProxy(Proxy(Version(2)));
  t.notice(Notice::kInstalled, "com.x");  // another version: the old one is set aside
  auto s2 = active.at("com.x");
  EXPECT_THAT(Keys(versed), ElementsAre("com.x:1:1.0"));
  t.notice(Notice::kInstallStarted, "com.x");  // the same version: set aside while installing
  EXPECT_THAT(Keys(active), IsEmpty());
  EXPECT_THAT(Keys(versed), ElementsAre("com.x:1:1.0", "com.x:2:2.0"));
  t.notice(Notice::kInstallFailed, "com.x");  // found among the set-aside ones: no move
  t.notice(Notice::kInstalled, "com.x");      // installed: back to active
  EXPECT_EQ(active.at("com.x"), s2);
  EXPECT_THAT(Keys(versed), ElementsAre("com.x:1:1.0"));
  apps.addProxy(Proxy(Version(3)));
  t.notice(Notice::kInstallCancelled, "com.x");  // another version: the active one stays
  EXPECT_EQ(active.at("com.x"), s2);
  auto s3 = versed.at("com.x:3:3.0");
  t.notice(Notice::kUninstalled, "com.x");  // found set aside: no move
  apps.addProxy(Proxy(Version(2)));
  t.notice(Notice::kUninstalled, "com.x");  // the active one is set aside
  apps.addProxy(Proxy(Version(4)));
  t.notice(Notice::kUninstalled, "com.x");         // neither: a new set-aside session
  t.notice(Notice::kInstalled, "com.veltro.sys");  // not third-party: never tracked

  EXPECT_THAT(Keys(active), IsEmpty());
  EXPECT_THAT(Keys(versed),
              ElementsAre("com.x:1:1.0", "com.x:2:2.0", "com.x:3:3.0", "com.x:4:4.0"));
  EXPECT_THAT(EventCodes(*s1), ElementsAre(0x10000, 0x10000));
  EXPECT_THAT(EventCodes(*s2), ElementsAre(0x10000, 0x30000, 0x40000, 0x10000, 0x20000));
  EXPECT_THAT(EventCodes(*s3), ElementsAre(0x50000, 0x20000));
  EXPECT_THAT(EventCodes(*versed.at("com.x:4:4.0")), ElementsAre(0x20000));
  EXPECT_TRUE(t.device().recorded().crashes().empty());
}

TEST(Listener, InstallCodesCarryTypeUpdateAndRedownload) {
  ListenerTest t(Json::parse(R"({"preferences": {"com.veltro.TLSession": {"debug-spew": true}},
    "apps": [{"bundle": "com.y", "original_install_type": 5, "install_type": 3,
              "is_update": true, "is_redownload": true}]})"));
  t.notice(Notice::kInstallStarted, "com.y");
  t.notice(Notice::kInstalled, "com.y");
  t.notice(Notice::kInstallFailed, "com.y");
  t.notice(Notice::kInstallCancelled, "com.y");
  t.notice(Notice::kUninstalled, "com.y");
  auto texts = LogTexts(t.device());
  std::vector<std::string> notices;
  for (const auto& text : texts) {
    if (text.starts_with("Session: ") && !text.starts_with("Session: state"))
      notices.push_back(text);
  }
  EXPECT_THAT(notices, ElementsAre("Session: InstallsDidStart type 3 UP    com.y",
                                   "Session: DidInstall       type 5 UP RD com.y",
                                   "Session: DidFailToInstall              com.y",
                                   "Session: InstallsDidCancel             com.y",
                                   "Session: DidUnInstall                  com.y"));
  auto& session = *t.listener().versedBundles().begin()->second;
  EXPECT_THAT(EventCodes(session), ElementsAre(0x3C003, 0x1C005, 0x40000, 0x50000, 0x20000));
}

TEST(Listener, DuplicatedMetadataIsReportedAndProcessingGoesOn) {
  // Two bundles whose version keys coincide: "com.x" 1:2 / 3 and "com.x:1" 2 / 3.
  ListenerTest t(Json::parse(R"({"apps": [
    {"bundle": "com.x", "bundle_version": "1:2", "short_version": "3"},
    {"bundle": "com.x:1", "bundle_version": "2", "short_version": "3"}]})"));
  t.state("com.x", 0, 8);
  t.notice(Notice::kUninstalled, "com.x:1");
  t.device().recorded().clear();
  t.notice(Notice::kInstalled, "com.x");

  const auto& crashes = t.device().recorded().crashes();
  ASSERT_EQ(crashes.size(), 1u);
  EXPECT_EQ(crashes[0].code, 0xDEADB0DEu);
  EXPECT_EQ(crashes[0].reason,
            "Session SimCrash -- RS event 10000 metadata is duplicated: com.x:1:2:3");
  EXPECT_THAT(LogTexts(t.device())[0], ::testing::StartsWith("dumping session data:\nActive:\n{"));
  // Then the install went on: the set-aside session is the active one now, with the event.
  auto& active = t.listener().activeBundles().at("com.x");
  EXPECT_EQ(active->bundleID(), "com.x:1");
  EXPECT_THAT(EventCodes(*active), ElementsAre(0x20000, 0x10000));
  EXPECT_TRUE(t.listener().versedBundles().empty());
}

TEST(Listener, WebApplicationsAreNamedByTheMonitorsAnswer) {
  ListenerTest t(Json::parse(R"({"apps": [{"bundle": "com.example.site"}]})"));
  t.device().simApplications().setApplicationInfo(50, {{"bundle", "com.example.site"}});
  t.device().simApplications().setApplicationInfo(52, {{"bundle", 7}});
  t.state("com.veltro.webapp", 50, 8);  // answered: the site's session
  t.state("com.veltro.webapp", 51, 8);  // no answer with a bundle: dropped
  t.state("com.veltro.webapp", 52, 8);  // an answer that is no string: dropped
  t.device().simApplications().reportState({{"bundle", "com.veltro.webapp"}, {"state", 8}});
  t.device().runUntilIdle();  // no process identifier: no lookup, the shared bundle itself
  EXPECT_THAT(Keys(t.listener().activeBundles()),
              ElementsAre("com.example.site", "com.veltro.webapp"));
}

TEST(Listener, StateReportsAreFoldedOrDropped) {
  ListenerTest t(Json::parse(R"({"apps": [{"bundle": "com.z"}],
    "processes": {"9": {"uuid": "00112233-4455-6677-8899-AABBCCDDEEFF", "lp64": false}}})"));
  auto& apps = t.device().simApplications();
  apps.reportState({{"bundle", 5}, {"state", 8}});                       // no bundle text
  apps.reportState({{"bundle", "com.z"}, {"state", "8"}});               // no state number
  apps.reportState({{"bundle", "com.z"}, {"pid", "9"}, {"state", 32}});  // pid text: -1
  t.device().runUntilIdle();
  auto& session = *t.listener().activeBundles().at("com.z");
  EXPECT_EQ(session.appstate.state, 8u);  // obscured foreground counts as foreground
  EXPECT_EQ(session.appstate.arch, 0);    // pid -1: the queries failed
  apps.reportState({{"bundle", "com.z"}, {"pid", 9}, {"state", 1}, {"extension", true}});
  t.device().runUntilIdle();
  EXPECT_THAT(Scalars(t.device()),
              ElementsAre(Pair("appLaunchCount.com.z", 1), Pair("appActivationCount.com.z", 1),
                          Pair("appActiveTime.com.z", 0)));
  EXPECT_EQ(session.eventCount(), 1u);
}

TEST(Listener, MultiUserModeRegistersNoWriteTriggerScheduleOrMemorySource) {
  ListenerTest t(Json{{"multi_user", true}, {"apps", {{{"bundle", "com.m"}}}}});
  EXPECT_THAT(t.device().notifications().registrations(),
              ElementsAre("com.veltro.tallyd.tldaily.logging", "com.veltro.session.dump"));
  EXPECT_FALSE(t.device().simApplications().activityCriteria("com.veltro.session.schedule"));
  t.state("com.m", 0, 8);
  t.state("com.m", 0, 2);
  t.device().recorded().clear();
  t.device().memoryPressure(tl::platform::kMemoryPressureWarning);
  t.post("com.veltro.session.write");
  EXPECT_THAT(LogTexts(t.device()), IsEmpty());
  t.post("com.veltro.session.dump");
  EXPECT_THAT(LogTexts(t.device()),
              ElementsAre("dumping session data:\nActive:\n{\n    com.m = <1>com.m:(null):(null)"
                          "\r    8:0\r;\n}\nVersioned:\n{\n}"));
}

TEST(Listener, ScheduleTriggersAndTheirInterval) {
  for (auto [tasking, hours] :
       std::vector<std::pair<Json, int64_t>>{{Json(), 6}, {0, 6}, {25, 6}, {1, 1}, {24, 24}}) {
    SCOPED_TRACE(tasking.dump());
    Json fields = {{"apps", {{{"bundle", "com.s"}}}}};
    if (!tasking.is_null()) fields["tasking"] = {{"SessionScheduleModuloHours", tasking}};
    ListenerTest t(fields);
    auto criteria = t.device().simApplications().activityCriteria("com.veltro.session.schedule");
    ASSERT_TRUE(criteria);
    EXPECT_EQ(criteria->intervalSeconds, hours * 3600);
    EXPECT_EQ(criteria->gracePeriodSeconds, 4 * 3600);
    EXPECT_TRUE(criteria->requiresScreenSleep);
    EXPECT_TRUE(criteria->repeating);
  }
  ListenerTest t(Json{{"apps", {{{"bundle", "com.s"}}}}});
  auto run = [&](tl::platform::ActivityState state) {
    t.device().simApplications().runActivity("com.veltro.session.schedule", state);
    t.device().runUntilIdle();
  };
  run(tl::platform::ActivityState::kWait);
  EXPECT_THAT(LogTexts(t.device()), IsEmpty());
  run(tl::platform::ActivityState::kRun);
  t.device().memoryPressure(tl::platform::kMemoryPressureWarning);
  t.device().memoryPressure(tl::platform::kMemoryPressureCritical);  // not the source's level
  auto texts = LogTexts(t.device());
  EXPECT_EQ(std::count(texts.begin(), texts.end(), "scheduled session log"), 1);
  EXPECT_EQ(std::count(texts.begin(), texts.end(), "low memory session log"), 1);
}

}  // namespace
