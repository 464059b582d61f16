// Conversions between JSON and the platform's property-list values.
#pragma once

#include <nlohmann/json.hpp>
#include <string_view>

#include "platform/value.h"

namespace tl::host {

using Json = nlohmann::json;

// JSON integers stay integers, so that a battery's "Voltage": 3800 reads as an integer, as the
// registry's numbers do; integers above the signed 64-bit range stay unsigned.
platform::Value ToValue(const Json& json);
// Objects in a value are written as what they describe.
Json ToJson(const platform::Value& value);

// How deeply trace and configuration lines may nest arrays and objects. Parsing is iterative,
// but converting, copying and printing a parsed value recurse once per level, so the depth is
// checked on the text before it is parsed.
inline constexpr int kMaxJsonNesting = 100;
// Whether text nests arrays and objects deeper than limit; brackets inside strings do not count.
bool NestsDeeperThan(std::string_view text, int limit);

}  // namespace tl::host
