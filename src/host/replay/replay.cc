// Replay: the supervising process, and the stretch of the trace each daemon process runs.
#include "host/replay/replay.h"

#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <stdexcept>

#include "host/exit_codes.h"
#include "host/module/directories.h"
#include "host/module/module_loader.h"
#include "host/replay/output_printer.h"
#include "host/replay/trace_file.h"
#include "host/store/stats_daemon.h"
#include "host/store/store_meta.h"
#include "host/trace/trace_format.h"
#include "host/trace/trace_read_ahead.h"
#include "host/version.h"

namespace tl::host {

namespace {

namespace fs = std::filesystem;

std::string MakeTemporaryDirectory(const char* name) {
  std::string path = (fs::temp_directory_path() / name).string() + "-XXXXXX";
  if (!::mkdtemp(path.data())) {
    throw CommandError(kExitReadWrite, path + ": cannot make a temporary directory");
  }
  return path;
}

// Progress on a terminal, for replays long enough to wonder about: a line rewritten in place at
// most twice a second, from the first second on.
class Progress {
 public:
  explicit Progress(int totalLines)
      : enabled_(totalLines > 0 && ::isatty(STDERR_FILENO)),
        total_(totalLines),
        started_(std::chrono::steady_clock::now()) {}
  ~Progress() {
    if (shown_) std::fputs("\r\033[K", stderr);
  }
  void at(int line) {
    if (!enabled_) return;
    const auto now = std::chrono::steady_clock::now();
    if (now - started_ < std::chrono::seconds(1) || now - last_ < std::chrono::milliseconds(500)) {
      return;
    }
    last_ = now;
    shown_ = true;
    std::fprintf(stderr, "\rtallyd: line %d of %d (%d%%)", line, total_,
                 static_cast<int>(100.0 * line / total_));
  }

 private:
  bool enabled_;
  int total_;
  std::chrono::steady_clock::time_point started_;
  std::chrono::steady_clock::time_point last_{};
  bool shown_ = false;
};

Json PositionToJson(const TracePosition& p) {
  return {{"offset", p.offset}, {"line", p.line}, {"last_at_ns", p.lastAtNanoseconds}};
}

TracePosition PositionFromJson(const Json& j) {
  return {j.at("offset").get<int64_t>(), j.at("line").get<int>(),
          j.at("last_at_ns").get<int64_t>()};
}

// One daemon process's stretch of the trace: from the start, or from the restart line that
// ended the previous process (handover is that process's account of how it ended). Runs lines
// until the next restart, the end of the trace or a bad line, and gives its own account:
// {"position", "restart": {"line", "at_ns"}, "device"} at a restart, {"ended": true} at the
// end, {"error": TEXT, "line": N} at a bad line (a trace changed since it was checked).
// The device of a fresh replay, as line 1 may describe it; pending receives line 1 when it is an
// action, ended whether the trace ended there.
std::unique_ptr<sim::SimDevice> FirstDevice(const ReplayOptions& options, TraceReadAhead& reader,
                                            std::optional<TraceStep>* pending, bool* ended,
                                            std::string* error) {
  sim::DeviceFields fields;
  TraceStep step;
  switch (reader.next(&step, &fields, error)) {
    case TraceReader::Next::kStep:
      *pending = std::move(step);
      break;
    case TraceReader::Next::kEnd:
      *ended = true;
      break;
    case TraceReader::Next::kDevice:
    case TraceReader::Next::kError:
      break;
  }
  sim::DeviceState state;
  fields.applyTo(state);
  try {
    return std::make_unique<sim::SimDevice>(std::move(state), options.root, fields.files);
  } catch (const std::runtime_error& e) {
    throw CommandError(kExitReadWrite, options.trace + ":1: " + e.what());
  }
}

// The device as the previous process left it; pending receives the restart line it ended at.
std::unique_ptr<sim::SimDevice> RestoredDevice(const ReplayOptions& options, const Json& handover,
                                               std::optional<TraceStep>* pending) {
  const Json& restart = handover["restart"];
  *pending = TraceStep{restart.at("line").get<int>(), restart.at("at_ns").get<int64_t>(),
                       std::string(kRestartAction), nullptr};
  return sim::SimDevice::restore(SnapshotFromJson(handover["device"]), options.root);
}

// One daemon process on the simulated device: its store, the module it loads and the output
// printed, and the lines run into the store's open transaction.
//
// Lines go into the store in groups of whole lines, one transaction each: a commit writes the
// write-ahead log and takes the store's locks, which costs more than a line's own work. A kill
// loses at most the lines of the open group, never part of a line. A line that writes device
// files can fail midway (a file the device cannot write), so it starts a group of its own: the
// lines before it are kept when it stops the replay.
class DaemonProcess {
 public:
  DaemonProcess(const ReplayOptions& options, std::unique_ptr<sim::SimDevice> device, bool first,
                int totalLines)
      : options_(options),
        first_(first),
        device_(std::move(device)),
        db_(options.db),
        store_(db_),
        reports_(db_),
        timeline_(db_),
        intervals_(db_, &device_->cpu()),
        daemon_(store_, reports_, &timeline_, &intervals_),
        power_(*device_, [this](const TimelineRow& row) { timeline_.add(row); }),
        printer_(stdout),
        progress_(totalLines) {
    device_->outputs().addSink(daemon_);
    device_->outputs().addSink(printer_);
    if (options.notifications) {
      shown_ =
          device_->notificationCenter().addObserver("", [this](const platform::Notification& n) {
            if (n.name.starts_with("EQ")) printer_.notification(device_->elapsedSeconds(), n);
          });
    }
    platform::MakeCurrent(device_.get());
    eventQueue_ = device_->dispatch().createSerialQueue("com.veltro.tallyd.events",
                                                        platform::QualityOfService::kDefault);
    handle_.emplace(*device_, *eventQueue_);
  }

