// TestDevice: a simulated device described in the trace's JSON, recording what it sends out.
#pragma once

#include <string>

#include "host/trace/trace_format.h"
#include "platform/sim/sim_device.h"
#include "recorder.h"

namespace tl::testing {

using Json = nlohmann::json;

// Device fields in the trace's form ({"battery": {...}, "apps": [...]}); invalid ones throw.
inline sim::DeviceFields Fields(const Json& fields) { return host::DeviceFieldsFromJson(fields); }

inline platform::RSApplicationProxy Proxy(const Json& proxy) {
  platform::RSApplicationProxy parsed;
  if (auto error = host::ParseProxy(proxy, &parsed)) throw std::invalid_argument(*error);
  return parsed;
}

inline sim::CounterChanges Counters(const Json& counters) {
  sim::CounterChanges parsed;
  if (auto error = host::ParseCounters(counters, &parsed)) throw std::invalid_argument(*error);
  return parsed;
}

// A dictionary in the trace's form.
inline platform::Dictionary DictionaryOf(const Json& dictionary) {
  return *host::ToValue(dictionary).dictionary();
}

inline sim::DeviceState StateOf(const sim::DeviceFields& fields) {
  sim::DeviceState state;
  fields.applyTo(state);
  return state;
}

class TestDevice : public sim::SimDevice {
 public:
  explicit TestDevice(const Json& fields = Json::object()) : TestDevice(Fields(fields)) {}
  explicit TestDevice(const sim::DeviceFields& fields)
      : SimDevice(StateOf(fields), "", fields.files) {
    outputs().addSink(recorded_);
  }
  ~TestDevice() override { outputs().removeSink(recorded_); }

  // Everything the device sent out so far.
  Recorder& recorded() { return recorded_; }

  void set(const Json& fields) { SimDevice::set(Fields(fields)); }

 private:
  Recorder recorded_;
};

}  // namespace tl::testing
