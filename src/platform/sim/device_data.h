// DeviceData: the simulated device's description: its documented fields, their defaults and
// their validation.
#pragma once

#include <nlohmann/json.hpp>
#include <optional>
#include <string>

#include "platform/value.h"

namespace tl::sim {

using Json = nlohmann::json;

// The fields of a device line or a set action. Every field is optional; absent ones keep their
// default (see docs/TRACES.md).
class DeviceData {
 public:
  DeviceData();

  // An error naming the first offending field, or nullopt when fields (an object) is a valid
  // set of device fields. Nothing is applied.
  static std::optional<std::string> validate(const Json& fields);
  // Replaces each named field; fields must have passed validate().
  void apply(const Json& fields);

  const Json& json() const { return data_; }
  // For changing the data in place; counts as a change.
  Json& mutableJson() {
    ++generation_;
    return data_;
  }
  const Json& field(const char* name) const { return data_.at(name); }
  // Grows with every change, so that answers derived from the data can be kept until then.
  uint64_t generation() const { return generation_; }

  static Json defaults();

 private:
  Json data_;
  uint64_t generation_ = 0;
};

// Conversions between trace JSON and platform values. JSON integers stay integers, so that a
// battery's "Voltage": 3800 reads as an integer as the registry's numbers do.
platform::Value ToValue(const Json& json);
Json ToJson(const platform::Value& value);

// Error text for one value of a field or action, or nullopt when it is of the documented shape.
std::optional<std::string> ValidateProxy(const Json& proxy);
std::optional<std::string> ValidateCounters(const Json& counters);

}  // namespace tl::sim
