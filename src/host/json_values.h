// Conversions between JSON and the platform's property-list values.
#pragma once

#include <nlohmann/json.hpp>

#include "platform/value.h"

namespace tl::host {

using Json = nlohmann::json;

// JSON integers stay integers, so that a battery's "Voltage": 3800 reads as an integer, as the
// registry's numbers do; integers above the signed 64-bit range stay unsigned.
platform::Value ToValue(const Json& json);
// Objects in a value are written as what they describe.
Json ToJson(const platform::Value& value);

}  // namespace tl::host
