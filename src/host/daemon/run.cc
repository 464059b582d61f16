// Run: the resident daemon's start, its store, its daily trigger and its orderly end.
#include "host/daemon/run.h"

#include <date/tz.h>
#include <signal.h>
#include <systemd/sd-daemon.h>

#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <stdexcept>

#include "base/mutex.h"
#include "host/daemon/daemon_config.h"
#include "host/exit_codes.h"
#include "host/module/directories.h"
#include "host/module/module_loader.h"
#include "host/store/stats_daemon.h"
#include "host/store/store_meta.h"
#include "host/version.h"
#include "platform/linux/apps/app_catalog.h"
#include "platform/linux/roles/linux_device.h"
#include "platform/linux/roles/notify_service.h"

namespace tl::host {

namespace {

namespace fs = std::filesystem;

constexpr double kDay = 86400;

std::string StateHome() {
  if (const char* state = std::getenv("XDG_STATE_HOME"); state && *state == '/') return state;
  const char* home = std::getenv("HOME");
  if (!home || !*home) {
    throw CommandError(kExitUsage, "neither XDG_STATE_HOME nor HOME is set; give --db and --state");
  }
  return std::string(home) + "/.local/state";
}

// Each call of the module is one transaction of the store, so that a batch lands whole. The
// module's queues and the notification observers write from several threads: one at a time.
class TransactionalSink : public platform::OutputSink {
 public:
  TransactionalSink(Database& db, StatsStore& store, StatsDaemon& daemon)
      : db_(db), store_(store), daemon_(daemon) {}

  void scalar(const DeviceMoment& moment, std::string_view key, int64_t value) override {
    inTransaction([&](StatsDaemon& daemon) { daemon.scalar(moment, key, value); });
  }
  void distribution(const DeviceMoment& moment, std::string_view key, double value) override {
    inTransaction([&](StatsDaemon& daemon) { daemon.distribution(moment, key, value); });
  }
  void batch(const DeviceMoment& moment, const platform::KeyValues* first,
             const platform::KeyValues* second) override {
    inTransaction([&](StatsDaemon& daemon) { daemon.batch(moment, first, second); });
  }
  void ipc(const DeviceMoment& moment, const std::string& service,
           const platform::WispObject& message) override {
    inTransaction([&](StatsDaemon& daemon) { daemon.ipc(moment, service, message); });
  }

  // write is given the daemon under the lock. A store that fails (a full disk) loses that call's
  // values, says so, and the daemon goes on: the module's queues must not die with it.
  template <class F>
  void inTransaction(F write) {
    MutexLock lock(mutex_);
    try {
      db_.exec("BEGIN");
      try {
        write(daemon_);
        store_.flush();
      } catch (...) {
        store_.forget();
        db_.exec("ROLLBACK");
        throw;
      }
      db_.exec("COMMIT");
    } catch (const std::exception& e) {
      std::fprintf(stderr, "tallyd: cannot store the module's values: %s\n", e.what());
    }
  }

