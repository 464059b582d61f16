// JsonLine: the direct writing of keys, strings and numbers, and the library for the rest.
#include "host/json/json_line.h"

#include <charconv>
#include <cmath>
#include <cstring>

#include "host/json/json_values.h"

namespace tl::host {

namespace {

// Whether a word holds a byte below n (n <= 128), above n (n <= 127), or equal to c.
constexpr uint64_t kOnes = 0x0101010101010101;
constexpr uint64_t kHighs = 0x8080808080808080;
constexpr uint64_t HasLess(uint64_t w, uint64_t n) { return (w - kOnes * n) & ~w & kHighs; }
constexpr uint64_t HasMore(uint64_t w, uint64_t n) {
  return ((w + kOnes * (127 - n)) | w) & kHighs;
}
constexpr uint64_t HasByte(uint64_t w, uint64_t c) { return HasLess(w ^ (kOnes * c), 1); }

bool IsPlainByte(unsigned char c) { return c >= 0x20 && c <= 0x7e && c != '"' && c != '\\'; }

// What the library prints unescaped: printable ASCII but the quote and the backslash. Keys are
// long and every batch repeats sixty of them, so they are looked at a word at a time.
bool IsPlain(std::string_view text) {
  const char* p = text.data();
  const char* end = p + text.size();
  for (; end - p >= 8; p += 8) {
    uint64_t w;
    std::memcpy(&w, p, sizeof w);
    if (HasLess(w, 0x20) | HasMore(w, 0x7e) | HasByte(w, '"') | HasByte(w, '\\')) return false;
  }
  for (; p < end; ++p) {
    if (!IsPlainByte(static_cast<unsigned char>(*p))) return false;
  }
  return true;
}

// Appends [begin, end) as a length: appending a pair of pointers takes the general path of
// std::string::replace, which costs more than the digits themselves.
void AppendRange(std::string& text, const char* begin, const char* end) {
  text.append(begin, static_cast<size_t>(end - begin));
}

void Dump(std::string& text, const nlohmann::ordered_json& value) {
  text += value.dump(-1, ' ', false, nlohmann::ordered_json::error_handler_t::replace);
}

// A string as the library writes it.
void AppendString(std::string& text, std::string_view value) {
  if (IsPlain(value)) {
    const size_t at = text.size();
    text.resize(at + value.size() + 2);
    char* out = text.data() + at;
    out[0] = '"';
    if (!value.empty()) std::memcpy(out + 1, value.data(), value.size());
    out[value.size() + 1] = '"';
  } else {
    Dump(text, nlohmann::ordered_json(std::string(value)));
  }
}

}  // namespace

std::string_view JsonNameCache::written(std::string_view name) {
  Slot& slot = slots_.find(name.data());
  if (slot.name != name || slot.written.empty()) {
    slot.name.assign(name);
    slot.written.clear();
    slot.written += ',';
    AppendString(slot.written, name);
    slot.written += ':';
  }
  return slot.written;
}

JsonLine::JsonLine(std::string& text, JsonNameCache* names) : text_(text), names_(names) {
  text_ += '{';
}

void JsonLine::separate() {
  if (needsComma_) text_ += ',';
  needsComma_ = true;
}

JsonLine& JsonLine::key(std::string_view name) {
  if (names_) {
    // The cached form starts with the comma; the first member leaves it out.
    std::string_view written = names_->written(name);
    if (!needsComma_) written.remove_prefix(1);
    text_ += written;
  } else {
    separate();
    AppendString(text_, name);
    text_ += ':';
  }
  needsComma_ = false;
  return *this;
}

JsonLine& JsonLine::string(std::string_view value) {
  AppendString(text_, value);
  needsComma_ = true;
  return *this;
}

JsonLine& JsonLine::integer(int64_t value) {
  char digits[24];
  AppendRange(text_, digits, std::to_chars(digits, digits + sizeof digits, value).ptr);
  needsComma_ = true;
  return *this;
}

JsonLine& JsonLine::number(double value) {
  if (!std::isfinite(value)) {
    text_ += "null";
  } else if (value == std::trunc(value) && std::fabs(value) < 1e15 && !std::signbit(value)) {
    // Most values are whole: the library writes those below 10^15 as their digits and ".0".
    char digits[24];
    AppendRange(text_, digits,
                std::to_chars(digits, digits + sizeof digits, static_cast<int64_t>(value)).ptr);
    text_ += ".0";
  } else {
    // The library's own shortest form, which differs from std::to_chars in where it switches
    // to an exponent and in keeping ".0" on whole numbers.
    char digits[64];
    AppendRange(text_, digits, nlohmann::detail::to_chars(digits, digits + sizeof digits, value));
  }
  needsComma_ = true;
  return *this;
}

JsonLine& JsonLine::seconds(double value) {
  if (value == std::trunc(value) && std::fabs(value) < 9e15) {
    return integer(static_cast<int64_t>(value));
  }
  return number(value);
}

JsonLine& JsonLine::value(const platform::Value& value) {
  const auto& storage = value.storage();
  if (const auto* i = std::get_if<int64_t>(&storage)) return integer(*i);
  if (const auto* d = std::get_if<double>(&storage)) return number(*d);
  if (const auto* b = std::get_if<bool>(&storage)) {
    text_ += *b ? "true" : "false";
  } else if (const auto* s = std::get_if<std::string>(&storage)) {
    return string(*s);
  } else if (const auto* d = std::get_if<platform::Dictionary>(&storage)) {
    return dictionary(d);
  } else if (std::holds_alternative<std::monostate>(storage)) {
    text_ += "null";
  } else {
    Dump(text_, nlohmann::ordered_json(ToJson(value)));
  }
  needsComma_ = true;
  return *this;
}

JsonLine& JsonLine::dictionary(const platform::Dictionary* dictionary) {
  if (!dictionary) {
    text_ += "null";
    needsComma_ = true;
    return *this;
  }
  beginObject();
  for (const auto& [name, entry] : *dictionary) key(name).value(entry);
  return endObject();
}

JsonLine& JsonLine::json(const nlohmann::ordered_json& value) {
  Dump(text_, value);
  needsComma_ = true;
  return *this;
}

JsonLine& JsonLine::beginObject() {
  text_ += '{';
  needsComma_ = false;
  return *this;
}

JsonLine& JsonLine::endObject() {
  text_ += '}';
  needsComma_ = true;
  return *this;
}

void JsonLine::finish() {
  text_ += "}\n";
  needsComma_ = false;
}

}  // namespace tl::host
