// The value requests that elements of a parsed record answer: numbers and booleans as boxed
// numbers do, strings as text does (leading digits for integers, a leading Y, T or 1-9 for true).
#pragma once

#include <cstdint>
#include <nlohmann/json.hpp>
#include <optional>

#include "platform/value.h"

namespace tl::sessions {

// JSON true and false are boxed numbers too.
bool IsNumber(const nlohmann::json& element);
// Numbers, booleans and strings answer an integer request.
std::optional<int64_t> IntegerValue(const nlohmann::json& element);
// Numbers, booleans and strings answer a boolean request.
std::optional<bool> BoolValue(const nlohmann::json& element);
// Only numbers and booleans answer an unsigned request.
std::optional<uint32_t> UnsignedValue(const nlohmann::json& element);

// A number or boolean element as a boxed number of its own kind (5 stays an integer, 5.5 a
// double, true a boolean); nullopt for anything else.
std::optional<tl::platform::Value> NumberOf(const nlohmann::json& element);
// A value as JSON of its own kind; nullopt for what JSON cannot carry (bytes, objects).
std::optional<nlohmann::json> JsonOf(const tl::platform::Value& value);

}  // namespace tl::sessions
