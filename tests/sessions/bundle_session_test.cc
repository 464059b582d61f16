// TLBundleSession's run-state machine: counters, active time, events and process queries.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "sessions/session_test_support.h"
#include "sessions/tl_bundle_session.h"

namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::Pair;
using namespace tl::testing;

TEST(BundleSession, CountsLaunchesActivationsAndActiveTimeByTheStateTable) {
  CurrentDevice device(SessionDevice());
  auto s = TLBundleSession::initBundle("com.example.app", false);
  EXPECT_EQ(s->key(), 1u);
  EXPECT_THAT(LogTexts(*device), ElementsAre("Tracking com.example.app (via activity)"));

  s->updateState(8, 100.0, 0);  // launch: terminated straight to foreground
  device->advanceBy(10);
  s->updateState(2, 110.4, 0);  // 10.4 s in the foreground
  s->updateState(4, 111.0, 0);  // suspended to background: no launch, no time
  s->updateState(8, 111.5, 0);  // an activation after 0.5 s of background: rounds to 0
  s->updateState(8, 120.0, 0);  // the same state again only restarts the interval
  device->advanceBy(5);
  s->updateState(16, 121.5, 0);  // 1.5 s in the foreground rounds to 2
  s->updateState(4, 122.0, 0);   // from processServer: nothing
  s->updateState(2, 125.4, 0);   // 3.4 s of background time
  s->updateState(1, 126.0, 0);
  s->updateState(4, 127.0, 0);  // background launch
  s->updateState(2, 127.4, 0);  // less than half a second of background: nothing

  EXPECT_THAT(Scalars(*device), ElementsAre(Pair("appLaunchCount.com.example.app", 1),
                                            Pair("appActivationCount.com.example.app", 1),
                                            Pair("appActiveTime.com.example.app", 10),
                                            Pair("appActivationCount.com.example.app", 1),
                                            Pair("appActiveTime.com.example.app", 2),
                                            Pair("appBackgroundActiveTime.com.example.app", 3),
                                            Pair("appLaunchBackgroundCount.com.example.app", 1)));
  ASSERT_EQ(s->eventCount(), 2u);
  EXPECT_EQ(s->events[0].description(), "8:10");
  EXPECT_EQ(s->events[1].description(), "8:2");
  EXPECT_TRUE(s->active_since_last_check);
  // Each foreground interval is one record line: key, state, duration, wall-clock end.
  EXPECT_EQ(EventFile(*device), "1 8 10 1767225610\n1 8 2 1767225615\n");
  EXPECT_EQ(s->description(), "<1>com.example.app:7:1.2\r    8:10\r    8:2\r");
}

TEST(BundleSession, LeavingForegroundAtOnceStillRecordsAZeroInterval) {
  CurrentDevice device(SessionDevice());
  auto s = TLBundleSession::initBundle("com.example.app", false);
  s->updateState(8, 50.0, 0);
  s->updateState(1, 50.5, 0);  // 0.5 rounds to even: 0
  EXPECT_THAT(Scalars(*device), ElementsAre(Pair("appLaunchCount.com.example.app", 1),
                                            Pair("appActivationCount.com.example.app", 1),
                                            Pair("appActiveTime.com.example.app", 0)));
  EXPECT_EQ(EventFile(*device), "1 8 0 1767225600\n");
  // A clock that went back gives a negative duration, sent zero-extended from 32 bits.
  s->updateState(8, 60.0, 0);
  s->updateState(2, 58.0, 0);
  EXPECT_EQ(device->recorded().scalars().back().value, 4294967294);
}

TEST(BundleSession, ExtensionsAndNonThirdPartyBundlesCountKeysButKeepNoEvents) {
  CurrentDevice device(SessionDevice());
  std::vector<std::shared_ptr<TLBundleSession>> sessions = {
      TLBundleSession::initBundle("com.example.app", /*isExtension=*/true),
      TLBundleSession::initBundle("com.veltro.mail", false),
      TLBundleSession::initBundle("com.veltro.tool", false),
      TLBundleSession::initBundle("com.veltro.hidden", false),
      TLBundleSession::initBundle("com.example.untyped", false),
  };
  for (auto& s : sessions) {
    s->updateState(8, 10.0, 0);
    s->updateState(2, 14.0, 0);
    EXPECT_EQ(s->eventCount(), 0u) << s->versionKey();
    EXPECT_TRUE(s->active_since_last_check);
  }
  EXPECT_EQ(device->recorded().scalars().size(), 3 * sessions.size());
  EXPECT_EQ(device->recorded().scalars()[2].key, "appActiveTime.com.example.app");
  EXPECT_EQ(device->recorded().scalars()[2].value, 4);
  EXPECT_EQ(EventFile(*device), "<none>");
}

