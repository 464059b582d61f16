// SimDevice: a deterministic simulated device implementing every platform role from its state.
#pragma once

#include <map>
#include <memory>
#include <optional>
#include <string>

#include "platform/faulty_file_system.h"
#include "platform/platform.h"
#include "platform/posix_file_system.h"
#include "platform/sim/device_state.h"
#include "platform/sim/sim_applications.h"
#include "platform/sim/sim_cpu.h"
#include "platform/sim/sim_environment.h"
#include "platform/sim/sim_ipc.h"
#include "platform/sim/sim_kernel.h"
#include "platform/sim/sim_named_notifications.h"
#include "platform/sim/sim_outputs.h"
#include "platform/sim/sim_registry.h"
#include "platform/sim/sim_scheduler.h"

namespace tl::sim {

// The device path of the per-user temporary directory, inside the sandbox.
inline constexpr char kTemporaryDirectory[] = "/var/tmp/";

// Driven from one thread: the driver changes the device, then runs the queues empty
// (runUntilIdle) or moves time (advanceTo). What the module sends out goes to the sinks added to
// outputs(); the device keeps none of it.
class SimDevice : public platform::Platform {
 public:
  // sandbox is the directory that stands for the device's "/"; when empty a fresh temporary
  // directory is made and removed with the device. files are written into it first.
  explicit SimDevice(DeviceState state = {}, std::string sandbox = "",
                     const DeviceFiles& files = {});
  ~SimDevice() override;
  SimDevice(const SimDevice&) = delete;
  SimDevice& operator=(const SimDevice&) = delete;

  // Platform.
  platform::Clock& clock() override { return scheduler_; }
  platform::Dispatch& dispatch() override { return scheduler_; }
  platform::NamedNotifications& namedNotifications() override { return notifications_; }
  platform::NotificationCenter& notificationCenter() override { return center_; }
  platform::DeviceRegistry& registry() override { return registry_; }
  platform::SystemPower& systemPower() override { return registry_; }
  platform::Applications& applications() override { return applications_; }
  platform::ActivityScheduler& activities() override { return applications_; }
  platform::Kernel& kernel() override { return kernel_; }
  platform::Environment& environment() override { return environment_; }
  platform::FileSystem& files() override { return faulty_; }
  platform::Ipc& ipc() override { return ipc_; }
  platform::MessageTransport& messages() override { return ipc_; }
  platform::StatisticsClient& statistics() override { return outputs_; }
  platform::SystemLog& log() override { return outputs_; }

  // Driving.
  void runUntilIdle() { scheduler_.runUntilIdle(); }
  void advanceTo(int64_t elapsedNanoseconds) { scheduler_.advanceTo(elapsedNanoseconds); }
  void advanceBy(double seconds);
  double elapsedSeconds() const { return scheduler_.elapsedSeconds(); }

  // Changes of the device. set() replaces fields and writes files; it raises no event.
  void set(const DeviceFields& fields);
  void setThermalLevel(int64_t level);
  // Sets the state (if given) of a system-wide notification, then posts it.
  void postNamedNotification(const std::string& name, std::optional<uint64_t> state);
  void memoryPressure(unsigned level) { scheduler_.memoryPressure(level); }
  // Merges properties into the battery entry, then the entry reports a status change.
  void mergeBattery(const platform::Dictionary& properties);
  // The backlight's brightness value changes and the service reports a property change.
  void setBacklightValue(int64_t value);

  // The simulated parts, for drivers and tests.
  const DeviceState& state() const { return state_; }
  SimScheduler& scheduler() { return scheduler_; }
  SimOutputs& outputs() { return outputs_; }
  SimNamedNotifications& notifications() { return notifications_; }
  SimRegistry& simRegistry() { return registry_; }
  SimApplications& simApplications() { return applications_; }
  SimKernel& simKernel() { return kernel_; }
  SimCpu& cpu() { return cpu_; }
  SimEnvironment& simEnvironment() { return environment_; }
  SimIpc& simIpc() { return ipc_; }
  platform::FaultyFileSystem& faults() { return faulty_; }
  const std::string& sandbox() const { return sandbox_; }
  // The host path of a device path.
  std::string hostPath(const std::string& devicePath) const { return posix_.hostPath(devicePath); }

  // What carries over a restart of the daemon: the state, virtual time and the named
  // notifications' states. The sandbox's files stay where they are; registrations do not carry.
  struct Snapshot {
    DeviceState state;
    int64_t elapsedNanoseconds = 0;
    std::map<std::string, uint64_t> namedStates;
    // The file system's faults by name, with their path prefixes: a full disk stays full.
    std::map<std::string, std::string> faults;
  };
  Snapshot snapshot() const;
  static std::unique_ptr<SimDevice> restore(Snapshot snapshot, std::string sandbox);

 private:
  void writeFiles(const DeviceFiles& files);
  void syncClock();

  bool ownsSandbox_;  // before sandbox_: it is decided from the argument sandbox_ takes
  std::string sandbox_;
  DeviceState state_;
  SimScheduler scheduler_;
  SimOutputs outputs_;
  SimCpu cpu_;
  SimContext context_;
  platform::NotificationCenter center_;
  SimNamedNotifications notifications_;
  SimRegistry registry_;
  SimApplications applications_;
  SimKernel kernel_;
  SimEnvironment environment_;
  SimIpc ipc_;
  platform::PosixFileSystem posix_;
  platform::FaultyFileSystem faulty_;
};

}  // namespace tl::sim
