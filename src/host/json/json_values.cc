// JSON to value and back.
#include "host/json/json_values.h"

#include <bit>
#include <cstdint>
#include <cstring>

namespace tl::host {

namespace {

// The opening brackets of text, eight bytes at a time: '{' (0x7B) and '[' (0x5B) differ only in
// the bit 0x20, so a byte is one of them exactly when, with that bit set, it is '{'.
int64_t OpeningBrackets(std::string_view text) {
  constexpr uint64_t kLows = 0x7F7F7F7F7F7F7F7F;
  constexpr uint64_t kCase = 0x2020202020202020;
  constexpr uint64_t kBrace = 0x7B7B7B7B7B7B7B7B;
  int64_t count = 0;
  const char* p = text.data();
  const char* end = p + text.size();
  for (; end - p >= 8; p += 8) {
    uint64_t w;
    std::memcpy(&w, p, sizeof w);
    const uint64_t x = (w | kCase) ^ kBrace;  // a zero byte for each bracket
    // The high bit of each zero byte, exactly (no borrow from one byte into the next).
    count += std::popcount(~(((x & kLows) + kLows) | x | kLows));
  }
  for (; p < end; ++p) count += (*p | 0x20) == '{';
  return count;
}

}  // namespace

bool NestsDeeperThan(std::string_view text, int limit) {
  // The depth never exceeds the number of opening brackets, and most lines hold a handful:
  // counting them is a quick pass that settles nearly every line.
  if (OpeningBrackets(text) <= limit) return false;
  int depth = 0;
  bool inString = false;
  for (size_t i = 0; i < text.size(); ++i) {
    const char c = text[i];
    if (inString) {
      if (c == '\\') {
        ++i;
      } else if (c == '"') {
        inString = false;
      }
    } else if (c == '"') {
      inString = true;
    } else if (c == '[' || c == '{') {
      if (++depth > limit) return true;
    } else if (c == ']' || c == '}') {
      --depth;
    }
  }
  return false;
}

platform::Value ToValue(const Json& json) {
  switch (json.type()) {
    case Json::value_t::null:
    case Json::value_t::discarded:
      return {};
    case Json::value_t::boolean:
      return json.get<bool>();
    case Json::value_t::number_integer:
      return json.get<int64_t>();
    case Json::value_t::number_unsigned: {
      uint64_t u = json.get<uint64_t>();
      if (u <= static_cast<uint64_t>(INT64_MAX)) return static_cast<int64_t>(u);
      return u;
    }
    case Json::value_t::number_float:
      return json.get<double>();
    case Json::value_t::string:
      return json.get<std::string>();
    case Json::value_t::binary:
      return platform::Bytes(json.get_binary().begin(), json.get_binary().end());
    case Json::value_t::array: {
      platform::Array array;
      array.reserve(json.size());
      for (const Json& element : json) array.push_back(ToValue(element));
      return array;
    }
    case Json::value_t::object: {
      platform::Dictionary dictionary;
      for (const auto& [key, element] : json.items()) dictionary.emplace(key, ToValue(element));
      return dictionary;
    }
  }
  return {};
}

Json ToJson(const platform::Value& value) {
  using platform::Value;
  return std::visit(
      [](const auto& v) -> Json {
        using T = std::decay_t<decltype(v)>;
        if constexpr (std::is_same_v<T, std::monostate>) {
          return nullptr;
        } else if constexpr (std::is_same_v<T, platform::Bytes>) {
          return Json::binary(v);
        } else if constexpr (std::is_same_v<T, platform::Array>) {
          Json array = Json::array();
          for (const Value& element : v) array.push_back(ToJson(element));
          return array;
        } else if constexpr (std::is_same_v<T, platform::Dictionary>) {
          Json object = Json::object();
          for (const auto& [key, element] : v) object[key] = ToJson(element);
          return object;
        } else if constexpr (std::is_same_v<T, std::shared_ptr<const platform::Object>>) {
          return v ? ToJson(v->describe()) : Json();
        } else {
          return v;
        }
      },
      value.storage());
}

}  // namespace tl::host
