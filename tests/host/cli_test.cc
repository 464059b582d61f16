// tallyd's command line: help and version, option forms, exit statuses, stores opened only for
// reading, and replays that never add to an earlier one by accident.
#include <sqlite3.h>

#include "host/replay/replay_fixture.h"

namespace tl::testing {
namespace {

using ::testing::HasSubstr;
using ::testing::StartsWith;

constexpr char kTrace[] = R"({"at": 0, "load": true}
{"at": 10, "thermal": 2}
{"at": 86410, "thermal": 1}
)";

TEST_F(ReplayTest, HelpAndVersionGoToStandardOutput) {
  Result overview = tallyd("--help");
  EXPECT_EQ(overview.status, 0);
  EXPECT_THAT(overview.out, StartsWith("usage: tallyd COMMAND"));
  EXPECT_EQ(overview.err, "");
  for (const char* command : {"replay", "run", "notify", "keys", "activated", "report"}) {
    SCOPED_TRACE(command);
    for (const char* flag : {"--help", "-h"}) {
      Result help = tallyd(std::string(command) + " " + flag);
      EXPECT_EQ(help.status, 0);
      EXPECT_THAT(help.out, StartsWith(std::string("usage: tallyd ") + command));
      EXPECT_THAT(help.out, HasSubstr("example:\n  tallyd " + std::string(command)));
    }
  }
  Result version = tallyd("--version");
  EXPECT_EQ(version.status, 0);
  EXPECT_EQ(version.out, std::string("tallyd ") + TALLYD_VERSION + "\n");

  // Usage errors: 64, on standard error, saying where to look.
  Result none = tallyd("");
  EXPECT_EQ(none.status, 64);
  EXPECT_THAT(none.err, StartsWith("usage: tallyd COMMAND"));
  Result unknown = tallyd("keys --db x.db --colour red");
  EXPECT_EQ(unknown.status, 64);
  EXPECT_EQ(unknown.err, "tallyd: unknown option --colour (see tallyd keys --help)\n");
  EXPECT_EQ(tallyd("keys --db").status, 64);
  EXPECT_EQ(tallyd("keys --db a --db b").status, 64);
  EXPECT_EQ(tallyd("frobnicate").status, 64);
  EXPECT_THAT(tallyd("report --db x.db --from 2026-13-01").err, HasSubstr("is not a day"));
  EXPECT_THAT(tallyd("notify name 12x").err, HasSubstr("is not a number"));
}

TEST_F(ReplayTest, ReadingCommandsNeverCreateAStore) {
  for (const char* command : {"keys", "activated", "report"}) {
    SCOPED_TRACE(command);
    Result missing = tallyd(std::string(command) + " --db " + db());
    EXPECT_EQ(missing.status, 74);
    EXPECT_EQ(missing.err, "tallyd: " + db() + ": no such store\n");
    EXPECT_FALSE(fs::exists(db()));

    std::ofstream(dir_ / "notes.txt") << "not a database, only words\n";
    Result text = tallyd(std::string(command) + " --db " + (dir_ / "notes.txt").string());
    EXPECT_EQ(text.status, 65);
    EXPECT_THAT(text.err, HasSubstr("notes.txt: not a tallyd store"));
    Result directory = tallyd(std::string(command) + " --db " + dir_.string());
    EXPECT_EQ(directory.status, 74);
  }
}

TEST_F(ReplayTest, PathsThatCannotBeWrittenExit74WithThePathNamed) {
  // A regular file where a directory must be: nothing can be made below it.
  std::ofstream(dir_ / "file") << "a file\n";
  const std::string file = (dir_ / "file").string();
  const std::string trace = (dir_ / "trace.jsonl").string();
  std::ofstream(trace) << kTrace;
  Result store = tallyd("replay " + trace + " --db " + file + "/stats.db --out /dev/null");
  EXPECT_EQ(store.status, 74);
  EXPECT_EQ(store.err,
            "tallyd: " + file + ": cannot make the store's directory: Not a directory\n");
  Result sandbox = tallyd("replay " + trace + " --root " + file + "/root --out /dev/null");
  EXPECT_EQ(sandbox.status, 74);
  EXPECT_THAT(sandbox.err, HasSubstr(file + "/root: cannot make the sandbox directory"));
  Result state = tallyd("run --db " + db() + " --state " + file + "/state");
  EXPECT_EQ(state.status, 74);
  EXPECT_THAT(state.err, HasSubstr(file + "/state: cannot make the state directory"));
  // A settings path that is a directory is no settings file that reads as empty.
  Result settings = tallyd("run --db " + db() + " --config " + dir_.string());
  EXPECT_EQ(settings.status, 74);
  EXPECT_EQ(settings.err,
            "tallyd: " + dir_.string() + ": cannot read the settings: is a directory\n");
}

TEST_F(ReplayTest, AStoreWhoseWriterDiedMidTransactionIsReadAtItsLastCommit) {
  ASSERT_EQ(replay(kTrace).status, 0);
  const std::vector<std::string> committed = keys("com.veltro.dovetop");
  ASSERT_EQ(committed.size(), 2u);
  // A writer inside a transaction too large for its cache, copied as it stands: the copy holds
  // uncommitted pages and a hot journal, as after a kill, and only a writer may roll it back.
  sqlite3* writer = nullptr;
  ASSERT_EQ(sqlite3_open(db().c_str(), &writer), SQLITE_OK);
  ASSERT_EQ(sqlite3_exec(writer,
                         "PRAGMA journal_mode = DELETE; PRAGMA cache_size = 2; BEGIN;"
                         "DELETE FROM distributions;"
                         "INSERT INTO meta VALUES ('ballast', printf('%.*c', 100000, 'x'));",
                         nullptr, nullptr, nullptr),
            SQLITE_OK);
  const fs::path copy = dir_ / "crashed.db";
  fs::copy_file(db(), copy);
  fs::copy_file(db() + "-journal", copy.string() + "-journal");
  sqlite3_close(writer);

  const std::string thermal = "com.veltro.dovetop.thermalLevels";
  Result read = tallyd("keys --db " + copy.string() + " " + thermal);
  EXPECT_EQ(read.status, 0) << read.err;
  EXPECT_EQ(read.out, committed[0] + "\n" + committed[1] + "\n");
  EXPECT_FALSE(fs::exists(copy.string() + "-journal"));
}

TEST_F(ReplayTest, KeysTakeDaysAndFormats) {
  ASSERT_EQ(replay(kTrace).status, 0);
  const std::string thermal = "com.veltro.dovetop.thermalLevels";
  EXPECT_THAT(keys(thermal),
              ::testing::ElementsAre(thermal + " 2026-01-01 samples=1 sum=2 min=2 max=2",
                                     thermal + " 2026-01-02 samples=1 sum=1 min=1 max=1"));
  Result to = tallyd("keys --db=" + db() + " --to=2026-01-01 " + thermal);
  EXPECT_EQ(to.out, thermal + " 2026-01-01 samples=1 sum=2 min=2 max=2\n");
  Result csv = tallyd("keys --db " + db() + " --from 2026-01-02 --format csv " + thermal);
  EXPECT_EQ(csv.out, "key,day,kind,value,samples,sum,min,max\n" + thermal +
                         ",2026-01-02,distribution,,1,1,1,1\n");
  Result json = tallyd("keys --db " + db() + " --format json com.veltro.power.wakecount");
  EXPECT_EQ(Json::parse(json.out), Json::array());
  Result scalar =
      tallyd("keys --db " + db() + " --format json com.veltro.power.state.unplugged.count");
  const Json rows = Json::parse(scalar.out);
  ASSERT_FALSE(rows.empty());
  EXPECT_EQ(rows[0]["kind"], "scalar");
  EXPECT_TRUE(rows[0]["value"].is_number_integer());
  EXPECT_EQ(tallyd("keys --db " + db() + " --format xml").status, 64);
}

TEST_F(ReplayTest, AReplayAddsToAnEarlierOneOnlyWhenAsked) {
  ASSERT_EQ(replay(kTrace).status, 0);
  const std::string trace = (dir_ / "trace.jsonl").string();
  // The same store again: refused, nothing doubled.
  Result again = tallyd("replay " + trace + " --db " + db());
  EXPECT_EQ(again.status, 64);
  EXPECT_THAT(again.err, HasSubstr(db() + ": the store already holds values; give --append"));
  // The same sandbox with a new store: refused too.
  Result sandbox = tallyd("replay " + trace + " --root " + (dir_ / "root").string() + " --db " +
                          (dir_ / "other.db").string());
  EXPECT_EQ(sandbox.status, 64);
  EXPECT_THAT(sandbox.err, HasSubstr("the sandbox already holds files; give --append"));
  EXPECT_THAT(
      keys("com.veltro.dovetop"),
      ::testing::ElementsAre(HasSubstr("2026-01-01 samples=1"), HasSubstr("2026-01-02 samples=1")));
  // With --append both replays' values are there.
  Result appended = tallyd("replay " + trace + " --db " + db() + " --append");
  EXPECT_EQ(appended.status, 0) << appended.err;
  EXPECT_THAT(
      keys("com.veltro.dovetop"),
      ::testing::ElementsAre(HasSubstr("2026-01-01 samples=2"), HasSubstr("2026-01-02 samples=2")));
}

}  // namespace
}  // namespace tl::testing
