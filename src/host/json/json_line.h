// JsonLine: one compact JSON object written straight into a text buffer, byte for byte as the
// JSON library prints it, without building a JSON value first.
#pragma once

#include <cstdint>
#include <nlohmann/json.hpp>
#include <string>
#include <string_view>

#include "base/address_cache.h"
#include "platform/value.h"

namespace tl::host {

// The written form of member names (,"name":), remembered by the address of the name's text: a
// batch line repeats sixty long key names from the same place every time, and checking each for
// escapes costs more than comparing it with the name last seen there. The bytes are always
// compared, so a name at an address used before is still written right.
class JsonNameCache {
 public:
  // The name as a member that follows another: comma, quoted name, colon.
  std::string_view written(std::string_view name);

 private:
  struct Slot {
    const char* text = nullptr;
    std::string name;
    std::string written;
  };
  AddressCache<Slot, 512> slots_;
};

// Members are written in the order they are given. Numbers, booleans, null and plain strings are
// written directly; anything else (escapes, bytes, arrays, objects in values) goes through the
// library, so that the bytes are always the library's.
class JsonLine {
 public:
  // Starts the object at the end of text; member names go through names when given.
  explicit JsonLine(std::string& text, JsonNameCache* names = nullptr);

  JsonLine& key(std::string_view name);
  JsonLine& string(std::string_view text);
  JsonLine& integer(int64_t value);
  JsonLine& number(double value);
  // A whole number of seconds prints as an integer, any other as a double.
  JsonLine& seconds(double value);
  JsonLine& value(const platform::Value& value);
  // A dictionary as an object, its keys in order; nullptr prints as null.
  JsonLine& dictionary(const platform::Dictionary* dictionary);
  JsonLine& json(const nlohmann::ordered_json& value);
  JsonLine& beginObject();
  JsonLine& endObject();
  // Closes the object and ends the line.
  void finish();

 private:
  void separate();

  std::string& text_;
  JsonNameCache* names_;
  bool needsComma_ = false;
};

}  // namespace tl::host
