// What a hostile trace or a damaged store gets: a message naming the file and line, a non-zero
// exit, and nothing half-done; never a crash.
#include <sqlite3.h>

#include "host/replay/replay_fixture.h"

namespace {

using ::testing::HasSubstr;
using ::testing::IsEmpty;
using namespace tl::testing;

std::string Nested(int depth) { return std::string(depth, '[') + std::string(depth, ']'); }

TEST_F(ReplayTest, TracesBeyondTheirLimitsAreRefusedBeforeAnythingRuns) {
  struct Case {
    std::string trace;
    std::string message;
  };
  const std::string longName(256, 'n');
  const std::vector<Case> cases = {
      {"{\"at\":1,\"set\":{\"languages\":" + Nested(30000) + "}}\n",
       "trace.jsonl:1: nested too deeply"},
      {R"({"device":{"files":{"/":"x"}}})", "path / names a directory, not a file"},
      {R"({"device":{"files":{"/var/tmp":"x"}}})", "path /var/tmp is a directory of the device"},
      {"{\"device\":{\"files\":{\"/a/" + longName + "\":\"x\"}}}",
       "has a name longer than 255 bytes"},
      {R"({"device":{"files":{"/a":"x","/a/b":"y"}}})",
       "path /a cannot be a file and the directory of /a/b"},
      {R"({"device":{"start":5e9}})", "trace.jsonl:1: device field \"start\" must be seconds"},
      {R"({"device":{"start":-1}})", "device field \"start\" must be seconds since 1970"},
      {"{\"at\":1,\"load\":true}\n{\"at\":315360000.5,\"load\":true}",
       "trace.jsonl:2: \"at\" is beyond the latest time a trace may reach"},
      {R"({"at":9.3e18,"load":true})", "\"at\" is beyond the latest time"},
  };
  for (const Case& c : cases) {
    fs::remove_all(dir_ / "root");
    fs::remove(db());
    Result run = replay(c.trace);
    EXPECT_EQ(run.status, 65) << c.trace.substr(0, 80);
    EXPECT_THAT(run.err, HasSubstr(c.message));
    EXPECT_THAT(run.lines, IsEmpty());
  }
  // Just inside the limits: ninety levels, ten years, the last 32-bit second.
  fs::remove_all(dir_ / "root");
  fs::remove(db());
  Result inside = replay(R"({"device":{"start":4294967295}})"
                         "\n{\"at\":1,\"set\":{\"languages\":" +
                         Nested(90) + "}}\n{\"at\":315360000,\"load\":true}\n");
  EXPECT_EQ(inside.status, 0) << inside.err;
}

TEST_F(ReplayTest, AFileTheDeviceCannotWriteStopsTheReplayAtItsLine) {
  // Only the device knows that /a is a file by the time line 3 asks for /a/b.
  Result run = replay(R"({"device":{"files":{"/a":"x"}}})"
                      "\n{\"at\":1,\"thermal\":2}\n"
                      R"({"at":2,"set":{"thermal_level":4,"files":{"/a/b":"y"}}})"
                      "\n{\"at\":3,\"thermal\":3}\n");
  EXPECT_EQ(run.status, 74);
  EXPECT_THAT(run.err, HasSubstr("trace.jsonl:3: cannot write /a/b"));
  EXPECT_EQ(read(dir_ / "root" / "a"), "x");
  // Line 2 ran; line 4 did not.
  ASSERT_EQ(run.only("distribution").size(), 1u);
  EXPECT_EQ(run.only("distribution")[0]["value"], 2);
  // And the store kept line 2's sample: a line that writes files is a transaction of its own.
  sqlite3* store = nullptr;
  ASSERT_EQ(sqlite3_open_v2(db().c_str(), &store, SQLITE_OPEN_READONLY, nullptr), SQLITE_OK);
  sqlite3_stmt* samples = nullptr;
  ASSERT_EQ(sqlite3_prepare_v2(store,
                               "SELECT count, sum FROM distributions "
                               "WHERE key = 'com.veltro.dovetop.thermalLevels'",
                               -1, &samples, nullptr),
            SQLITE_OK);
  ASSERT_EQ(sqlite3_step(samples), SQLITE_ROW);
  EXPECT_EQ(sqlite3_column_int64(samples, 0), 1);
  EXPECT_EQ(sqlite3_column_double(samples, 1), 2.0);
  sqlite3_finalize(samples);
  sqlite3_close(store);
}

TEST_F(ReplayTest, DamagedStoresAreNamedAndNeverReadInPart) {
  ASSERT_EQ(replay("{\"at\":1,\"thermal\":2}\n{\"at\":90000,\"thermal\":1}\n").status, 0);
  const std::string good = db();
  auto copy = [&](const std::string& name) {
    const std::string path = (dir_ / name).string();
    fs::copy_file(good, path, fs::copy_options::overwrite_existing);
    return path;
  };
  auto sql = [](const std::string& path, const std::string& statements) {
    sqlite3* db = nullptr;
    ASSERT_EQ(sqlite3_open(path.c_str(), &db), SQLITE_OK);
    EXPECT_EQ(sqlite3_exec(db, statements.c_str(), nullptr, nullptr, nullptr), SQLITE_OK);
    sqlite3_close(db);
  };
  std::ofstream(dir_ / "garbage.db") << "not a database at all";
  const std::string foreign = (dir_ / "foreign.db").string();
  sql(foreign, "CREATE TABLE scalars (a, b); CREATE TABLE distributions (c);");
  const std::string nulls = (dir_ / "nulls.db").string();
  sql(nulls,
      "CREATE TABLE scalars (day TEXT, key TEXT, value NUMERIC);"
      "CREATE TABLE distributions (day TEXT, key TEXT, count, sum, min, max);"
      "CREATE TABLE activated_reports (id INTEGER PRIMARY KEY, day TEXT, at REAL);"
      "CREATE TABLE activated_apps (report, bundle_id TEXT, version TEXT, adam_id, uuid, arch);"
      "INSERT INTO scalars VALUES ('2026-01-01', 'k', NULL);"
      "INSERT INTO activated_reports VALUES (1, '2026-01-01', 0);"
      "INSERT INTO activated_apps VALUES (1, NULL, '1', 0, '', 0);");
  // A page of the store overwritten in the middle: whichever table it holds, the check sees it.
  const std::string torn = copy("torn.db");
  {
    std::fstream file(torn, std::ios::in | std::ios::out | std::ios::binary);
    file.seekp(4096 * 2 + 8);
    file << std::string(300, '\x13');
  }
  struct Case {
    std::string command;
    int status;
    std::string message;
  };
  const std::string garbage = (dir_ / "garbage.db").string();
  for (const Case& c : std::vector<Case>{
           {"keys --db " + garbage, 65, garbage + ": not a tallyd store"},
           {"report --db " + garbage, 65, garbage + ": not a tallyd store"},
           {"keys --db " + foreign, 74, foreign + ": no such column"},
           {"keys --db " + nulls, 65, nulls + ": a damaged store: a missing value in column value"},
           {"activated --db " + nulls, 65, nulls + ": a damaged store: a missing value"},
           {"keys --db " + torn, 65, torn + ": a damaged store"},
           {"activated --db " + torn, 65, torn + ": a damaged store"},
           {"report --format text --db " + torn, 65, torn + ": a damaged store"},
       }) {
    Result run = tallyd(c.command);
    EXPECT_EQ(run.status, c.status) << c.command;
    EXPECT_THAT(run.err, HasSubstr(c.message)) << c.command;
    EXPECT_EQ(run.out, "") << c.command;
  }
  // A replay into a store that is not one stops with the file's name, before any line runs.
  Result into = tallyd("replay " + (dir_ / "trace.jsonl").string() + " --root " +
                       (dir_ / "root2").string() + " --db " + garbage);
  EXPECT_EQ(into.status, 74);
  EXPECT_THAT(into.err, HasSubstr(garbage + ": file is not a database"));
}

}  // namespace
