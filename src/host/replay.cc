// Replay: the supervising process, and the segment run inside each daemon process.
#include "host/replay.h"

#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cmath>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <vector>

#include "host/actions.h"
#include "host/module_loader.h"
#include "host/output_writer.h"
#include "host/stats_store.h"
#include "host/trace.h"
#include "platform/sim/sim_device.h"

namespace tl::host {

namespace {

namespace fs = std::filesystem;

std::string MakeTemporaryDirectory(const char* name) {
  std::string path = (fs::temp_directory_path() / name).string() + "-XXXXXX";
  if (!::mkdtemp(path.data())) throw std::runtime_error("cannot make a temporary directory");
  return path;
}

// Runs this executable again as one daemon process for steps [from, to); its exit status.
int SpawnSegment(const ReplayOptions& options, size_t from, size_t to, const std::string& state,
                 bool resume, bool last) {
  std::vector<std::string> args = {
      "tallyd",   "__segment", options.trace,        "--root", options.root,       "--db",
      options.db, "--from",    std::to_string(from), "--to",   std::to_string(to), "--state",
      state};
  if (options.notifications) args.push_back("--notifications");
  if (resume) args.push_back("--resume");
  if (last) args.push_back("--last");
  std::vector<char*> argv;
  for (std::string& a : args) argv.push_back(a.data());
  argv.push_back(nullptr);

  std::fflush(stdout);
  pid_t child = ::fork();
  if (child < 0) throw std::runtime_error("cannot start a daemon process");
  if (child == 0) {
    ::execv("/proc/self/exe", argv.data());
    std::perror("tallyd: exec");
    ::_exit(127);
  }
  int status = 0;
  while (::waitpid(child, &status, 0) < 0) {
    if (errno != EINTR) throw std::runtime_error("lost a daemon process");
  }
  if (WIFEXITED(status)) return WEXITSTATUS(status);
  std::fprintf(stderr, "tallyd: a daemon process died with signal %d\n", WTERMSIG(status));
  return 3;
}

std::string LocalDay(sim::SimDevice& device) {
  auto t = device.environment().localTime(static_cast<int64_t>(std::floor(device.clock().now())));
  char day[16];
  std::snprintf(day, sizeof day, "%04d-%02d-%02d", t.year, t.month, t.day);
  return day;
}

}  // namespace

int Replay(const ReplayOptions& given) {
  ReplayOptions options = given;
  Trace trace = ReadTrace(options.trace);
  if (trace.unreadable) {
    std::fprintf(stderr, "tallyd: %s\n", trace.error->c_str());
    return 2;
  }
  if (options.root.empty()) {
    options.root = MakeTemporaryDirectory("tallyd-sandbox");
    std::fprintf(stderr, "tallyd: sandbox %s\n", options.root.c_str());
  }
  fs::create_directories(options.root);
  options.root = fs::canonical(options.root).string();
  if (options.db.empty()) options.db = options.root + "/var/db/tallyd/stats.db";
  if (fs::path(options.db).has_parent_path())
    fs::create_directories(fs::path(options.db).parent_path());
  if (!options.out.empty()) {
    int fd = ::open(options.out.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0644);
    if (fd < 0 || ::dup2(fd, STDOUT_FILENO) < 0) {
      std::fprintf(stderr, "tallyd: cannot write %s\n", options.out.c_str());
      return 2;
    }
    ::close(fd);
  }

  std::string handover = MakeTemporaryDirectory("tallyd-state");
  std::string state = handover + "/device.json";
  // A restart line begins a new daemon process.
  std::vector<size_t> starts = {0};
  for (size_t i = 1; i < trace.steps.size(); ++i) {
    if (trace.steps[i].action == "restart") starts.push_back(i);
  }
  int status = 0;
  for (size_t s = 0; s < starts.size() && status == 0; ++s) {
    size_t to = s + 1 < starts.size() ? starts[s + 1] : trace.steps.size();
    // A trace that ends normally loads the module at its end if nothing did before.
    bool last = s + 1 == starts.size() && !trace.error;
    status = SpawnSegment(options, starts[s], to, state, s > 0, last);
  }
  fs::remove_all(handover);
  if (status != 0) return status;
  if (trace.error) {
    std::fprintf(stderr, "tallyd: %s: %s\n", options.trace.c_str(), trace.error->c_str());
    return 2;
  }
  return 0;
}

int RunSegment(const SegmentOptions& options) {
  Trace trace = ReadTrace(options.replay.trace);
  if (options.to > trace.steps.size() || options.from > options.to) {
    throw std::runtime_error("the trace changed while it was replayed");
  }
  std::unique_ptr<sim::SimDevice> device;
  if (options.resume) {
    std::ifstream in(options.state);
    device = sim::SimDevice::restore(sim::Json::parse(in), options.replay.root);
  } else {
    device = std::make_unique<sim::SimDevice>(trace.device, options.replay.root);
  }
  StatsStore store(options.replay.db);
  OutputWriter writer(stdout, store, [&] { return LocalDay(*device); });
  device->outputs().setSink(&writer);
  std::unique_ptr<platform::Registration> shown;
  if (options.replay.notifications) {
    shown = device->notificationCenter().addObserver("", [&](const platform::Notification& n) {
      if (n.name.starts_with("EQ")) writer.notification(device->elapsedSeconds(), n);
    });
  }
  platform::MakeCurrent(device.get());
  auto eventQueue = device->dispatch().createSerialQueue("com.veltro.tallyd.events",
                                                         platform::QualityOfService::kDefault);
  HostModuleHandle handle(*device, *eventQueue);
  ModuleLoader module(ModuleLoader::DefaultPath());

  for (size_t i = options.from; i < options.to; ++i) {
    const TraceStep& step = trace.steps[i];
    store.begin();
    device->advanceTo(step.atNanoseconds);
    // The module is loaded before the first other action; a restart loads it in the new process.
    if (step.action == "load" || !module.loaded()) module.callEntry(handle);
    if (const Action* action = FindAction(step.action); action && action->apply) {
      action->apply(*device, step.value);
    }
    device->runUntilIdle();
    store.commit();
  }
  if (options.last && !module.loaded()) {
    store.begin();
    module.callEntry(handle);
    device->runUntilIdle();
    store.commit();
  }
  std::fflush(stdout);

  std::ofstream out(options.state, std::ios::trunc);
  out << device->saveState().dump();
  if (!out) throw std::runtime_error("cannot hand the device over to the next process");
  device->outputs().setSink(nullptr);
  return 0;
}

}  // namespace tl::host
