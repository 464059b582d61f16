// Value: conversions and comparison of property-list values.
#include "platform/value.h"

#include <cmath>

#include "base/saturated_cast.h"

namespace tl::platform {

namespace {

template <class... F>
struct Overload : F... {
  using F::operator()...;
};
template <class... F>
Overload(F...) -> Overload<F...>;

}  // namespace

bool Value::isNumber() const {
  return std::holds_alternative<bool>(storage_) || std::holds_alternative<int64_t>(storage_) ||
         std::holds_alternative<uint64_t>(storage_) || std::holds_alternative<double>(storage_);
}

bool Value::isInteger() const {
  return std::holds_alternative<int64_t>(storage_) || std::holds_alternative<uint64_t>(storage_);
}

double Value::doubleValue() const {
  return std::visit(Overload{[](bool b) { return b ? 1.0 : 0.0; },
                             [](int64_t i) { return static_cast<double>(i); },
                             [](uint64_t u) { return static_cast<double>(u); },
                             [](double d) { return d; }, [](const auto&) { return 0.0; }},
                    storage_);
}

int64_t Value::longLongValue() const {
  return std::visit(Overload{[](bool b) { return int64_t{b}; }, [](int64_t i) { return i; },
                             [](uint64_t u) { return static_cast<int64_t>(u); },
                             [](double d) { return SaturatedCast<int64_t>(d); },
                             [](const auto&) { return int64_t{0}; }},
                    storage_);
}

uint64_t Value::unsignedLongLongValue() const {
  return std::visit(
      Overload{[](bool b) { return uint64_t{b}; },
               [](int64_t i) { return static_cast<uint64_t>(i); }, [](uint64_t u) { return u; },
               [](double d) {
                 return d < 0 ? static_cast<uint64_t>(SaturatedCast<int64_t>(d))
                              : SaturatedCast<uint64_t>(d);
               },
               [](const auto&) { return uint64_t{0}; }},
      storage_);
}

bool Value::boolValue() const {
  return std::visit(Overload{[](bool b) { return b; }, [](int64_t i) { return i != 0; },
                             [](uint64_t u) { return u != 0; }, [](double d) { return d != 0.0; },
                             [](const auto&) { return false; }},
                    storage_);
}

const Object* Value::object() const {
  const auto* held = std::get_if<std::shared_ptr<const Object>>(&storage_);
  return held ? held->get() : nullptr;
}

std::shared_ptr<const Object> Value::sharedObject() const {
  const auto* held = std::get_if<std::shared_ptr<const Object>>(&storage_);
  return held ? *held : nullptr;
}

const Value* Value::find(std::string_view key) const {
  const Dictionary* d = dictionary();
  return d ? Find(*d, key) : nullptr;
}

const Value* Find(const Dictionary& dictionary, std::string_view key) {
  auto it = dictionary.find(key);
  return it == dictionary.end() ? nullptr : &it->second;
}

bool operator==(const Value& a, const Value& b) {
  // Numbers compare by value across kinds, as boxed numbers do.
  if (a.isNumber() && b.isNumber()) {
    if (a.isInteger() && b.isInteger()) {
      bool a_neg = std::holds_alternative<int64_t>(a.storage_) && a.longLongValue() < 0;
      bool b_neg = std::holds_alternative<int64_t>(b.storage_) && b.longLongValue() < 0;
      return a_neg == b_neg && a.unsignedLongLongValue() == b.unsignedLongLongValue();
    }
    return a.doubleValue() == b.doubleValue();
  }
  return a.storage_ == b.storage_;
}

}  // namespace tl::platform
