// Replay: the supervising process, and the stretch of the trace each daemon process runs.
#include "host/replay.h"

#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cmath>
#include <cstdio>
#include <filesystem>
#include <stdexcept>

#include "host/module_loader.h"
#include "host/output_printer.h"
#include "host/stats_daemon.h"
#include "host/trace_format.h"
#include "host/trace_reader.h"

namespace tl::host {

namespace {

namespace fs = std::filesystem;

std::string MakeTemporaryDirectory(const char* name) {
  std::string path = (fs::temp_directory_path() / name).string() + "-XXXXXX";
  if (!::mkdtemp(path.data())) throw std::runtime_error("cannot make a temporary directory");
  return path;
}

std::string LocalDay(sim::SimDevice& device) {
  auto t = device.environment().localTime(static_cast<int64_t>(std::floor(device.clock().now())));
  char day[16];
  std::snprintf(day, sizeof day, "%04d-%02d-%02d", t.year, t.month, t.day);
  return day;
}

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
// end, {"error": TEXT} at a bad line.
Json RunStretch(const ReplayOptions& options, const Json& handover) {
  const bool first = handover.is_null();
  TraceReader reader(options.trace,
                     first ? TracePosition{} : PositionFromJson(handover["position"]));
  if (!reader.readable()) throw std::runtime_error("cannot read the trace " + options.trace);

  std::string error;
  bool ended = false;
  std::optional<TraceStep> pending;  // read before the device exists
  std::unique_ptr<sim::SimDevice> device;
  if (first) {
    // Line 1 may describe the device.
    sim::DeviceFields fields;
    TraceStep step;
    switch (reader.next(&step, &fields, &error)) {
      case TraceReader::Next::kStep:
        pending = std::move(step);
        break;
      case TraceReader::Next::kEnd:
        ended = true;
        break;
      case TraceReader::Next::kDevice:
      case TraceReader::Next::kError:
        break;
    }
    sim::DeviceState state;
    fields.applyTo(state);
    device = std::make_unique<sim::SimDevice>(std::move(state), options.root, fields.files);
  } else {
    device = sim::SimDevice::restore(SnapshotFromJson(handover["device"]), options.root);
    const Json& restart = handover["restart"];
    pending = TraceStep{restart.at("line").get<int>(), restart.at("at_ns").get<int64_t>(),
                        std::string(kRestartAction), nullptr};
  }

  Database db(options.db);
  StatsStore store(db);
  DailyReports reports(db);
  StatsDaemon daemon(store, reports, [&] { return LocalDay(*device); });
  OutputPrinter printer(stdout);
  device->outputs().addSink(daemon);
  device->outputs().addSink(printer);
  std::unique_ptr<platform::Registration> shown;
  if (options.notifications) {
    shown = device->notificationCenter().addObserver("", [&](const platform::Notification& n) {
      if (n.name.starts_with("EQ")) printer.notification(device->elapsedSeconds(), n);
    });
  }
  platform::MakeCurrent(device.get());
  auto eventQueue = device->dispatch().createSerialQueue("com.veltro.tallyd.events",
                                                         platform::QualityOfService::kDefault);
  HostModuleHandle handle(*device, *eventQueue);
  ModuleLoader module(ModuleLoader::DefaultPath());

  // Each line is one transaction of the store. The module is loaded before the first other
  // action; a restart loads it in the new process.
  bool ranAny = false;
  auto run = [&](const TraceStep& step) {
    db.exec("BEGIN");
    device->advanceTo(step.atNanoseconds);
    if (step.action == kLoadAction || !module.loaded()) module.callEntry(handle);
    if (step.apply) step.apply(*device);
    device->runUntilIdle();
    db.exec("COMMIT");
    ranAny = true;
  };
  // A trace that ends normally loads the module at its end if nothing did before.
  auto loadAtEnd = [&] {
    if (module.loaded()) return;
    db.exec("BEGIN");
    module.callEntry(handle);
    device->runUntilIdle();
    db.exec("COMMIT");
  };

  Json account = Json::object();
  if (pending) run(*pending);
  while (error.empty() && !ended) {
    TraceStep step;
    sim::DeviceFields unused;  // a device line after line 1 is an error
    const TraceReader::Next next = reader.next(&step, &unused, &error);
    if (next == TraceReader::Next::kEnd) ended = true;
    if (next != TraceReader::Next::kStep) break;
    // A restart line begins a new daemon process, unless this one has run nothing yet.
    if (step.action == kRestartAction && ranAny) {
      account["position"] = PositionToJson(reader.position());
      account["restart"] = {{"line", step.line}, {"at_ns", step.atNanoseconds}};
      break;
    }
    run(step);
  }
  if (ended) {
    loadAtEnd();
    account["ended"] = true;
  }
  if (!error.empty()) account["error"] = error;
  std::fflush(stdout);
  if (account.contains("restart")) account["device"] = SnapshotToJson(device->snapshot());
  device->outputs().removeSink(printer);
  device->outputs().removeSink(daemon);
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
int RunDaemonProcess(const ReplayOptions& options, const Json& handover, Json* account) {
  int pipe[2];
  if (::pipe2(pipe, O_CLOEXEC) != 0) throw std::runtime_error("cannot start a daemon process");
  std::fflush(stdout);
  const pid_t child = ::fork();
  if (child < 0) throw std::runtime_error("cannot start a daemon process");
  if (child == 0) {
    ::close(pipe[0]);
    int status = 0;
    try {
      WriteAll(pipe[1], RunStretch(options, handover).dump());
    } catch (const std::exception& e) {
      std::fprintf(stderr, "tallyd: %s\n", e.what());
      status = 3;
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
    return 3;
  }
  if (WEXITSTATUS(status) != 0) return WEXITSTATUS(status);
  *account = Json::parse(bytes, nullptr, /*allow_exceptions=*/false);
  if (!account->is_object()) throw std::runtime_error("a daemon process gave no account of itself");
  return 0;
}

}  // namespace

int Replay(const ReplayOptions& given) {
  ReplayOptions options = given;
  if (!TraceReader(options.trace, {}).readable()) {
    std::fprintf(stderr, "tallyd: cannot read the trace %s\n", options.trace.c_str());
    return 2;
  }
  if (options.root.empty()) {
    options.root = MakeTemporaryDirectory("tallyd-sandbox");
    std::fprintf(stderr, "tallyd: sandbox %s\n", options.root.c_str());
  }
  fs::create_directories(options.root);
  options.root = fs::canonical(options.root).string();
  if (options.db.empty()) options.db = options.root + "/var/db/tallyd/stats.db";
  if (fs::path(options.db).has_parent_path()) {
    fs::create_directories(fs::path(options.db).parent_path());
  }
  if (!options.out.empty()) {
    int fd = ::open(options.out.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0644);
    if (fd < 0 || ::dup2(fd, STDOUT_FILENO) < 0) {
      std::fprintf(stderr, "tallyd: cannot write %s\n", options.out.c_str());
      return 2;
    }
    ::close(fd);
  }

  Json handover;  // null for the first process
  while (true) {
    Json account;
    if (int status = RunDaemonProcess(options, handover, &account); status != 0) return status;
    if (account.contains("error")) {
      std::fprintf(stderr, "tallyd: %s: %s\n", options.trace.c_str(),
                   account["error"].get<std::string>().c_str());
      return 2;
    }
    if (account.value("ended", false)) return 0;
    handover = std::move(account);
  }
}

}  // namespace tl::host
