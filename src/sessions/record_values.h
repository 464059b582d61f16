// The value requests that elements of a parsed record answer: numbers and booleans as boxed
// numbers do, strings as text does (leading digits for integers, a leading Y, T or 1-9 for true).
#pragma once

#include <cstdint>
#include <nlohmann/json.hpp>
#include <optional>

namespace tl::sessions {

// JSON true and false are boxed numbers too.
bool IsNumber(const nlohmann::json& element);
// Numbers, booleans and strings answer an integer request.
std::optional<int64_t> IntegerValue(const nlohmann::json& element);
// Numbers, booleans and strings answer a boolean request.
std::optional<bool> BoolValue(const nlohmann::json& element);
// Only numbers and booleans answer an unsigned request.
std::optional<uint32_t> UnsignedValue(const nlohmann::json& element);

}  // namespace tl::sessions
