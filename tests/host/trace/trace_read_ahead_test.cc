// Reading ahead gives exactly what reading line by line gives, and stops cleanly midway.
#include "host/trace/trace_read_ahead.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>

namespace {

using tl::host::TracePosition;
using tl::host::TraceReadAhead;
using tl::host::TraceReader;
using tl::host::TraceStep;

// Everything a reader says about one line, as text to compare.
template <class Reader>
std::vector<std::string> ReadAll(Reader& reader) {
  std::vector<std::string> said;
  while (true) {
    TraceStep step;
    tl::sim::DeviceFields device;
    std::string error;
    const TraceReader::Next next = reader.next(&step, &device, &error);
    const TracePosition& at = reader.position();
    said.push_back(std::to_string(static_cast<int>(next)) + " " + std::to_string(step.line) + " " +
                   std::to_string(step.atNanoseconds) + " " + step.action + " " + error + " @" +
                   std::to_string(at.offset) + ":" + std::to_string(at.line) + ":" +
                   std::to_string(at.lastAtNanoseconds) + (step.apply ? " applies" : ""));
    if (next == TraceReader::Next::kEnd || next == TraceReader::Next::kError) break;
  }
  return said;
}

class TraceReadAheadTest : public ::testing::Test {
 protected:
  void SetUp() override {
    path_ = std::filesystem::temp_directory_path() /
            ("trace-read-ahead-" + std::to_string(::getpid()) + ".jsonl");
  }
  void TearDown() override { std::filesystem::remove(path_); }
  // A device line, then lines lines of actions with a blank line now and then, then tail.
  void write(int lines, const std::string& tail) {
    std::ofstream out(path_);
    out << R"({"device": {"machine": "Sim1,1"}})"
        << "\n";
    for (int i = 0; i < lines; ++i) {
      if (i % 97 == 0) out << "  \n";
      out << R"({"at": )" << i << (i % 3 ? R"(, "thermal": 1})" : R"(, "restart": true})") << "\n";
    }
    out << tail;
  }
  std::filesystem::path path_;
};

TEST_F(TraceReadAheadTest, SaysWhatTheReaderSaysLineByLineFromAnyPosition) {
  // Several batches, ending at the end, at a bad line, and at a last line without a line feed.
  for (const std::string& tail : {std::string(), std::string("{\"at\": 1}\n{\"at\": 9999999}\n"),
                                  std::string(R"({"at": 5000, "thermal": 2})")}) {
    SCOPED_TRACE(tail);
    write(3 * static_cast<int>(TraceReadAhead::kLinesPerBatch) + 17, tail);
    TraceReader reader(path_.string(), {});
    const std::vector<std::string> expected = ReadAll(reader);
    TraceReadAhead ahead(path_.string(), {});
    ASSERT_TRUE(ahead.readable());
    EXPECT_EQ(ReadAll(ahead), expected);

    // From the middle, as a daemon process after a restart starts.
    TraceReader first(path_.string(), {});
    for (int i = 0; i < 400; ++i) {
      TraceStep step;
      tl::sim::DeviceFields device;
      std::string error;
      first.next(&step, &device, &error);
    }
    const TracePosition resumed = first.position();
    TraceReader rest(path_.string(), resumed);
    TraceReadAhead restAhead(path_.string(), resumed);
    EXPECT_EQ(ReadAll(restAhead), ReadAll(rest));

    // Asked again after its last answer, it says the same again.
    TraceStep step;
    tl::sim::DeviceFields device;
    std::string error;
    const auto again = restAhead.next(&step, &device, &error);
    EXPECT_TRUE(again == TraceReader::Next::kEnd || again == TraceReader::Next::kError);
  }
}

TEST_F(TraceReadAheadTest, StopsWhileItsThreadWaitsOrReads) {
  // Far more lines than are read ahead: the thread is left waiting for room, or reading.
  write(50 * static_cast<int>(TraceReadAhead::kLinesPerBatch), "");
  for (int used : {0, 1, 300, 2000}) {
    TraceReadAhead ahead(path_.string(), {});
    for (int i = 0; i < used; ++i) {
      TraceStep step;
      tl::sim::DeviceFields device;
      std::string error;
      ASSERT_NE(ahead.next(&step, &device, &error), TraceReader::Next::kError);
    }
  }  // each destructor returns: nothing hangs
  TraceReadAhead missing("/nonexistent/trace.jsonl", {});
  EXPECT_FALSE(missing.readable());
}

}  // namespace
