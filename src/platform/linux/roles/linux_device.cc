// LinuxDevice: the roles and sources put together, the uevent and polling wiring, and the order
// of start and stop.
#include "platform/linux/roles/linux_device.h"

#include <algorithm>

#include "platform/device_paths.h"
#include "platform/linux/apps/linux_applications.h"
#include "platform/linux/loop/bus.h"
#include "platform/linux/loop/event_loop.h"
#include "platform/linux/loop/sysfs.h"
#include "platform/linux/loop/text_file.h"
#include "platform/linux/loop/uevent_monitor.h"
#include "platform/linux/power/backlight_source.h"
#include "platform/linux/power/battery_source.h"
#include "platform/linux/power/display_power.h"
#include "platform/linux/power/logind_sleep.h"
#include "platform/linux/power/power_profiles.h"
#include "platform/linux/power/thermal_zones.h"
#include "platform/linux/roles/linux_activities.h"
#include "platform/linux/roles/linux_clock.h"
#include "platform/linux/roles/linux_dispatch.h"
#include "platform/linux/roles/linux_environment.h"
#include "platform/linux/roles/linux_kernel.h"
#include "platform/linux/roles/linux_named_notifications.h"
#include "platform/linux/roles/linux_outputs.h"
#include "platform/linux/roles/linux_registry.h"
#include "platform/linux/roles/memory_pressure.h"
#include "platform/linux/roles/notify_service.h"
#include "platform/linux/roles/state_paths.h"
#include "platform/posix_file_system.h"

namespace tl::linuxdev {

using namespace platform;

namespace {

uint64_t Microseconds(double seconds) {
  return static_cast<uint64_t>(std::clamp(seconds, 1.0, 1e9) * 1e6);
}

}  // namespace

// Made in the order of declaration: the loop and the buses first, then the dispatch, then the
// sources (each reads once as it is made), then the roles that answer from them.
struct LinuxDevice::Parts {
  std::unique_ptr<EventLoop> ownLoop;
  EventLoop& loop = *ownLoop;
  LinuxDeviceOptions options;
  BusPtr systemBus = OpenSystemBus();
  BusPtr sessionBus = OpenSessionBus();
  MemoryPressure pressure{loop, systemBus.get(), options.procRoot + "/pressure/memory"};
  LinuxDispatch dispatch{loop, pressure};
  // Where the device's own answers are delivered (IPC events, application answers).
  std::unique_ptr<SerialQueue> systemQueue =
      dispatch.createSerialQueue("tallyd.system", QualityOfService::kUtility);
  LinuxClock clock;
  // Before the outputs, which stamp with its local time from the first line a source logs.
  LinuxEnvironment environment;
  LinuxOutputs outputs;
  LinuxIpc ipc;
  NotificationCenter center;
  LinuxNamedNotifications named;
  BatterySource battery{[this] { return static_cast<int64_t>(clock.now()); },
                        [this](const std::string& line) { outputs.write(line); }};
  BacklightSource backlight;
  LinuxRegistry registry{battery, backlight};
  LogindSleep sleep;
  PowerProfiles profiles;
  DisplayPower display;
  NotifyService notify;
  UeventMonitor uevents{loop};
  std::unique_ptr<sd_event_source, EventSourceDeleter> poll;
  LinuxKernel kernel;
  PathMap paths = StatePathMap(options.stateDirectory);
  PosixFileSystem files{paths, kStateTemporaryDirectory};
  std::unique_ptr<SerialQueue> appStateQueue =
      dispatch.createSerialQueue("tallyd.appstate", QualityOfService::kUtility);
  std::unique_ptr<SerialQueue> workspaceQueue =
      dispatch.createSerialQueue("tallyd.workspace", QualityOfService::kUtility);
  std::unique_ptr<SerialQueue> activityQueue =
      dispatch.createSerialQueue("tallyd.activity", QualityOfService::kUtility);
  LinuxApplications applications{
      loop, *appStateQueue, *systemQueue, *workspaceQueue,
      ApplicationSources{.sessionBus = sessionBus.get(),
                         .systemBus = systemBus.get(),
                         .sysRoot = options.sysRoot,
                         .procRoot = options.procRoot,
                         .stateDirectory = options.stateDirectory,
                         .log = [this](std::string_view line) { outputs.write(line); }}};
  // Without a backlight the screen counts as on, as it does for the power side.
  LinuxActivities activities{loop, *activityQueue, options.stateDirectory + "/last-run",
                             [this] { return backlight.screenAsleep(); },
                             [this] { return clock.now(); }};
  std::vector<std::string> findings;

