// tallyd: the statistics daemon that hosts the event module, with its replay and store commands.
#include <algorithm>
#include <cstdio>
#include <cstring>
#include <exception>
#include <string>
#include <vector>

#include "host/daily_reports.h"
#include "host/replay.h"
#include "host/run.h"
#include "host/stats_store.h"

namespace {

constexpr char kUsage[] =
    "usage:\n"
    "  tallyd replay TRACE [--root DIR] [--db FILE] [--out FILE] [--notifications]\n"
    "  tallyd run [--db FILE] [--state DIR] [--config FILE]\n"
    "  tallyd notify NAME [STATE]\n"
    "  tallyd keys --db FILE [PREFIX]\n"
    "  tallyd activated --db FILE\n";

int Usage() {
  std::fputs(kUsage, stderr);
  return 64;
}

// Parses "--name value" options and positional arguments; false on an unknown option.
bool ParseOptions(const std::vector<std::string>& args, const std::vector<std::string>& withValue,
                  const std::vector<std::string>& flags,
                  std::vector<std::pair<std::string, std::string>>& options,
                  std::vector<std::string>& positional) {
  for (size_t i = 0; i < args.size(); ++i) {
    const std::string& a = args[i];
    if (!a.starts_with("--")) {
      positional.push_back(a);
    } else if (std::find(flags.begin(), flags.end(), a) != flags.end()) {
      options.emplace_back(a, "");
    } else if (std::find(withValue.begin(), withValue.end(), a) != withValue.end() &&
               i + 1 < args.size()) {
      options.emplace_back(a, args[++i]);
    } else {
      return false;
    }
  }
  return true;
}

int Main(const std::vector<std::string>& args) {
  if (args.empty()) return Usage();
  const std::string& command = args[0];
  std::vector<std::string> rest(args.begin() + 1, args.end());
  std::vector<std::pair<std::string, std::string>> options;
  std::vector<std::string> positional;

  if (command == "replay") {
    if (!ParseOptions(rest, {"--root", "--db", "--out"}, {"--notifications"}, options,
                      positional) ||
        positional.size() != 1) {
      return Usage();
    }
    tl::host::ReplayOptions replay;
    replay.trace = positional[0];
    for (const auto& [name, value] : options) {
      if (name == "--root") replay.root = value;
      if (name == "--db") replay.db = value;
      if (name == "--out") replay.out = value;
      if (name == "--notifications") replay.notifications = true;
    }
    return tl::host::Replay(replay);
  }
  if (command == "run") {
    if (!ParseOptions(rest, {"--db", "--state", "--config"}, {}, options, positional) ||
        !positional.empty()) {
      return Usage();
    }
    tl::host::RunOptions run;
    for (const auto& [name, value] : options) {
      if (name == "--db") run.db = value;
      if (name == "--state") run.state = value;
      if (name == "--config") run.config = value;
    }
    return tl::host::Run(run);
  }
  if (command == "notify") {
    if (!ParseOptions(rest, {}, {}, options, positional) || positional.empty() ||
        positional.size() > 2) {
      return Usage();
    }
    uint64_t state = 0;
    if (positional.size() == 2) {
      char* end = nullptr;
      state = std::strtoull(positional[1].c_str(), &end, 10);
      if (positional[1].empty() || *end != '\0' || positional[1][0] == '-') return Usage();
    }
    return tl::host::Notify(positional[0], state);
  }
  if (command == "keys") {
    if (!ParseOptions(rest, {"--db"}, {}, options, positional) || positional.size() > 1 ||
        options.size() != 1) {
      return Usage();
    }
    tl::host::Database db(options[0].second);
    tl::host::StatsStore store(db);
    tl::host::DailyReports reports(db);  // every store holds both kinds of table
    for (const std::string& line : store.describe(positional.empty() ? "" : positional[0])) {
      std::puts(line.c_str());
    }
    return 0;
  }
  if (command == "activated") {
    if (!ParseOptions(rest, {"--db"}, {}, options, positional) || !positional.empty() ||
        options.size() != 1) {
      return Usage();
    }
    tl::host::Database db(options[0].second);
    tl::host::StatsStore store(db);  // every store holds both kinds of table
    tl::host::DailyReports reports(db);
    for (const std::string& line : reports.activatedApplications()) std::puts(line.c_str());
    return 0;
  }
  return Usage();
}

}  // namespace

int main(int argc, char** argv) {
  try {
    return Main(std::vector<std::string>(argv + 1, argv + argc));
  } catch (const std::exception& e) {
    std::fprintf(stderr, "tallyd: %s\n", e.what());
    return 3;
  }
}