  // The module is loaded before the first other action; a restart loads it in the new process,
  // after the timeline says the previous process ran until then.
  void run(const TraceStep& step) {
    if (step.writesFiles) commit();
    if (uncommitted_ == 0) db_.exec("BEGIN");
    device_->advanceTo(step.atNanoseconds);
    if (!ranAny_) startDaemon();
    if (step.action == kLoadAction || !module_.loaded()) module_.callEntry(*handle_);
    if (step.apply) {
      // What the device cannot do (a file it cannot write) stops the replay at this line.
      try {
        step.apply(*device_);
      } catch (const std::runtime_error& e) {
        throw CommandError(kExitReadWrite,
                           options_.trace + ":" + std::to_string(step.line) + ": " + e.what());
      }
    }
    device_->runUntilIdle();
    if (++uncommitted_ == kLinesPerCommit) commit();
    ranAny_ = true;
    progress_.at(step.line);
  }

  void commit() {
    if (uncommitted_ == 0) return;
    store_.flush();
    db_.exec("COMMIT");
    uncommitted_ = 0;
  }

  // A trace that ends normally loads the module at its end if nothing did before; the timeline
  // then says the daemon stopped there.
  void endOfTrace() {
    db_.exec("BEGIN");
    if (!ranAny_) startDaemon();
    if (!module_.loaded()) {
      module_.callEntry(*handle_);
      device_->runUntilIdle();
    }
    power_.stop();
    store_.flush();
    db_.exec("COMMIT");
  }

  bool ranAny() const { return ranAny_; }

  // Prints what is still buffered and lets the device go quiet: the account of a restart takes
  // the device's snapshot after this.
  void finish() {
    printer_.flush();
    std::fflush(stdout);
  }
  sim::SimDevice& device() { return *device_; }

  void detach() {
    shown_.reset();
    device_->outputs().removeSink(printer_);
    device_->outputs().removeSink(daemon_);
  }

 private:
  static constexpr int kLinesPerCommit = 1000;

  void startDaemon() {
    if (!first_) power_.stop();
    power_.start();
  }