  Parts(std::unique_ptr<EventLoop> madeLoop, LinuxDeviceOptions given, OutputSink& sink)
      : ownLoop(std::move(madeLoop)),
        options(std::move(given)),
        environment(
            options.settings, [this] { return battery.reading().gasGauge; },
            ReadText(options.osReleasePath), kSingleUserContainer,
            [this](std::string_view line) { outputs.write(line); }),
        outputs(sink, clock, environment),
        ipc(outputs, {options.services.begin(), options.services.end()}, *systemQueue),
        sleep(loop, systemBus.get(), options.sysRoot,
              {[this](intptr_t id) { registry.willSleep(id); }, [this] { registry.poweredOn(); }}),
        profiles(systemBus.get(),
                 [this](uint64_t state) { named.post(kBatterySaverModeNotification, state); }),
        display(sessionBus.get(),
                [this](bool on) {
                  if (backlight.setDisplayOn(on)) backlightChanged();
                }),
        notify(sessionBus.get(),
               [this](const std::string& name, uint64_t state) { named.post(name, state); }),
        kernel(options.procRoot, options.sysRoot, [this] { return sleep.wakeReason(); }) {
    registry.setSleep(&sleep);
    // Said at start, under the state directory's own name: the module would later name only
    // its device paths.
    if (std::string unwritable = CreateStateDirectories(paths); !unwritable.empty()) {
      findings.push_back("state directory: cannot be written (" + unwritable +
                         "); the module's records and session logs will fail");
    }
    for (BusPtr* bus : {&systemBus, &sessionBus}) {
      if (*bus) sd_bus_attach_event(bus->get(), loop.event(), SD_EVENT_PRIORITY_NORMAL);
    }
    findings.push_back(describeBattery());
    findings.push_back(backlight.present() ? "backlight: found" : "backlight: none");
    refreshThermal();

    bool displayOn = true;
    const Status displayPower = display.start(&displayOn);
    findings.push_back(displayPower.ok()
                           ? "display power: the compositor's"
                           : "display power: not published: " + displayPower.message());
    backlight.setDisplayOn(displayOn);
    const Status sleeping = sleep.start();
    findings.push_back("sleep: " +
                       (sleeping.ok() ? "logind, inhibitor taken" : sleeping.message()));
    named.setState(kBatterySaverModeNotification, profiles.start());
    const std::string pressureSource = pressure.start();
    findings.push_back("memory pressure: " +
                       (pressureSource.empty() ? std::string("none") : pressureSource));
    if (const Status serving = notify.start(); !serving.ok()) {
      findings.push_back("notify: the daemon's bus name is not available: " + serving.message());
    }

    uevents.watch("power_supply", [this] {
      if (battery.refresh()) registry.batteryChanged();
    });
    uevents.watch("backlight", [this] {
      if (backlight.refresh()) backlightChanged();
    });
    uevents.watch("thermal", [this] { refreshThermal(); });
    if (const Status watched = uevents.start(); !watched.ok()) {
      findings.push_back("uevents: none (" + watched.message() + "); polling only");
    }

    for (std::string& finding : applications.start()) findings.push_back(std::move(finding));

    sd_event_source* source = nullptr;
    const uint64_t every = Microseconds(options.settings.pollSeconds);
    if (sd_event_add_time_relative(loop.event(), &source, CLOCK_MONOTONIC, every, every / 10,
                                   OnPoll, this) >= 0) {
      poll.reset(source);
    }

    if (!battery.reading().present || !backlight.present()) {
      findings.push_back(std::string("the power side is off: this machine has no ") +
                         (battery.reading().present ? "backlight" : "battery"));
    }
  }

