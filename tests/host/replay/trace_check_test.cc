// Checking a long trace in two halves finds what one pass finds: the first bad line, wherever
// the halves meet.
#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdio>
#include <filesystem>
#include <fstream>

#include "host/exit_codes.h"
#include "host/replay/trace_file.h"

namespace {

using tl::host::CheckTrace;
using tl::host::CommandError;

constexpr int kLines = 60000;  // about 2.4 MB: checked as two halves

class TraceCheckTest : public ::testing::Test {
 protected:
  void SetUp() override {
    path_ = (std::filesystem::temp_directory_path() /
             ("trace-check-" + std::to_string(::getpid()) + ".jsonl"))
                .string();
  }
  void TearDown() override { std::filesystem::remove(path_); }

  // Line 1 describes the device; line n (n > 1) is an action at n seconds, or replaced[n].
  void write(const std::map<int, std::string>& replaced) {
    std::ofstream out(path_);
    out << R"({"device": {"machine": "Sim4,2"}})"
        << "\n";
    for (int n = 2; n <= kLines; ++n) {
      auto it = replaced.find(n);
      if (it != replaced.end()) {
        out << it->second << "\n";
      } else {
        // Lines of one length, so that the middle of the file is the middle line.
        char line[64];
        std::snprintf(line, sizeof line, R"({"at": %6d, "thermal": %d})", n, n % 4);
        out << line << "\n";
      }
    }
  }
  // The error CheckTrace gives, or "" when the trace is good.
  std::string error() {
    try {
      CheckTrace(path_);
      return "";
    } catch (const CommandError& e) {
      EXPECT_EQ(e.status(), tl::host::kExitBadInput);
      return e.what();
    }
  }
  std::string at(int line, const std::string& what) {
    return path_ + ":" + std::to_string(line) + ": " + what;
  }
  std::string path_;
};

TEST_F(TraceCheckTest, AGoodLongTraceIsSummedUpOverBothHalves) {
  write({{kLines / 2 + 1, "   "}});  // a blank line near the middle
  const tl::host::TraceSummary summary = CheckTrace(path_);
  EXPECT_EQ(summary.actionLines, kLines - 2);
  EXPECT_EQ(summary.lastAt, kLines);
  EXPECT_EQ(summary.machine, "Sim4,2");
}

TEST_F(TraceCheckTest, TheFirstBadLineIsReportedWhicheverHalfHoldsIt) {
  const std::string back = "\"at\" goes back in time";
  // Each line of the middle stretch once going back in time: one of them is the first line of
  // the second half, checked against the last line of the first.
  for (int n = kLines / 2 - 20; n <= kLines / 2 + 20; n += 1) {
    write({{n, R"({"at": 1, "thermal": 1})"}});
    ASSERT_EQ(error(), at(n, back)) << n;
  }
  // A bad line in each half: the first half's is the one reported.
  write({{100, "{"}, {kLines - 5, "[]"}});
  EXPECT_EQ(error(), at(100, "not valid JSON"));
  // Only in the second half, and after a line that goes back: the earlier line is reported.
  write({{kLines - 100, R"({"at": 3, "thermal": 1})"}, {kLines - 5, "[]"}});
  EXPECT_EQ(error(), at(kLines - 100, back));
  write({{kLines - 5, R"({"device": {}})"}});
  EXPECT_EQ(error(), at(kLines - 5, "the device may only be described on line 1"));
}

}  // namespace
