// What a developer would reach for instead of a record file: one SQLite insert per event, each
// in its own transaction, in write-ahead-log mode, on the same disk as the record files.
#include <benchmark/benchmark.h>
#include <sqlite3.h>

#include <chrono>
#include <cstdio>
#include <filesystem>
#include <string>

namespace {

using Clock = std::chrono::steady_clock;

// state.range(0): 0 for synchronous OFF, 1 for NORMAL (the default of a WAL database).
void BM_SqliteInsertPerEvent(benchmark::State& state) {
  const std::string dir =
      (std::filesystem::temp_directory_path() / ("tallyline-sqlite-" + std::to_string(::getpid())))
          .string();
  std::filesystem::create_directories(dir);
  sqlite3* db = nullptr;
  if (sqlite3_open((dir + "/events.db").c_str(), &db) != SQLITE_OK) {
    state.SkipWithError("cannot open the database");
    return;
  }
  sqlite3_exec(db, "PRAGMA journal_mode = WAL", nullptr, nullptr, nullptr);
  sqlite3_exec(db, state.range(0) ? "PRAGMA synchronous = NORMAL" : "PRAGMA synchronous = OFF",
               nullptr, nullptr, nullptr);
  sqlite3_exec(db,
               "CREATE TABLE events (key INTEGER NOT NULL, state INTEGER NOT NULL, "
               "duration INTEGER NOT NULL, end INTEGER NOT NULL)",
               nullptr, nullptr, nullptr);
  sqlite3_stmt* insert = nullptr;
  sqlite3_prepare_v2(db, "INSERT INTO events VALUES (1, 8, ?1, ?2)", -1, &insert, nullptr);
  sqlite3_stmt* begin = nullptr;
  sqlite3_stmt* commit = nullptr;
  sqlite3_prepare_v2(db, "BEGIN", -1, &begin, nullptr);
  sqlite3_prepare_v2(db, "COMMIT", -1, &commit, nullptr);
  int64_t end = 1767225610;
  for (auto _ : state) {
    auto start = Clock::now();
    sqlite3_step(begin);
    sqlite3_reset(begin);
    sqlite3_bind_int64(insert, 1, 10);
    sqlite3_bind_int64(insert, 2, end += 10);
    if (sqlite3_step(insert) != SQLITE_DONE) state.SkipWithError(sqlite3_errmsg(db));
    sqlite3_reset(insert);
    sqlite3_step(commit);
    sqlite3_reset(commit);
    state.SetIterationTime(std::chrono::duration<double>(Clock::now() - start).count());
  }
  for (sqlite3_stmt* statement : {insert, begin, commit}) sqlite3_finalize(statement);
  sqlite3_close(db);
  std::filesystem::remove_all(dir);
}
BENCHMARK(BM_SqliteInsertPerEvent)->Arg(0)->Arg(1)->ArgName("synchronous_normal")->UseManualTime();

}  // namespace