  Mutex mutex_;
  Database& db_ TL_GUARDED_BY(mutex_);
  StatsStore& store_ TL_GUARDED_BY(mutex_);
  StatsDaemon& daemon_ TL_GUARDED_BY(mutex_);
};

std::string SystemTimeZone() {
  try {
    return std::string(date::current_zone()->name());
  } catch (const std::exception&) {
    return "UTC";
  }
}

// Blocks the stop signals in every thread, so that only the main thread's wait receives them.
sigset_t BlockStopSignals() {
  sigset_t signals;
  sigemptyset(&signals);
  sigaddset(&signals, SIGTERM);
  sigaddset(&signals, SIGINT);
  pthread_sigmask(SIG_BLOCK, &signals, nullptr);
  return signals;
}

}  // namespace

int Run(const RunOptions& given) {
  RunOptions options = given;
  if (options.state.empty()) options.state = StateHome() + "/tallyd";
  if (options.db.empty()) options.db = StateHome() + "/tallyd/stats.db";
  linuxdev::LinuxDeviceOptions device;
  if (!options.config.empty()) device.settings = ReadDaemonConfig(options.config);
  MakeDirectories(options.state, "state");
  device.stateDirectory = fs::canonical(options.state).string();
  device.services = {kDailyReportService};
  if (fs::path(options.db).has_parent_path()) {
    MakeDirectories(fs::path(options.db).parent_path().string(), "store's");
  }

  const sigset_t stopSignals = BlockStopSignals();
  Database db(options.db);
  StatsStore store(db);
  DailyReports reports(db);
  Timeline timeline(db);
  StatsDaemon daemon(store, reports, &timeline);
  TransactionalSink sink(db, store, daemon);

  std::unique_ptr<linuxdev::LinuxDevice> made;
  if (Status status = linuxdev::LinuxDevice::Create(std::move(device), sink, &made); !status.ok()) {
    throw CommandError(kExitInternal, "cannot start: " + status.message());
  }
  linuxdev::LinuxDevice& machine = *made;
  // The intervals read the machine's CPU, so they follow it; the module, which makes the power
  // commits, is loaded after them.
  std::optional<PowerIntervals> intervals;
  sink.inTransaction([&](StatsDaemon& daemon) {
    intervals.emplace(db, &machine.cpuUsage());
    daemon.recordIntervals(&*intervals);
    StoreMeta meta(db);
    meta.set(kMetaSource, "run");
    meta.set(kMetaTimeZone, SystemTimeZone());
    if (!meta.get(kMetaTraceStart)) meta.set(kMetaTraceStart, FormatNumber(machine.clock().now()));
    char name[256] = {};
    size_t length = sizeof name - 1;
    if (machine.kernel().sysctlByName("hw.machine", name, &length) == 0) {
      meta.set(kMetaMachine, std::string(name, strnlen(name, length)));
    }
    if (auto version = machine.environment().systemVersion()) {
      meta.set(kMetaSystemVersion, SystemVersionText(*version));
    }
    meta.set(kMetaTallydVersion, kTallydVersion);
    // Derived from the machine's identifier for tallyd alone, so that an export can be told
    // from another machine's without giving the machine's own identifier away.
    if (!meta.get(kMetaDeviceId)) {
      if (auto id = linuxdev::MachineVendorIdentifier("tallyd device")) {
        meta.set(kMetaDeviceId, id->text());
      } else {
        meta.set(kMetaDeviceId, AnonymousDeviceId("run " + *meta.get(kMetaTraceStart)));
      }
    }
  });
  PowerTimeline power(machine, [&](const TimelineRow& row) {
    sink.inTransaction([&](StatsDaemon&) { timeline.add(row); });
  });
  for (const std::string& line : machine.findings())
    std::fprintf(stderr, "tallyd: %s\n", line.c_str());
  std::fflush(stderr);

  platform::MakeCurrent(&machine);
  auto eventQueue = machine.dispatch().createSerialQueue("com.veltro.tallyd.events",
                                                         platform::QualityOfService::kDefault);
  HostModuleHandle handle(machine, *eventQueue);
  ModuleLoader module(ModuleLoader::DefaultPath());
  power.start();
  module.callEntry(handle);
  // The daemon's own trigger of the daily report.
  auto daily = machine.dispatch().scheduleRepeatingTimer(
      *eventQueue, kDay, kDay / 24, [&machine] { machine.post(kDailyReportTrigger, 0); });
  machine.start();
  sd_notify(0, "READY=1");

  int signal = 0;
  while (sigwait(&stopSignals, &signal) != 0) {
  }
  sd_notify(0, "STOPPING=1");
  daily.reset();
  machine.stop();
  power.stop();
  std::fprintf(stderr, "tallyd: stopped by signal %d; the store is complete\n", signal);
  return 0;
}

int Notify(const std::string& name, uint64_t state) {
  const std::string error = linuxdev::PostToDaemon(name, state);
  if (error.empty()) return 0;
  std::fprintf(stderr, "tallyd: cannot post %s: %s\n", name.c_str(), error.c_str());
  return 1;
}

}  // namespace tl::host
