// Value: the property-list data the platform hands over (dictionaries, arrays, numbers, ...).
#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

namespace tl::platform {

class Value;
using Array = std::vector<Value>;
using Dictionary = std::map<std::string, Value, std::less<>>;
using Bytes = std::vector<uint8_t>;

// An object carried by reference inside a value, such as a battery snapshot in a
// notification's user info. It describes itself as plain data for logs and traces.
class Object {
 public:
  virtual ~Object() = default;
  virtual Value describe() const = 0;
  // The dictionary describe() would copy, lent for as long as the object lives unchanged; nullptr
  // when the object is not described by a dictionary it holds.
  virtual const Dictionary* describedDictionary() const { return nullptr; }
};

// A property-list value. Numbers keep their kind (integer, unsigned, double) the way the
// platform's boxed numbers do, and answer the ordinary number conversions.
class Value {
 public:
  using Storage = std::variant<std::monostate, bool, int64_t, uint64_t, double, std::string, Bytes,
                               Array, Dictionary, std::shared_ptr<const Object>>;

  Value() = default;
  Value(std::nullptr_t) {}
  Value(bool v) : storage_(v) {}
  Value(int v) : storage_(int64_t{v}) {}
  Value(long v) : storage_(int64_t{v}) {}
  Value(long long v) : storage_(int64_t{v}) {}
  Value(unsigned v) : storage_(int64_t{v}) {}
  Value(unsigned long v) : storage_(uint64_t{v}) {}
  Value(unsigned long long v) : storage_(uint64_t{v}) {}
  Value(double v) : storage_(v) {}
  Value(const char* v) : storage_(std::string(v)) {}
  Value(std::string v) : storage_(std::move(v)) {}
  Value(std::string_view v) : storage_(std::string(v)) {}
  Value(Bytes v) : storage_(std::move(v)) {}
  Value(Array v) : storage_(std::move(v)) {}
  Value(Dictionary v) : storage_(std::move(v)) {}
  Value(std::shared_ptr<const Object> v) : storage_(std::move(v)) {}

  bool isNull() const { return std::holds_alternative<std::monostate>(storage_); }
  bool isBool() const { return std::holds_alternative<bool>(storage_); }
  // Booleans count as numbers, as boxed booleans do.
  bool isNumber() const;
  bool isInteger() const;
  bool isString() const { return std::holds_alternative<std::string>(storage_); }
  bool isBytes() const { return std::holds_alternative<Bytes>(storage_); }
  bool isArray() const { return std::holds_alternative<Array>(storage_); }
  bool isDictionary() const { return std::holds_alternative<Dictionary>(storage_); }
  bool isObject() const { return std::holds_alternative<std::shared_ptr<const Object>>(storage_); }

  // The ordinary conversions of a boxed number; anything else converts to 0 / false.
  double doubleValue() const;
  int64_t longLongValue() const;
  uint64_t unsignedLongLongValue() const;
  int32_t intValue() const { return static_cast<int32_t>(longLongValue()); }
  bool boolValue() const;

  // Typed access; nullptr when the value is of another kind.
  const std::string* string() const { return std::get_if<std::string>(&storage_); }
  const Bytes* bytes() const { return std::get_if<Bytes>(&storage_); }
  const Array* array() const { return std::get_if<Array>(&storage_); }
  const Dictionary* dictionary() const { return std::get_if<Dictionary>(&storage_); }
  Array* array() { return std::get_if<Array>(&storage_); }
  Dictionary* dictionary() { return std::get_if<Dictionary>(&storage_); }
  const Object* object() const;
  std::shared_ptr<const Object> sharedObject() const;

  // The entry under key when this is a dictionary holding it.
  const Value* find(std::string_view key) const;

  const Storage& storage() const { return storage_; }
  friend bool operator==(const Value& a, const Value& b);

 private:
  Storage storage_;
};

// The entry under key of a dictionary, or nullptr.
const Value* Find(const Dictionary& dictionary, std::string_view key);

}  // namespace tl::platform