  const ReplayOptions& options_;
  const bool first_;
  std::unique_ptr<sim::SimDevice> device_;
  Database db_;
  StatsStore store_;
  DailyReports reports_;
  Timeline timeline_;
  PowerIntervals intervals_;
  StatsDaemon daemon_;
  PowerTimeline power_;
  OutputPrinter printer_;
  std::unique_ptr<platform::Registration> shown_;
  std::unique_ptr<platform::SerialQueue> eventQueue_;
  std::optional<HostModuleHandle> handle_;
  ModuleLoader module_{ModuleLoader::DefaultPath()};
  int uncommitted_ = 0;  // lines in the open transaction
  bool ranAny_ = false;
  Progress progress_;
};

Json RunStretch(const ReplayOptions& options, int totalLines, const Json& handover) {
  const bool first = handover.is_null();
  TraceReadAhead reader(options.trace,
                        first ? TracePosition{} : PositionFromJson(handover["position"]));
  if (!reader.readable()) {
    throw CommandError(kExitReadWrite, options.trace + ": cannot read the trace");
  }
  std::string error;
  bool ended = false;
  std::optional<TraceStep> pending;  // read before the device exists
  DaemonProcess process(options,
                        first ? FirstDevice(options, reader, &pending, &ended, &error)
                              : RestoredDevice(options, handover, &pending),
                        first, totalLines);

  Json account = Json::object();
  if (pending) process.run(*pending);
  while (error.empty() && !ended) {
    TraceStep step;
    sim::DeviceFields unused;  // a device line after line 1 is an error
    const TraceReader::Next next = reader.next(&step, &unused, &error);
    if (next == TraceReader::Next::kEnd) ended = true;
    if (next != TraceReader::Next::kStep) break;
    // A restart line begins a new daemon process, unless this one has run nothing yet.
    if (step.action == kRestartAction && process.ranAny()) {
      account["position"] = PositionToJson(reader.position());
      account["restart"] = {{"line", step.line}, {"at_ns", step.atNanoseconds}};
      break;
    }
    process.run(step);
  }
  process.commit();
  if (ended) {
    process.endOfTrace();
    account["ended"] = true;
  }
  if (!error.empty()) {
    account["error"] = error;
    account["line"] = reader.position().line;
  }
  process.finish();
  if (account.contains("restart")) account["device"] = SnapshotToJson(process.device().snapshot());
  process.detach();
  return account;
}

void WriteAll(int fd, const std::string& bytes) {
  size_t written = 0;
  while (written < bytes.size()) {
    ssize_t n = ::write(fd, bytes.data() + written, bytes.size() - written);
    if (n < 0 && errno == EINTR) continue;
    if (n <= 0) throw std::runtime_error("cannot hand the device over to the next process");
    written += static_cast<size_t>(n);
  }
}

std::string ReadAll(int fd) {
  std::string bytes;
  char buffer[65536];
  while (true) {
    ssize_t n = ::read(fd, buffer, sizeof buffer);
    if (n < 0 && errno == EINTR) continue;
    if (n <= 0) return bytes;
    bytes.append(buffer, static_cast<size_t>(n));
  }
}

// Runs one daemon process as a forked child and waits for it; its exit status, with its account
// in *account when it ended normally.
int RunDaemonProcess(const ReplayOptions& options, int totalLines, const Json& handover,
                     Json* account) {
  int pipe[2];
  if (::pipe2(pipe, O_CLOEXEC) != 0) throw std::runtime_error("cannot start a daemon process");
  std::fflush(stdout);
  const pid_t child = ::fork();
  if (child < 0) throw std::runtime_error("cannot start a daemon process");
  if (child == 0) {
    ::close(pipe[0]);
    int status = 0;
    try {
      WriteAll(pipe[1], RunStretch(options, totalLines, handover).dump());
    } catch (const CommandError& e) {
      std::fprintf(stderr, "tallyd: %s\n", e.what());
      status = e.status();
    } catch (const std::exception& e) {
      std::fprintf(stderr, "tallyd: internal error: %s\n", e.what());
      status = kExitInternal;
    }
    ::close(pipe[1]);
    // A normal exit, so that the process's own exit-time checks run (the sanitizers' among them).
    std::exit(status);
  }
  ::close(pipe[1]);
  const std::string bytes = ReadAll(pipe[0]);
  ::close(pipe[0]);
  int status = 0;
  while (::waitpid(child, &status, 0) < 0) {
    if (errno != EINTR) throw std::runtime_error("lost a daemon process");
  }
  if (WIFSIGNALED(status)) {
    std::fprintf(stderr, "tallyd: a daemon process died with signal %d\n", WTERMSIG(status));
    return kExitInternal;
  }
  if (WEXITSTATUS(status) != 0) return WEXITSTATUS(status);
  *account = Json::parse(bytes, nullptr, /*allow_exceptions=*/false);
  if (!account->is_object()) throw std::runtime_error("a daemon process gave no account of itself");
  return 0;
}

// Whether the store at path already holds values of a replay or a daemon.
bool StoreHoldsValues(const std::string& path) {
  if (!fs::exists(path)) return false;
  Database db(path, Database::Mode::kReadOnly);
  for (const char* table : {"scalars", "distributions", "timeline", "activated_reports"}) {
    if (!db.hasTable(table)) continue;
    Statement any = db.prepare((std::string("SELECT 1 FROM ") + table + " LIMIT 1").c_str());
    if (any.row()) {
      any.row();
      return true;
    }
  }
  return false;
}

// The store's tables and meta, in one transaction: a replay killed before it committed leaves a
// database with no tables at all, never a store with half of them.
void WriteMeta(const ReplayOptions& options, const TraceSummary& trace) {
  Database db(options.db);
  db.exec("BEGIN");
  StatsStore store(db);
  DailyReports reports(db);
  Timeline timeline(db);
  StoreMeta meta(db);
  meta.set(kMetaSource, "replay");
  meta.set(kMetaTrace, fs::absolute(options.trace).string());
  const std::string traceHash = FileSha256(options.trace);
  meta.set(kMetaTraceHash, traceHash);
  // A replayed device is its first trace: replaying it again makes the same device.
  if (!meta.get(kMetaDeviceId)) meta.set(kMetaDeviceId, AnonymousDeviceId("replay " + traceHash));
  meta.set(kMetaTimeZone, trace.timeZone);
  meta.set(kMetaTraceStart, FormatNumber(trace.deviceStart));
  meta.set(kMetaMachine, trace.machine);
  meta.set(kMetaSystemVersion, trace.systemVersion);
  meta.set(kMetaTallydVersion, kTallydVersion);
  db.exec("COMMIT");
}

}  // namespace

int Replay(const ReplayOptions& given) {
  ReplayOptions options = given;
  const TraceSummary trace = CheckTrace(options.trace);
  const bool newSandbox = options.root.empty();
  if (!newSandbox && !options.append && fs::is_directory(options.root) &&
      !fs::is_empty(options.root)) {
    throw CommandError(kExitUsage, options.root +
                                       ": the sandbox already holds files; give --append to go "
                                       "on from them, or another --root");
  }
  if (newSandbox) options.root = MakeTemporaryDirectory("tallyd-sandbox");
  MakeDirectories(options.root, "sandbox");
  options.root = fs::canonical(options.root).string();
  if (options.db.empty()) options.db = options.root + "/var/db/tallyd/stats.db";
  if (!options.append && StoreHoldsValues(options.db)) {
    throw CommandError(kExitUsage, options.db +
                                       ": the store already holds values; give --append to add "
                                       "to them, or another --db");
  }
  if (fs::path(options.db).has_parent_path()) {
    MakeDirectories(fs::path(options.db).parent_path().string(), "store's");
  }
  if (!options.out.empty()) {
    int fd = ::open(options.out.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0644);
    if (fd < 0 || ::dup2(fd, STDOUT_FILENO) < 0) {
      throw CommandError(kExitReadWrite,
                         options.out + ": cannot write the output: " + std::strerror(errno));
    }
    ::close(fd);
  }
  WriteMeta(options, trace);

  Json handover;  // null for the first process
  while (true) {
    Json account;
    if (int status = RunDaemonProcess(options, trace.actionLines, handover, &account);
        status != 0) {
      return status;
    }
    if (account.contains("error")) {
      throw CommandError(kExitBadInput, options.trace + ":" +
                                            std::to_string(account["line"].get<int>()) + ": " +
                                            account["error"].get<std::string>());
    }
    if (account.value("ended", false)) break;
    handover = std::move(account);
  }
  std::fprintf(stderr, "tallyd: replayed %d lines, %s virtual days; store %s, sandbox %s\n",
               trace.actionLines, FormatNumber(std::round(trace.lastAt / 864.0) / 100.0).c_str(),
               options.db.c_str(), options.root.c_str());
  return kExitOk;
}

}  // namespace tl::host
