// SimDevice: construction from a state, device changes and the restart hand-over.
#include "platform/sim/sim_device.h"

#include <cmath>
#include <cstdlib>
#include <filesystem>
#include <stdexcept>

#include "base/saturated_cast.h"
#include "platform/device_paths.h"

namespace tl::sim {

namespace {

std::string MakeSandbox() {
  std::string path = (std::filesystem::temp_directory_path() / "tallyline-sim-XXXXXX").string();
  if (!::mkdtemp(path.data())) throw std::runtime_error("cannot make a sandbox directory");
  return path;
}

}  // namespace

SimDevice::SimDevice(DeviceState state, std::string sandbox, const DeviceFiles& files)
    : ownsSandbox_(sandbox.empty()),
      sandbox_(sandbox.empty() ? MakeSandbox() : std::move(sandbox)),
      state_(std::move(state)),
      scheduler_(0),
      outputs_([this] {
        return platform::MomentAt(scheduler_.elapsedSeconds(), scheduler_.now(), environment_);
      }),
      cpu_(state_, scheduler_),
      context_{state_, scheduler_, outputs_, cpu_},
      notifications_(context_),
      registry_(context_),
      applications_(context_),
      kernel_(context_),
      environment_(context_),
      ipc_(context_),
      posix_(sandbox_, kTemporaryDirectory),
      faulty_(posix_) {
  syncClock();
  notifications_.setState(platform::kBatterySaverModeNotification, state_.lpm);
  std::filesystem::create_directories(posix_.hostPath(kTemporaryDirectory));
  std::filesystem::create_directories(posix_.hostPath(platform::kDiagnosticLogDirectory));
  writeFiles(files);
}

SimDevice::~SimDevice() {
  if (ownsSandbox_) {
    std::error_code ignored;
    std::filesystem::remove_all(sandbox_, ignored);
  }
}

void SimDevice::syncClock() {
  scheduler_.setStart(state_.start);
  scheduler_.setTimebase(state_.timebase);
}

void SimDevice::advanceBy(double seconds) {
  advanceTo(scheduler_.elapsedNanoseconds() + SaturatedRound<int64_t>(seconds * 1e9));
}

void SimDevice::set(const DeviceFields& fields) {
  // Files first: when one cannot be written, nothing of the change has happened.
  writeFiles(fields.files);
  fields.applyTo(state_);
  registry_.batteryChanged();
  syncClock();
  notifications_.setState(platform::kBatterySaverModeNotification, state_.lpm);
}

void SimDevice::setThermalLevel(int64_t level) {
  state_.thermalLevel = level;
  notifications_.post(platform::kThermalLevelNotification);
}

void SimDevice::postNamedNotification(const std::string& name, std::optional<uint64_t> state) {
  if (state) {
    notifications_.setState(name, *state);
    if (name == platform::kBatterySaverModeNotification) state_.lpm = *state;
  }
  notifications_.post(name);
}

void SimDevice::mergeBattery(const platform::Dictionary& properties) {
  if (!state_.battery) state_.battery.emplace();
  for (const auto& [key, value] : properties) (*state_.battery)[key] = value;
  registry_.batteryChanged();
  registry_.batteryMessage(platform::kMessageBatteryStatusChanged);
}

void SimDevice::setBacklightValue(int64_t value) {
  if (!state_.backlight) state_.backlight.emplace();
  state_.backlight->value = value;
  registry_.backlightMessage(platform::kMessageServicePropertyChange);
}

void SimDevice::writeFiles(const DeviceFiles& files) {
  for (const auto& [path, text] : files) {
    std::filesystem::path host = posix_.hostPath(path);
    std::error_code error;
    std::filesystem::create_directories(host.parent_path(), error);
    if (error) throw std::runtime_error("cannot write " + path + ": " + error.message());
    Status written =
        posix_.createFile(path, {reinterpret_cast<const uint8_t*>(text.data()), text.size()}, 0644);
    if (!written.ok()) throw std::runtime_error("cannot write " + path + ": " + written.message());
  }
}

SimDevice::Snapshot SimDevice::snapshot() const {
  Snapshot snapshot{state_, scheduler_.elapsedNanoseconds(), notifications_.states(), {}};
  for (const auto& [fault, prefix] : faulty_.active()) {
    snapshot.faults[platform::FaultyFileSystem::NameOf(fault)] = prefix;
  }
  return snapshot;
}

std::unique_ptr<SimDevice> SimDevice::restore(Snapshot snapshot, std::string sandbox) {
  auto restored = std::make_unique<SimDevice>(std::move(snapshot.state), std::move(sandbox));
  restored->scheduler_.advanceTo(snapshot.elapsedNanoseconds);
  restored->notifications_.restoreStates(std::move(snapshot.namedStates));
  for (const auto& [name, prefix] : snapshot.faults) {
    if (auto fault = platform::FaultyFileSystem::FaultNamed(name)) {
      restored->faulty_.setFault(*fault, true, prefix);
    }
  }
  return restored;
}

}  // namespace tl::sim
