// The replay tests' fixture: runs the real tallyd on a trace in a directory of its own.
#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/wait.h>

#include <filesystem>
#include <fstream>
#include <nlohmann/json.hpp>
#include <sstream>

namespace tl::testing {

using Json = nlohmann::json;
namespace fs = std::filesystem;

struct Result {
  int status = -1;
  std::vector<Json> lines;
  std::string out;
  std::string err;

  // The output lines of one kind ("distribution", "log", ...), and their text.
  std::vector<Json> only(const std::string& kind) const {
    std::vector<Json> some;
    for (const Json& line : lines) {
      if (line.contains(kind)) some.push_back(line);
    }
    return some;
  }
  std::string text(const std::string& kind) const {
    std::string joined;
    for (const Json& line : only(kind)) joined += line.dump() + "\n";
    return joined;
  }
};

class ReplayTest : public ::testing::Test {
 protected:
  void SetUp() override {
    dir_ = fs::temp_directory_path() / ("tallyd-test-" + std::to_string(::getpid()));
    fs::remove_all(dir_);
    fs::create_directories(dir_);
  }
  void TearDown() override { fs::remove_all(dir_); }

  Result tallyd(const std::string& arguments) {
    std::string command = std::string(TALLYD_PATH) + " " + arguments + " >" +
                          (dir_ / "out").string() + " 2>" + (dir_ / "err").string();
    Result run;
    int raw = std::system(command.c_str());
    run.status = WIFEXITED(raw) ? WEXITSTATUS(raw) : -1;
    run.out = read(dir_ / "out");
    run.err = read(dir_ / "err");
    std::istringstream lines(run.out);
    for (std::string line; std::getline(lines, line);) {
      Json parsed = Json::parse(line, nullptr, false);
      if (!parsed.is_discarded()) run.lines.push_back(parsed);
    }
    return run;
  }

  Result replay(const std::string& trace) {
    std::ofstream(dir_ / "trace.jsonl") << trace;
    return tallyd("replay " + (dir_ / "trace.jsonl").string() + " --root " +
                  (dir_ / "root").string() + " --db " + db());
  }

  std::vector<std::string> keys(const std::string& prefix = "") {
    Result run = tallyd("keys --db " + db() + " " + prefix);
    EXPECT_EQ(run.status, 0) << run.err;
    std::vector<std::string> lines;
    std::istringstream in(run.out);
    for (std::string line; std::getline(in, line);) lines.push_back(line);
    return lines;
  }

  std::string db() const { return (dir_ / "stats.db").string(); }

  // The aggregate logger's commits: the first dictionaries of the batches that carry the state
  // keys, with their times.
  static std::vector<std::pair<double, Json>> Commits(const Result& run) {
    std::vector<std::pair<double, Json>> commits;
    for (const Json& line : run.only("batch")) {
      const Json& first = line["batch"]["first"];
      if (first.is_object() && first.contains("com.veltro.power.state.unplugged.duration")) {
        commits.emplace_back(line["at"].get<double>(), first);
      }
    }
    return commits;
  }

  // duration, energy, energyAbsolute, energyRaw and count of a composite state in a commit.
  static std::vector<int64_t> State(const Json& commit, const std::string& name) {
    std::vector<int64_t> values;
    for (const char* measure : {"duration", "energy", "energyAbsolute", "energyRaw", "count"}) {
      values.push_back(commit.at("com.veltro.power.state." + name + "." + measure).get<int64_t>());
    }
    return values;
  }

  static std::string read(const fs::path& path) {
    std::ifstream in(path);
    return std::string(std::istreambuf_iterator<char>(in), {});
  }

  fs::path dir_;
};

}  // namespace tl::testing
