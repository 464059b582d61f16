// What each file-system fault costs, set from a trace: a failed session-log write keeps its
// records for the next attempt, a failed move loses that period as intended, and a full disk
// loses the records it refused but never tears a line.
#include "host/replay/replay_fixture.h"

namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::Not;
using namespace tl::testing;

// Foreground from `from` to `to`, as the monitor reports it.
std::string Interval(int from, int to) {
  return "{\"at\":" + std::to_string(from) +
         ",\"app_state\":{\"bundle\":\"com.a\",\"pid\":5,\"state\":8}}\n{\"at\":" +
         std::to_string(to) + ",\"app_state\":{\"bundle\":\"com.a\",\"pid\":5,\"state\":4}}\n";
}

std::vector<std::string> Lines(const std::string& text) {
  std::vector<std::string> lines;
  std::istringstream in(text);
  for (std::string line; std::getline(in, line);) lines.push_back(line);
  return lines;
}

TEST_F(ReplayTest, EachFileSystemFaultCostsWhatItShould) {
  const std::string logs = "/var/mobile/Library/Logs/Faultkeeper/";
  Result run = replay(
      "{\"device\":{\"apps\":[{\"bundle\":\"com.a\"}]}}\n{\"at\":0,\"load\":true}\n" +
      Interval(10, 70) +
      // The staging file cannot be made: nothing is written, and the records stay.
      R"({"at":80,"fault":{"failed_open":"/var/tmp/"}})"
      "\n"
      R"({"at":90,"notify":{"name":"com.veltro.session.write"}})"
      "\n"
      R"({"at":100,"fault":{"failed_open":null}})"
      "\n"
      R"({"at":110,"notify":{"name":"com.veltro.session.write"}})"
      "\n" +
      Interval(120, 150) +
      // The finished log cannot be moved into place: that period's records are gone.
      R"({"at":160,"fault":{"failed_rename":"/var/mobile/Library/Logs/"}})"
      "\n"
      R"({"at":170,"notify":{"name":"com.veltro.session.write"}})"
      "\n"
      R"({"at":175,"fault":{"failed_rename":null,"no_space":"/var/mobile/Library/Tallyline/"}})"
      "\n" +
      // The disk is full for one interval's record, then has room again.
      Interval(180, 190) + R"({"at":195,"fault":{"no_space":null}})" + "\n" + Interval(200, 240));
  ASSERT_EQ(run.status, 0) << run.err;
  const std::string text = run.text("log");
  EXPECT_THAT(text, HasSubstr("{\"at\":90,\"log\":\"Unable to create tmp session log\"}"));
  EXPECT_THAT(text, HasSubstr("{\"at\":170,\"log\":\"Couldn't move tempSession from /var/tmp/"));
  EXPECT_THAT(text, HasSubstr("{\"at\":190,\"log\":\"Received exception while saving data: "
                              "No space left on device\"}"));
  // The second attempt wrote the first interval (written at 00:01:50).
  const std::string first =
      read(dir_ / "root" / (logs.substr(1) + "log-sessions-2026-01-01-000150.session"));
  EXPECT_THAT(first, HasSubstr("\"duration\" : 60,"));
  // Only whole lines are left in the event records: the interval the full disk refused is lost,
  // the one after it is there (key 1, 40 s, ending at 2026-01-01T00:04:00Z).
  EXPECT_THAT(Lines(read(dir_ / "root/var/mobile/Library/Tallyline/session_events.log")),
              ElementsAre("1 8 40 1767225840"));

  // The next daemon writes the previous period from the records: just the 40 s.
  std::ofstream(dir_ / "next.jsonl") << "{\"at\":0,\"load\":true}\n";
  Result next = tallyd("replay " + (dir_ / "next.jsonl").string() + " --append --root " +
                       (dir_ / "root").string() + " --db " + db());
  ASSERT_EQ(next.status, 0) << next.err;
  const std::string previous =
      read(dir_ / "root" / (logs.substr(1) + "log-sessions-2026-01-01-000000.session"));
  EXPECT_THAT(previous, HasSubstr("\"scheduled\" : false"));
  EXPECT_THAT(previous, HasSubstr("\"duration\" : 40,"));
  EXPECT_THAT(previous, Not(HasSubstr("\"duration\" : 30,")));
  EXPECT_THAT(previous, Not(HasSubstr("\"duration\" : 10,")));
}

}  // namespace
