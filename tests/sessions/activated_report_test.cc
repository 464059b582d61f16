// The daily report of activated applications, the pruning after it, and the person-and-e-mail
// count client routine.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstring>

#include "core/tallyline_module.h"
#include "sessions/listener_test_support.h"

namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using namespace tl::testing;
using Notice = tl::sim::SimApplications::Notice;
using Json = tl::testing::Json;

constexpr char kDaily[] = "com.veltro.tallyd.tldaily.logging";

Json ReportDevice() {
  return Json::parse(R"({"apps": [
    {"bundle": "com.a", "bundle_version": "1", "short_version": "1.0", "item_id": 4294967295},
    {"bundle": "com.b", "short_version": "2.0"},
    {"bundle": "com.c", "bundle_version": "3"},
    {"bundle": "com.d"},
    {"bundle": "com.idle"}],
    "processes": {"7": {"uuid": "00112233-4455-6677-8899-AABBCCDDEEFF", "lp64": true}}})");
}

// bundle_id -> "version|adam_id|uuid|arch" of the last report.
std::vector<std::string> Entries(tl::testing::TestDevice& device) {
  const auto& messages = device.recorded().messages();
  EXPECT_FALSE(messages.empty());
  if (messages.empty()) return {};
  EXPECT_EQ(messages.back().service, "com.veltro.tallyd.tldaily");
  const auto& message = *messages.back().message;
  EXPECT_EQ(message.get("operation")->int64Value(), 2);
  std::vector<std::string> entries;
  for (const auto& e : message.get("app_data")->elements()) {
    entries.push_back(e->get("bundle_id")->stringValue() + " " + e->get("version")->stringValue() +
                      "|" + std::to_string(e->get("adam_id")->int64Value()) + "|" +
                      e->get("uuid")->uuidValue().text() + "|" +
                      std::to_string(e->get("arch")->int64Value()));
  }
  return entries;
}

TEST(ActivatedReport, ReportsEachSessionActiveSinceTheLastReportOnce) {
  ListenerTest t(ReportDevice());
  t.state("com.a", 7, 8);
  t.state("com.a", 7, 2);
  for (const char* bundle : {"com.b", "com.c", "com.d"}) {
    t.state(bundle, 0, 8);
    t.state(bundle, 0, 2);
  }
  t.notice(Notice::kUninstalled, "com.d");  // a set-aside session reports too
  t.state("com.idle", 0, 4);                // never active: no event, not reported
  t.device().recorded().clear();
  t.post(kDaily);

  const std::string zero = "00000000-0000-0000-0000-000000000000";
  EXPECT_THAT(Entries(t.device()),
              ElementsAre("com.a 1 (1.0)|-1|00112233-4455-6677-8899-AABBCCDDEEFF|2",
                          "com.b ??? (2.0)|0|" + zero + "|0", "com.c 3|0|" + zero + "|0",
                          "com.d ???|0|" + zero + "|0"));
  EXPECT_THAT(LogTexts(t.device()),
              ElementsAre("gathering app info for tldaily", "sending 4 app infos to tldaily"));
  // The idle session had no events and is gone; the others stay.
  EXPECT_FALSE(t.listener().activeBundles().count("com.idle"));
  EXPECT_EQ(t.listener().activeBundles().size(), 3u);

  t.post(kDaily);  // right after: nothing is new
  EXPECT_THAT(Entries(t.device()), IsEmpty());
}

TEST(ActivatedReport, TaskingSwitchesTheContentOffButNotTheMessage) {
  ListenerTest t(ReportDevice());
  t.device().set({{"tasking", {{"TLActivatedAppInfo", false}}}});
  t.state("com.a", 0, 8);
  t.state("com.a", 0, 2);
  t.device().recorded().clear();
  t.post(kDaily);
  EXPECT_THAT(Entries(t.device()), IsEmpty());
  EXPECT_THAT(LogTexts(t.device()), ElementsAre("gathering app info for tldaily",
                                                "ActivatedApp data disabled via tasking",
                                                "sending 0 app infos to tldaily"));
  // The sessions' marks were left alone: with the tasking gone they are reported.
  t.device().set({{"tasking", Json::object()}});
  t.post(kDaily);
  EXPECT_THAT(Entries(t.device()), ElementsAre(::testing::StartsWith("com.a 1 (1.0)")));
}

