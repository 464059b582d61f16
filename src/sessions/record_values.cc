// Conversions of record elements, with the rules of boxed numbers and of text.
#include "sessions/record_values.h"

#include <cctype>
#include <cmath>
#include <limits>

namespace tl::sessions {

namespace {

int64_t Truncated(double d) {
  if (std::isnan(d)) return 0;
  if (d >= 9.2233720368547758e18) return std::numeric_limits<int64_t>::max();
  if (d <= -9.2233720368547758e18) return std::numeric_limits<int64_t>::min();
  return static_cast<int64_t>(d);
}

int64_t NumberValue(const nlohmann::json& e) {
  if (e.is_boolean()) return e.get<bool>() ? 1 : 0;
  if (e.is_number_float()) return Truncated(e.get<double>());
  if (e.is_number_unsigned()) return static_cast<int64_t>(e.get<uint64_t>());
  return e.get<int64_t>();
}

// Leading white space, an optional sign, then digits; anything else ends the number. Out of
// range values saturate.
int64_t TextIntegerValue(const std::string& text) {
  size_t i = 0;
  while (i < text.size() && std::isspace(static_cast<unsigned char>(text[i]))) ++i;
  bool negative = false;
  if (i < text.size() && (text[i] == '+' || text[i] == '-')) negative = text[i++] == '-';
  uint64_t magnitude = 0;
  bool saturated = false;
  for (; i < text.size() && std::isdigit(static_cast<unsigned char>(text[i])); ++i) {
    uint64_t digit = text[i] - '0';
    if (magnitude > (std::numeric_limits<uint64_t>::max() - digit) / 10) saturated = true;
    if (!saturated) magnitude = magnitude * 10 + digit;
  }
  constexpr uint64_t kMax = std::numeric_limits<int64_t>::max();
  if (negative) {
    return saturated || magnitude > kMax ? std::numeric_limits<int64_t>::min()
                                         : -static_cast<int64_t>(magnitude);
  }
  return saturated || magnitude > kMax ? std::numeric_limits<int64_t>::max()
                                       : static_cast<int64_t>(magnitude);
}

// Leading white space, an optional sign and zeros, then Y, y, T, t or a digit 1-9 means true.
bool TextBoolValue(const std::string& text) {
  size_t i = 0;
  while (i < text.size() && std::isspace(static_cast<unsigned char>(text[i]))) ++i;
  if (i < text.size() && (text[i] == '+' || text[i] == '-')) ++i;
  while (i < text.size() && text[i] == '0') ++i;
  if (i == text.size()) return false;
  char c = text[i];
  return c == 'Y' || c == 'y' || c == 'T' || c == 't' || (c >= '1' && c <= '9');
}

}  // namespace

bool IsNumber(const nlohmann::json& e) { return e.is_number() || e.is_boolean(); }

std::optional<int64_t> IntegerValue(const nlohmann::json& e) {
  if (IsNumber(e)) return NumberValue(e);
  if (e.is_string()) return TextIntegerValue(e.get_ref<const std::string&>());
  return std::nullopt;
}

std::optional<bool> BoolValue(const nlohmann::json& e) {
  if (e.is_boolean()) return e.get<bool>();
  if (e.is_number_float()) return e.get<double>() != 0.0;
  if (e.is_number()) return NumberValue(e) != 0;
  if (e.is_string()) return TextBoolValue(e.get_ref<const std::string&>());
  return std::nullopt;
}

std::optional<uint32_t> UnsignedValue(const nlohmann::json& e) {
  if (!IsNumber(e)) return std::nullopt;
  return static_cast<uint32_t>(NumberValue(e));
}

}  // namespace tl::sessions
