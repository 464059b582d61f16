// Conversions of record elements, with the rules of boxed numbers and of text.
#include "sessions/record_values.h"

#include <cctype>
#include <cmath>
#include <limits>

#include "base/saturated_cast.h"

namespace tl::sessions {

namespace {

// Each kind of value as JSON of the same kind.
struct ToJson {
  std::optional<nlohmann::json> operator()(std::monostate) const { return nlohmann::json(); }
  std::optional<nlohmann::json> operator()(bool b) const { return nlohmann::json(b); }
  std::optional<nlohmann::json> operator()(int64_t i) const { return nlohmann::json(i); }
  std::optional<nlohmann::json> operator()(uint64_t u) const { return nlohmann::json(u); }
  std::optional<nlohmann::json> operator()(double d) const { return nlohmann::json(d); }
  std::optional<nlohmann::json> operator()(const std::string& s) const { return nlohmann::json(s); }
  std::optional<nlohmann::json> operator()(const tl::platform::Array& array) const {
    nlohmann::json out = nlohmann::json::array();
    for (const auto& element : array) {
      auto converted = JsonOf(element);
      if (!converted) return std::nullopt;
      out.push_back(std::move(*converted));
    }
    return out;
  }
  std::optional<nlohmann::json> operator()(const tl::platform::Dictionary& dictionary) const {
    nlohmann::json out = nlohmann::json::object();
    for (const auto& [key, element] : dictionary) {
      auto converted = JsonOf(element);
      if (!converted) return std::nullopt;
      out[key] = std::move(*converted);
    }
    return out;
  }
  std::optional<nlohmann::json> operator()(const auto&) const { return std::nullopt; }
};

int64_t NumberValue(const nlohmann::json& e) {
  if (e.is_boolean()) return e.get<bool>() ? 1 : 0;
  if (e.is_number_float()) return tl::SaturatedCast<int64_t>(e.get<double>());
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

std::optional<tl::platform::Value> NumberOf(const nlohmann::json& e) {
  if (e.is_boolean()) return tl::platform::Value(e.get<bool>());
  if (e.is_number_float()) return tl::platform::Value(e.get<double>());
  if (e.is_number_unsigned()) return tl::platform::Value(e.get<uint64_t>());
  if (e.is_number_integer()) return tl::platform::Value(e.get<int64_t>());
  return std::nullopt;
}

std::optional<nlohmann::json> JsonOf(const tl::platform::Value& value) {
  return std::visit(ToJson{}, value.storage());
}

}  // namespace tl::sessions