TEST(ActivatedReport, SessionsWithoutEventsArePrunedAlsoWithoutAService) {
  ListenerTest t(ReportDevice());
  t.state("com.idle", 0, 4);
  t.notice(Notice::kUninstalled, "com.a");  // a set-aside session with an event stays
  t.state("com.b", 0, 2);
  t.device().simIpc().setServiceReachable("com.veltro.tallyd.tldaily", false);
  t.device().recorded().clear();
  t.post(kDaily);
  EXPECT_THAT(LogTexts(t.device()),
              ElementsAre("gathering app info for tldaily", "sending 1 app infos to tldaily",
                          "Error connecting to tldaily for actived apps: Connection invalid"));
  EXPECT_THAT(t.listener().activeBundles(), IsEmpty());
  EXPECT_EQ(t.listener().versedBundles().size(), 1u);

  t.state("com.c", 0, 2);
  t.device().simIpc().setConnectionsFail(true);
  t.post(kDaily);
  EXPECT_THAT(t.listener().activeBundles(), IsEmpty());
  EXPECT_EQ(t.device().recorded().messages().size(), 0u);
}

// A scripted service: replies with size bytes, id, bits, return code and the two counts.
std::vector<uint8_t> Reply(uint32_t size, int32_t id, int32_t code, uint32_t persons = 0,
                           uint32_t emails = 0, uint32_t bits = 0x12) {
  std::vector<uint8_t> reply(size, 0);
  tl::platform::MessageHeader header;
  header.bits = bits;
  header.size = size;
  header.id = id;
  std::memcpy(reply.data(), &header, sizeof header);
  if (size >= 36) std::memcpy(reply.data() + 32, &code, 4);
  if (size >= 44) {
    std::memcpy(reply.data() + 36, &persons, 4);
    std::memcpy(reply.data() + 40, &emails, 4);
  }
  return reply;
}

TEST(PersonAndEmailCount, EveryOutcomeOfTheExchange) {
  CurrentDevice device;
  auto& ipc = device->simIpc();
  constexpr uint32_t kPort = 0x2203;
  std::vector<uint8_t> request;
  std::variant<int32_t, std::vector<uint8_t>> answer;
  ipc.setServer(kPort, [&](const std::vector<uint8_t>& bytes) {
    request = bytes;
    return answer;
  });
  uint32_t persons = 99;
  uint32_t emails = 99;
  auto call = [&](auto reply) {
    answer = reply;
    return TLDBServiceClientGetPersonAndEmailCount(kPort, &persons, &emails);
  };

  answer = Reply(44, 1351, 0, 12, 34);
  EXPECT_EQ(TLDBServiceClientGetPersonAndEmailCount(kPort, &persons, &emails), 0);
  EXPECT_EQ(persons, 12u);
  EXPECT_EQ(emails, 34u);
  // The request is a bare header: 24 bytes, routine 1251, reply by a send-once right.
  ASSERT_EQ(request.size(), 24u);
  tl::platform::MessageHeader header;
  std::memcpy(&header, request.data(), sizeof header);
  EXPECT_EQ(header.id, 1251);
  EXPECT_EQ(header.size, 24u);
  EXPECT_EQ(header.remotePort, kPort);
  EXPECT_EQ(header.localPort, ipc.threadReplyPort());
  EXPECT_EQ(header.bits, 0x1513u);

  persons = emails = 99;
  EXPECT_EQ(call(Reply(44, 1351, 7)), 7);
  EXPECT_EQ(call(Reply(36, 1351, 5)), 5);
  EXPECT_EQ(call(Reply(36, 1351, 0)), -300);  // an error form without an error
  EXPECT_EQ(call(Reply(40, 1351, 0)), -300);
  EXPECT_EQ(call(Reply(44, 1351, 0, 1, 1, 0x80000012)), -300);  // complex
  EXPECT_EQ(call(Reply(36, 71, 0)), -308);                      // the server died
  EXPECT_EQ(call(Reply(44, 1352, 0)), -301);                    // someone else's reply
  EXPECT_EQ(persons, 99u);                                      // no failure touches the counts

  EXPECT_EQ(ipc.destroyedReplyPorts(), 0);
  EXPECT_EQ(call(tl::platform::kMessageReceiveInterrupted),
            tl::platform::kMessageReceiveInterrupted);
  EXPECT_EQ(ipc.destroyedReplyPorts(), 1);  // a failed receive replaces the reply port
  EXPECT_EQ(TLDBServiceClientGetPersonAndEmailCount(0x9999, &persons, &emails),
            tl::platform::kMessageSendInvalidDest);
  EXPECT_EQ(ipc.destroyedReplyPorts(), 1);  // a message that never left keeps it
  EXPECT_EQ(call(Reply(60, 1351, 0)), tl::platform::kMessageReceiveTooLarge);
}

}  // namespace
