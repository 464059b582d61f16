// tallyd: the statistics daemon that hosts the event module, with its replay, store and report
// commands.
#include <unistd.h>

#include <cstdio>
#include <cstring>
#include <exception>
#include <fstream>
#include <map>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "host/command_line.h"
#include "host/daemon/run.h"
#include "host/exit_codes.h"
#include "host/export/export_directory.h"
#include "host/replay/replay.h"
#include "host/report/report_formats.h"
#include "host/store/store_reading.h"
#include "host/version.h"

namespace tl::host {
namespace {

constexpr char kOverview[] =
    "usage: tallyd COMMAND [OPTIONS]\n"
    "\n"
    "The statistics daemon that hosts the usage and power event module.\n"
    "\n"
    "commands:\n"
    "  replay     run the module on the simulated device along a device trace\n"
    "  run        run the module on this Linux machine until stopped\n"
    "  notify     post a named notification to the running daemon\n"
    "  keys       list the stored statistics keys\n"
    "  activated  list the applications the daily reports named active\n"
    "  report     show what the store says, day by day (html, text, csv, json)\n"
    "  export     write a store's days as JSON Lines for analytics engines\n"
    "\n"
    "options:\n"
    "  -h, --help  this text; tallyd COMMAND --help for a command's\n"
    "  --version   tallyd's version\n"
    "\n"
    "Options take their value as --name VALUE or --name=VALUE.\n"
    "exit status: 0 done, 64 wrong command line, 65 bad input (a trace line, a settings file,\n"
    "a file that is no store), 70 internal error, 74 a file cannot be read or written.\n"
    "\n"
    "example:\n"
    "  tallyd replay examples/sample-day.jsonl --db day.db && tallyd report --db day.db -o "
    "day.html\n";

struct Command {
  const char* name;
  const char* help;
  std::vector<OptionSpec> options;
  int (*run)(const Arguments&);
};

DayRange Days(const Arguments& args) {
  DayRange days{args.get("--from").value_or(""), args.get("--to").value_or("")};
  for (const std::string* day : {&days.from, &days.to}) {
    int y = 0, m = 0, d = 0;
    char rest = 0;
    if (!day->empty() &&
        (day->size() != 10 || std::sscanf(day->c_str(), "%4d-%2d-%2d%c", &y, &m, &d, &rest) != 3 ||
         m < 1 || m > 12 || d < 1 || d > 31)) {
      throw CommandError(kExitUsage, "\"" + *day + "\" is not a day (YYYY-MM-DD)");
    }
  }
  return days;
}

std::string Format(const Arguments& args, const std::vector<std::string>& allowed) {
  const std::string format = args.get("--format").value_or(allowed.front());
  for (const std::string& f : allowed) {
    if (f == format) return format;
  }
  std::string list;
  for (const std::string& f : allowed) list += (list.empty() ? "" : ", ") + f;
  throw CommandError(kExitUsage, "--format " + format + ": one of " + list);
}

const std::string& StorePath(const Arguments& args) {
  static const std::string none;
  if (!args.has("--db")) throw CommandError(kExitUsage, "--db FILE is required");
  return args.options.at("--db");
}

// Writes text to -o FILE or standard output.
void Emit(const Arguments& args, const std::string& text) {
  if (auto path = args.get("--out"); path && *path != "-") {
    std::ofstream out(*path, std::ios::binary | std::ios::trunc);
    out << text;
    out.close();
    if (!out) throw CommandError(kExitReadWrite, *path + ": cannot write the report");
    return;
  }
  std::fwrite(text.data(), 1, text.size(), stdout);
}

int ReplayCommand(const Arguments& args) {
  if (args.operands.size() != 1) throw CommandError(kExitUsage, "replay takes one TRACE");
  ReplayOptions options;
  options.trace = args.operands[0];
  options.root = args.get("--root").value_or("");
  options.db = args.get("--db").value_or("");
  options.out = args.get("--out").value_or("");
  options.notifications = args.has("--notifications");
  options.append = args.has("--append");
  return Replay(options);
}

int RunCommand(const Arguments& args) {
  if (!args.operands.empty()) throw CommandError(kExitUsage, "run takes no operands");
  RunOptions options;
  options.db = args.get("--db").value_or("");
  options.state = args.get("--state").value_or("");
  options.config = args.get("--config").value_or("");
  return Run(options);
}

int NotifyCommand(const Arguments& args) {
  if (args.operands.empty() || args.operands.size() > 2) {
    throw CommandError(kExitUsage, "notify takes NAME and an optional STATE");
  }
  uint64_t state = 0;
  if (args.operands.size() == 2) {
    const std::string& text = args.operands[1];
    char* end = nullptr;
    errno = 0;
    state = std::strtoull(text.c_str(), &end, 10);
    if (text.empty() || *end != '\0' || text[0] == '-' || errno == ERANGE) {
      throw CommandError(kExitUsage, "STATE \"" + text + "\" is not a number from 0 to 2^64-1");
    }
  }
  return Notify(args.operands[0], state);
}

int KeysCommand(const Arguments& args) {
  if (args.operands.size() > 1) throw CommandError(kExitUsage, "keys takes at most one PREFIX");
  const std::string format = Format(args, {"text", "csv", "json"});
  Database db = OpenStoreForReading(StorePath(args));
  const auto rows = ReadKeys(db, args.operands.empty() ? "" : args.operands[0], Days(args));
  std::string out;
  nlohmann::ordered_json json = nlohmann::ordered_json::array();
  if (format == "csv") out = "key,day,kind,value,samples,sum,min,max\n";
  for (const KeyRow& row : rows) {
    const std::string key = format == "csv" && row.key.find_first_of(",\"\n") != std::string::npos
                                ? "\"" + row.key + "\""
                                : row.key;
    if (format == "text") {
      out += row.key + " " + row.day + " ";
      out += row.distribution
                 ? "samples=" + std::to_string(row.count) + " sum=" + report::DataNumber(row.sum) +
                       " min=" + report::DataNumber(row.min) + " max=" + report::DataNumber(row.max)
                 : row.value.text();
      out += "\n";
    } else if (format == "csv") {
      out += key + "," + row.day + (row.distribution ? ",distribution,," : ",scalar,");
      out += row.distribution
                 ? std::to_string(row.count) + "," + report::DataNumber(row.sum) + "," +
                       report::DataNumber(row.min) + "," + report::DataNumber(row.max)
                 : row.value.text() + ",,,,";
      out += "\n";
    } else {
      nlohmann::ordered_json entry = {{"key", row.key}, {"day", row.day}};
      if (row.distribution) {
        entry["kind"] = "distribution";
        entry["samples"] = row.count;
        entry["sum"] = row.sum;
        entry["min"] = row.min;
        entry["max"] = row.max;
      } else {
        entry["kind"] = "scalar";
        if (row.value.integer) {
          entry["value"] = row.value.i;
        } else {
          entry["value"] = row.value.d;
        }
      }
      json.push_back(std::move(entry));
    }
  }
  if (format == "json") out = json.dump(1) + "\n";
  std::fwrite(out.data(), 1, out.size(), stdout);
  return kExitOk;
}

int ActivatedCommand(const Arguments& args) {
  if (!args.operands.empty()) throw CommandError(kExitUsage, "activated takes no operands");
  const std::string format = Format(args, {"text", "csv", "json"});
  Database db = OpenStoreForReading(StorePath(args));
  report::Table table{"activated",
                      "",
                      "",
                      {{"day", "day", report::Kind::kDay, ""},
                       {"bundle", "bundle", report::Kind::kText, ""},
                       {"version", "version", report::Kind::kText, ""}},
                      {}};
  nlohmann::ordered_json json = nlohmann::ordered_json::array();
  std::string out;
  for (const ActivatedRow& row : ReadActivated(db, Days(args))) {
    out += row.day + "\t" + row.bundle + "\t" + row.version + "\n";
    table.rows.push_back({row.day, row.bundle, row.version});
    json.push_back({{"day", row.day}, {"bundle", row.bundle}, {"version", row.version}});
  }
  if (format == "csv") out = report::RenderCsv(table);
  if (format == "json") out = json.dump(1) + "\n";
  std::fwrite(out.data(), 1, out.size(), stdout);
  return kExitOk;
}

int ReportCommand(const Arguments& args) {
  if (!args.operands.empty()) throw CommandError(kExitUsage, "report takes no operands");
  const std::string format = Format(args, {"html", "text", "csv", "json"});
  report::ReportOptions options;
  options.days = Days(args);
  if (auto compare = args.get("--compare")) {
    for (size_t start = 0; start <= compare->size();) {
      size_t end = compare->find(',', start);
      if (end == std::string::npos) end = compare->size();
      options.compare.push_back(compare->substr(start, end - start));
      start = end + 1;
    }
    Arguments check;
    for (const std::string& day : options.compare) {
      check.options["--from"] = day;
      Days(check);
    }
    if (options.compare.size() < 2) {
      throw CommandError(kExitUsage, "--compare needs two or more days, separated by commas");
    }
  }
  if (args.has("--table") && format != "csv") {
    throw CommandError(kExitUsage, "--table goes with --format csv");
  }
  options.pageTimeline = format == "html";
  Database db = OpenStoreForReading(StorePath(args));
  const report::Report report = report::BuildReport(db, options);
  if (format == "html") {
    Emit(args, report::RenderHtml(report));
  } else if (format == "text") {
    Emit(args, report::RenderText(report));
  } else if (format == "json") {
    Emit(args, report::RenderJson(report));
  } else {
    const std::string name = args.get("--table").value_or("days");
    const report::Table* table = report.table(name);
    if (!table) {
      std::string names;
      for (const report::Table& t : report.tables) names += (names.empty() ? "" : ", ") + t.name;
      throw CommandError(kExitUsage, "--table " + name + ": one of " + names);
    }
    Emit(args, report::RenderCsv(*table));
  }
  return kExitOk;
}

int ExportCommand(const Arguments& args) {
  if (!args.operands.empty()) throw CommandError(kExitUsage, "export takes no operands");
  exporting::ExportOptions options;
  options.days = Days(args);
  options.deviceId = args.get("--device").value_or("");
  if (args.has("--device") && options.deviceId.empty()) {
    throw CommandError(kExitUsage, "--device needs an identifier");
  }
  if (!args.has("--out")) throw CommandError(kExitUsage, "-o DIR is required");
  options.directory = args.options.at("--out");
  Database db = OpenStoreForReading(StorePath(args));
  const exporting::ExportResult result = exporting::ExportDirectory(db, options);
  std::string rows;
  for (const auto& [table, count] : result.rows) {
    rows += (rows.empty() ? "" : ", ") + table + " " + std::to_string(count);
  }
  std::fprintf(stderr, "tallyd: exported %zu days of device %s to %s (rows: %s)\n", result.days,
               result.deviceId.c_str(), options.directory.c_str(), rows.c_str());
  return kExitOk;
}

const std::vector<Command>& Commands() {
  static const std::vector<Command> commands = {
      {"replay",
       "usage: tallyd replay TRACE [--root DIR] [--db FILE] [--out FILE] [--notifications]\n"
       "                    [--append]\n"
       "\n"
       "Runs the module on the simulated device along TRACE (JSON Lines, docs/TRACES.md). The\n"
       "whole trace is checked first: a bad line stops the replay before anything runs.\n"
       "\n"
       "  --root DIR        the sandbox standing for the device's / (default: a new temporary\n"
       "                    directory)\n"
       "  --db FILE         the statistics store (default: ROOT/var/db/tallyd/stats.db)\n"
       "  --out FILE        the output lines, one JSON object each (default: standard output)\n"
       "  --notifications   also show the module's in-process notifications\n"
       "  --append          add to a store or sandbox that holds an earlier replay (refused\n"
       "                    otherwise)\n"
       "\n"
       "example:\n"
       "  tallyd replay examples/sample-day.jsonl --db day.db --out day.jsonl\n",
       {{"--root"}, {"--db"}, {"--out"}, {"--notifications", false}, {"--append", false}},
       ReplayCommand},
      {"run",
       "usage: tallyd run [--db FILE] [--state DIR] [--config FILE]\n"
       "\n"
       "Runs the module on this Linux machine until SIGTERM or SIGINT (docs/LINUX.md).\n"
       "\n"
       "  --db FILE       the statistics store (default: $XDG_STATE_HOME/tallyd/stats.db)\n"
       "  --state DIR     the module's files (default: $XDG_STATE_HOME/tallyd)\n"
       "  --config FILE   settings as JSON (default: none; consent to share stays off)\n"
       "\n"
       "example:\n"
       "  tallyd run --config ~/.config/tallyd/settings.json\n",
       {{"--db"}, {"--state"}, {"--config"}},
       RunCommand},
      {"notify",
       "usage: tallyd notify NAME [STATE]\n"
       "\n"
       "Sets the state of a named notification in the running daemon (default 0), then posts it.\n"
       "\n"
       "example:\n"
       "  tallyd notify com.veltro.tallyd.tldaily.logging\n",
       {},
       NotifyCommand},
      {"keys",
       "usage: tallyd keys --db FILE [--from DAY] [--to DAY] [--format text|csv|json] [PREFIX]\n"
       "\n"
       "Lists the stored keys starting with PREFIX, sorted by key and day: KEY DAY VALUE for a\n"
       "sum, KEY DAY samples=N sum=S min=A max=B for a sample. The store is opened read-only.\n"
       "\n"
       "  --db FILE       the store (required)\n"
       "  --from DAY      the first local day, YYYY-MM-DD (default: the first stored)\n"
       "  --to DAY        the last local day (default: the last stored)\n"
       "  --format F      text (default), csv or json\n"
       "\n"
       "example:\n"
       "  tallyd keys --db day.db --format=csv com.veltro.power.state.unplugged.\n",
       {{"--db"}, {"--from"}, {"--to"}, {"--format"}},
       KeysCommand},
      {"activated",
       "usage: tallyd activated --db FILE [--from DAY] [--to DAY] [--format text|csv|json]\n"
       "\n"
       "Lists the applications the daily reports named active: DAY, BUNDLE and VERSION separated\n"
       "by tabs, once per day, sorted. The store is opened read-only.\n"
       "\n"
       "  --db FILE       the store (required)\n"
       "  --from DAY      the first local day, YYYY-MM-DD\n"
       "  --to DAY        the last local day\n"
       "  --format F      text (default), csv or json\n"
       "\n"
       "example:\n"
       "  tallyd activated --db day.db --format json\n",
       {{"--db"}, {"--from"}, {"--to"}, {"--format"}},
       ActivatedCommand},
      {"report",
       "usage: tallyd report --db FILE [--from DAY] [--to DAY] [--compare DAY,DAY...]\n"
       "                     [--format html|text|csv|json] [--table NAME] [-o FILE]\n"
       "\n"
       "Shows what the store says, local day by local day: day cards, a timeline, time and\n"
       "energy per power state, applications, wakes, brightness, low-power mode, thermal level\n"
       "and network errors. HTML is one file that opens offline. The store is opened read-only.\n"
       "\n"
       "  --db FILE           the store (required)\n"
       "  --from DAY          the first local day, YYYY-MM-DD (default: the first stored)\n"
       "  --to DAY            the last local day (default: the last stored)\n"
       "  --compare DAYS      two or more days side by side, separated by commas\n"
       "  --format F          html (default), text (80 columns), csv or json\n"
       "  --table NAME        with csv: the table (default days; also states, apps,\n"
       "                      app_energy, wakes, brightness, backlight_setting, low_power_mode,\n"
       "                      thermal, network, compare)\n"
       "  -o, --out FILE      write there (default: standard output)\n"
       "\n"
       "example:\n"
       "  tallyd report --db day.db -o day.html\n",
       {{"--db"},
        {"--from"},
        {"--to"},
        {"--compare"},
        {"--format"},
        {"--table"},
        {"--out", true, "-o"}},
       ReportCommand},
      {"export",
       "usage: tallyd export --db FILE [--from DAY] [--to DAY] [--device ID] -o DIR\n"
       "\n"
       "Writes the store's days to DIR as JSON Lines, one file per table: meta, days, states,\n"
       "apps, app_energy, wakes, nights and timeline (docs/EXPORT.md). Every row carries the\n"
       "schema version, the device and the local day; column names carry their units; times\n"
       "are microseconds since 1970 (UTC). The store is opened read-only.\n"
       "\n"
       "  --db FILE       the store (required)\n"
       "  --from DAY      the first local day, YYYY-MM-DD (default: the first stored)\n"
       "  --to DAY        the last local day (default: the last stored)\n"
       "  --device ID     the device's name in the rows (default: the store's anonymous\n"
       "                  identifier, never the machine's own)\n"
       "  -o, --out DIR   the directory, made if missing; its files are replaced whole\n"
       "\n"
       "example:\n"
       "  tallyd export --db week.db -o exports/week\n",
       {{"--db"}, {"--from"}, {"--to"}, {"--device"}, {"--out", true, "-o"}},
       ExportCommand},
  };
  return commands;
}

int Main(const std::vector<std::string>& args) {
  if (args.empty()) {
    std::fputs(kOverview, stderr);
    return kExitUsage;
  }
  if (args[0] == "-h" || args[0] == "--help" || args[0] == "help") {
    std::fputs(kOverview, stdout);
    return kExitOk;
  }
  if (args[0] == "--version") {
    std::printf("tallyd %s\n", kTallydVersion);
    return kExitOk;
  }
  for (const Command& command : Commands()) {
    if (args[0] != command.name) continue;
    const Arguments parsed = ParseArguments(
        command.name, std::vector<std::string>(args.begin() + 1, args.end()), command.options);
    if (parsed.help) {
      std::fputs(command.help, stdout);
      return kExitOk;
    }
    return command.run(parsed);
  }
  throw CommandError(kExitUsage, "unknown command \"" + args[0] + "\" (see tallyd --help)");
}

}  // namespace
}  // namespace tl::host

int main(int argc, char** argv) {
  try {
    return tl::host::Main(std::vector<std::string>(argv + 1, argv + argc));
  } catch (const tl::host::CommandError& e) {
    std::fprintf(stderr, "tallyd: %s\n", e.what());
    return e.status();
  } catch (const std::exception& e) {
    std::fprintf(stderr, "tallyd: internal error: %s\n", e.what());
    return tl::host::kExitInternal;
  }
}
