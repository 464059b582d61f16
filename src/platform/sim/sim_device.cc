// SimDevice: construction from device data, device changes and the restart hand-over.
#include "platform/sim/sim_device.h"

#include <cmath>
#include <cstdlib>
#include <filesystem>
#include <stdexcept>

#include "platform/device_paths.h"

namespace tl::sim {

namespace {

std::string MakeSandbox() {
  std::string path = (std::filesystem::temp_directory_path() / "tallyline-sim-XXXXXX").string();
  if (!::mkdtemp(path.data())) throw std::runtime_error("cannot make a sandbox directory");
  return path;
}

const Json& Validated(const Json& device) {
  if (auto error = DeviceData::validate(device)) throw std::invalid_argument(*error);
  return device;
}

}  // namespace

SimDevice::SimDevice(const Json& device, std::string sandbox)
    : ownsSandbox_(sandbox.empty()),
      sandbox_(sandbox.empty() ? MakeSandbox() : std::move(sandbox)),
      scheduler_(0),
      outputs_([this] { return scheduler_.elapsedSeconds(); }),
      context_{data_, scheduler_, outputs_},
      notifications_(context_),
      registry_(context_),
      applications_(context_),
      kernel_(context_),
      environment_(context_),
      ipc_(context_),
      posix_(sandbox_, kTemporaryDirectory),
      faulty_(posix_) {
  data_.apply(Validated(device));
  syncFromData();
  notifications_.setState(platform::kBatterySaverModeNotification,
                          data_.field("lpm").get<uint64_t>());
  std::filesystem::create_directories(posix_.hostPath(kTemporaryDirectory));
  std::filesystem::create_directories(posix_.hostPath(platform::kDiagnosticLogDirectory));
  writeFiles(data_.field("files"));
}

SimDevice::~SimDevice() {
  if (ownsSandbox_) {
    std::error_code ignored;
    std::filesystem::remove_all(sandbox_, ignored);
  }
}

void SimDevice::syncFromData() {
  scheduler_.setStart(data_.field("start").get<double>());
  const Json& timebase = data_.field("timebase");
  scheduler_.setTimebase({timebase[0].get<uint32_t>(), timebase[1].get<uint32_t>()});
}

void SimDevice::advanceBy(double seconds) {
  advanceTo(scheduler_.elapsedNanoseconds() + std::llround(seconds * 1e9));
}

void SimDevice::set(const Json& fields) {
  data_.apply(fields);
  syncFromData();
  if (fields.contains("lpm")) {
    notifications_.setState(platform::kBatterySaverModeNotification, fields["lpm"].get<uint64_t>());
  }
  if (fields.contains("files")) writeFiles(fields["files"]);
}

void SimDevice::setThermalLevel(int64_t level) {
  data_.mutableJson()["thermal_level"] = level;
  notifications_.post(platform::kThermalLevelNotification);
}

void SimDevice::postNamedNotification(const std::string& name, std::optional<uint64_t> state) {
  if (state) {
    notifications_.setState(name, *state);
    if (name == platform::kBatterySaverModeNotification) data_.mutableJson()["lpm"] = *state;
  }
  notifications_.post(name);
}

void SimDevice::mergeBattery(const Json& properties) {
  Json& battery = data_.mutableJson()["battery"];
  if (!battery.is_object()) battery = Json::object();
  for (const auto& [key, value] : properties.items()) battery[key] = value;
  registry_.batteryMessage(platform::kMessageBatteryStatusChanged);
}

void SimDevice::setBacklightValue(int64_t value) {
  Json& backlight = data_.mutableJson()["backlight"];
  if (!backlight.is_object()) backlight = Json::object();
  backlight["value"] = value;
  registry_.backlightMessage(platform::kMessageServicePropertyChange);
}

void SimDevice::writeFiles(const Json& files) {
  for (const auto& [path, content] : files.items()) {
    std::filesystem::path host = posix_.hostPath(path);
    std::filesystem::create_directories(host.parent_path());
    const std::string& text = content.get_ref<const std::string&>();
    Status written =
        posix_.createFile(path, {reinterpret_cast<const uint8_t*>(text.data()), text.size()}, 0644);
    if (!written.ok()) throw std::runtime_error("cannot write " + path + ": " + written.message());
  }
}

Json SimDevice::saveState() const {
  Json states = Json::object();
  for (const auto& [name, state] : notifications_.states()) states[name] = state;
  return Json{{"device", data_.json()},
              {"elapsed_ns", scheduler_.elapsedNanoseconds()},
              {"named_states", states}};
}

std::unique_ptr<SimDevice> SimDevice::restore(const Json& state, std::string sandbox) {
  Json device = state.at("device");
  device.erase("files");  // already in the sandbox; rewriting would undo the module's changes
  auto restored = std::make_unique<SimDevice>(device, std::move(sandbox));
  restored->scheduler_.advanceTo(state.at("elapsed_ns").get<int64_t>());
  std::map<std::string, uint64_t> states;
  for (const auto& [name, value] : state.at("named_states").items()) {
    states[name] = value.get<uint64_t>();
  }
  restored->notifications_.restoreStates(std::move(states));
  return restored;
}

}  // namespace tl::sim