TEST(BundleSession, LearnsTheExecutableOnlyWhenLeavingTerminated) {
  CurrentDevice device(SessionDevice());
  auto s64 = TLBundleSession::initBundle("com.example.app", false);
  s64->updateState(4, 1.0, 101);
  EXPECT_EQ(s64->appstate.arch, 2);
  EXPECT_EQ(s64->appstate.uuid.text(), "00112233-4455-6677-8899-AABBCCDDEEFF");
  // Not terminated any more: a report from another process asks nothing.
  s64->updateState(8, 2.0, 102);
  EXPECT_EQ(s64->appstate.arch, 2);

  auto s32 = TLBundleSession::initBundle("com.example.full", false);
  s32->updateState(8, 1.0, 102);
  EXPECT_EQ(s32->appstate.arch, 1);
  EXPECT_EQ(s32->appstate.uuid.text(), "FFEEDDCC-BBAA-9988-7766-554433221100");

  // Failing queries (a process that has gone, no process id at all) leave both fields alone.
  for (int32_t pid : {103, 999, -1, 0}) {
    auto s = TLBundleSession::initBundle("com.example.app", false);
    s->updateState(8, 1.0, pid);
    EXPECT_EQ(s->appstate.arch, 0);
    EXPECT_TRUE(s->appstate.uuid.isZero());
  }
}

TEST(BundleSession, ARebuiltSessionNeverCountsALaunchNorAsksForTheProcess) {
  CurrentDevice device(SessionDevice());
  auto s = TLBundleSession::initWithRecordArray(nlohmann::json::parse(
      R"(["com.example.app",0,"00000000-0000-0000-0000-000000000000","7","1.2","",0,"",0,false,4])"));
  ASSERT_TRUE(s);
  EXPECT_EQ(s->appstate.state, 0u);
  s->updateState(8, 3.0, 101);
  EXPECT_THAT(Scalars(*device), ElementsAre(Pair("appActivationCount.com.example.app", 1)));
  EXPECT_EQ(s->appstate.arch, 0);
  // Not third-party until a proxy says so: the interval is counted but not recorded.
  s->updateState(2, 9.0, 101);
  EXPECT_EQ(s->eventCount(), 0u);
}

TEST(BundleSession, DebugLinesNameTheStatesAndTheEvent) {
  CurrentDevice device(SessionDevice());
  TLBundleSession::setDebug(true);
  auto s = TLBundleSession::initBundle("com.example.app", false);
  s->updateState(8, 0.0, 7);
  s->updateState(64, 10.0, 7);
  s->updateState(64, 11.0, 7);
  EXPECT_THAT(LogTexts(*device),
              ElementsAre("Tracking com.example.app (via activity)",
                          "AppStateChange: com.example.app (7) terminated => foregroundRunning",
                          "AppStateChange: com.example.app (7) foregroundRunning => (null)",
                          "Session: state 0x00008 duration  10    com.example.app (events 1)"));
}

TEST(BundleSession, VersionsCompareOnlyWhenBothVersionStringsArePresent) {
  CurrentDevice device(SessionDevice());
  auto a = TLBundleSession::initBundle("com.example.app", false);
  auto b = TLBundleSession::initBundle("com.example.app", nullptr);
  auto bare = TLBundleSession::initBundle("com.example.none", false);
  EXPECT_EQ(a->versionKey(), "com.example.app:7:1.2");
  EXPECT_EQ(bare->versionKey(), "com.example.none:(null):(null)");
  EXPECT_TRUE(a->isSameVersion(b.get()));
  EXPECT_FALSE(a->isSameVersion(nullptr));
  EXPECT_FALSE(a->isSameVersion(bare.get()));
  EXPECT_FALSE(bare->isSameVersion(bare.get()));
  EXPECT_EQ(LogTexts(*device)[1], "Tracking com.example.app (via LS)");
}

}  // namespace
