// The store's day cache against SQLite itself: whatever order of adds and samples, with flushes
// anywhere, the tables end up holding what adding row by row in SQL gives, value and type alike.
#include "host/store/stats_store.h"

#include <gtest/gtest.h>

#include <cmath>
#include <filesystem>
#include <limits>
#include <random>

namespace {

using tl::host::Database;
using tl::host::StatsStore;

// Every row of both tables as text, in row-id order, with SQLite's own type of each value.
std::string Dump(Database& db) {
  std::string text;
  tl::host::Statement rows = db.prepare(
      "SELECT day || ' ' || key || ' ' || quote(value) || ' ' || typeof(value) FROM scalars "
      "ORDER BY rowid");
  while (rows.row()) text += rows.columnText(0) + "\n";
  tl::host::Statement samples = db.prepare(
      "SELECT day || ' ' || key || ' ' || count || ' ' || quote(sum) || ' ' || quote(min) || ' ' "
      "|| quote(max) FROM distributions ORDER BY rowid");
  while (samples.row()) text += samples.columnText(0) + "\n";
  return text;
}

class StoreCacheTest : public ::testing::Test {
 protected:
  void SetUp() override {
    dir_ = std::filesystem::temp_directory_path() / ("tallyd-store-" + std::to_string(::getpid()));
    std::filesystem::remove_all(dir_);
    std::filesystem::create_directories(dir_);
  }
  void TearDown() override { std::filesystem::remove_all(dir_); }

  std::filesystem::path dir_;
};

TEST_F(StoreCacheTest, FoldsExactlyAsSqliteDoes) {
  Database cached((dir_ / "cached.db").string());
  Database direct((dir_ / "direct.db").string());
  StatsStore store(cached);
  // The statements the store used to run for every add and every sample.
  StatsStore reference(direct);
  tl::host::Statement add = direct.prepare(
      "INSERT INTO scalars (day, key, value) VALUES (?1, ?2, ?3) "
      "ON CONFLICT (day, key) DO UPDATE SET value = value + excluded.value");
  tl::host::Statement push = direct.prepare(
      "INSERT INTO distributions (day, key, count, sum, min, max) VALUES (?1, ?2, 1, ?3, ?3, ?3) "
      "ON CONFLICT (day, key) DO UPDATE SET count = count + 1, sum = sum + excluded.sum, "
      "min = MIN(min, excluded.min), max = MAX(max, excluded.max)");

  // Values where the arithmetic is easy to get wrong: whole doubles (kept as integers, so that
  // a later integer past 2^53 adds exactly), -0.0, fractions, integers near the ends of the
  // 64-bit range (an overflow turns the sum into a REAL), and infinities. The large ones are
  // rare, so that most keys stay where small steps still show.
  const double kTwo53 = 9007199254740992.0;
  const std::vector<double> doubles = {0.0, -0.0, 1.0, 2.5, 0.1, 3.0, 0.5, 1e-300};
  const std::vector<double> largeDoubles = {kTwo53, kTwo53 + 2, 9.2e18, 1e300,
                                            std::numeric_limits<double>::infinity()};
  const std::vector<int64_t> integers = {0, 1, -1, 7, 0, 0};
  const std::vector<int64_t> largeIntegers = {(int64_t{1} << 53) + 1,
                                              std::numeric_limits<int64_t>::max() - 3,
                                              std::numeric_limits<int64_t>::min() + 3};
  std::mt19937 random(20261122);
  auto pick = [&](size_t n) { return std::uniform_int_distribution<size_t>(0, n - 1)(random); };
  auto sign = [&] { return pick(2) ? 1 : -1; };
  const std::vector<std::string> days = {"2026-01-01", "2026-01-02", "2026-01-03"};
  const std::vector<std::string> keys = {"a", "b", "c", "d", "e", "f", "g", "h", "i", "j"};

  // Both sides refuse the same adds (inf + -inf is NaN, which the NOT NULL column refuses), and
  // a refused add changes nothing on either side.
  auto both = [](auto cachedSide, auto directSide) {
    bool cachedThrew = false, directThrew = false;
    try {
      cachedSide();
    } catch (const std::exception&) {
      cachedThrew = true;
    }
    try {
      directSide();
    } catch (const std::exception&) {
      directThrew = true;
    }
    EXPECT_EQ(cachedThrew, directThrew);
  };
  cached.exec("BEGIN");
  direct.exec("BEGIN");
  for (int i = 0; i < 6000; ++i) {
    // Days change now and then, as the local day of the outputs does.
    const std::string& day = days[(i / 250) % days.size()];
    const std::string& key = keys[pick(keys.size())];
    switch (pick(4)) {
      case 0: {
        const int64_t value =
            pick(40) ? integers[pick(integers.size())] : largeIntegers[pick(largeIntegers.size())];
        both([&] { store.addScalar(day, key, value); },
             [&] { add.bind(1, day).bind(2, key).bind(3, value).run(); });
        break;
      }
      case 1: {
        const double value = sign() * (pick(40) ? doubles[pick(doubles.size())]
                                                : largeDoubles[pick(largeDoubles.size())]);
        both([&] { store.addScalar(day, key, value); },
             [&] { add.bind(1, day).bind(2, key).bind(3, value).run(); });
        break;
      }
      case 2: {
        const double value = sign() * (pick(40) ? doubles[pick(doubles.size())]
                                                : largeDoubles[pick(largeDoubles.size())]);
        both([&] { store.pushSample(day, key, value); },
             [&] { push.bind(1, day).bind(2, key).bind(3, value).run(); });
        break;
      }
      case 3:
        if (pick(50) == 0) {
          store.flush();
          cached.exec("COMMIT; BEGIN");
        }
        break;
    }
  }
  store.flush();
  cached.exec("COMMIT");
  direct.exec("COMMIT");
  EXPECT_EQ(Dump(cached), Dump(direct));
}

TEST_F(StoreCacheTest, RefusesWhatSqliteRefusesAndForgetsARolledBackTransaction) {
  Database db((dir_ / "store.db").string());
  StatsStore store(db);
  db.exec("BEGIN");
  store.addScalar("2026-01-01", "a", int64_t{5});
  store.addScalar("2026-01-01", "b", std::numeric_limits<double>::infinity());
  // inf + -inf is NaN, which SQLite stores as NULL and the NOT NULL column refuses.
  EXPECT_THROW(store.addScalar("2026-01-01", "b", -std::numeric_limits<double>::infinity()),
               std::exception);
  EXPECT_THROW(store.pushSample("2026-01-01", "s", std::nan("")), std::exception);
  store.forget();
  db.exec("ROLLBACK");

  // Nothing of the rolled-back transaction comes back at the next flush.
  db.exec("BEGIN");
  store.addScalar("2026-01-01", "a", int64_t{2});
  store.flush();
  db.exec("COMMIT");
  EXPECT_EQ(Dump(db), "2026-01-01 a 2 integer\n");

  // One buffer holding one key, then another, then the first again: each key is found by its
  // text, wherever the text lies.
  db.exec("BEGIN");
  std::string key = "k1";
  store.addScalar("2026-01-01", key, int64_t{1});
  key[1] = '2';
  store.addScalar("2026-01-01", key, int64_t{10});
  key[1] = '1';
  store.addScalar("2026-01-01", key, int64_t{100});
  store.flush();
  db.exec("COMMIT");
  EXPECT_EQ(Dump(db),
            "2026-01-01 a 2 integer\n2026-01-01 k1 101 integer\n2026-01-01 k2 10 integer\n");
}

}  // namespace