  std::string describeBattery() {
    BatteryReading reading = battery.reading();
    if (!reading.present) return "battery: none";
    return reading.gasGauge ? "battery: found, reports its charge"
                            : "battery: found, reports a percentage only";
  }

  // Re-reads what drivers may change without a uevent.
  void refreshAll() {
    if (battery.refresh()) registry.batteryChanged();
    if (backlight.refresh()) backlightChanged();
    refreshThermal();
    applications.refresh();
  }

  void backlightChanged() {
    registry.backlightChanged();
    activities.screenChanged();
  }

  void refreshThermal() {
    named.setThermalLevel(ThermalLevel(ReadSubsystem("thermal", ThermalZoneAttributes())));
  }

  static int OnPoll(sd_event_source* source, uint64_t, void* self) {
    auto* parts = static_cast<Parts*>(self);
    parts->loop.assertOnLoopThread();
    sd_event_source_set_time_relative(source, Microseconds(parts->options.settings.pollSeconds));
    sd_event_source_set_enabled(source, SD_EVENT_ON);
    parts->refreshAll();
    return 0;
  }
};

Status LinuxDevice::Create(LinuxDeviceOptions options, OutputSink& sink,
                           std::unique_ptr<LinuxDevice>* device) {
  std::unique_ptr<EventLoop> loop;
  if (Status made = EventLoop::Create(&loop); !made.ok()) return made.prefixed("no event loop");
  *device = std::make_unique<LinuxDevice>(
      Key(), std::make_unique<Parts>(std::move(loop), std::move(options), sink));
  return Status::OK();
}

LinuxDevice::LinuxDevice(Key, std::unique_ptr<Parts> parts) : parts_(std::move(parts)) {}

LinuxDevice::~LinuxDevice() { stop(); }

void LinuxDevice::start() { parts_->loop.start(); }

void LinuxDevice::stop() {
  parts_->loop.stop();
  parts_->dispatch.pool().waitIdle();
  // The poll belongs to the loop: drop it while nothing runs the loop.
  parts_->poll.reset();
}

const std::vector<std::string>& LinuxDevice::findings() const { return parts_->findings; }

void LinuxDevice::post(const std::string& name, uint64_t state) { parts_->named.post(name, state); }

Clock& LinuxDevice::clock() { return parts_->clock; }
Dispatch& LinuxDevice::dispatch() { return parts_->dispatch; }
NamedNotifications& LinuxDevice::namedNotifications() { return parts_->named; }
NotificationCenter& LinuxDevice::notificationCenter() { return parts_->center; }
DeviceRegistry& LinuxDevice::registry() { return parts_->registry; }
SystemPower& LinuxDevice::systemPower() { return parts_->registry; }
Applications& LinuxDevice::applications() { return parts_->applications; }
CpuUsage& LinuxDevice::cpuUsage() { return parts_->applications.cpuUsage(); }
ActivityScheduler& LinuxDevice::activities() { return parts_->activities; }
Kernel& LinuxDevice::kernel() { return parts_->kernel; }
Environment& LinuxDevice::environment() { return parts_->environment; }
FileSystem& LinuxDevice::files() { return parts_->files; }
Ipc& LinuxDevice::ipc() { return parts_->ipc; }
MessageTransport& LinuxDevice::messages() { return parts_->ipc; }
StatisticsClient& LinuxDevice::statistics() { return parts_->outputs; }
SystemLog& LinuxDevice::log() { return parts_->outputs; }

}  // namespace tl::linuxdev
