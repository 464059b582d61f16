// WispObject: construction and access.
#include "platform/ipc.h"

namespace tl::platform {

namespace {
using EntryMap = std::map<std::string, WispRef>;
using ElementList = std::vector<WispRef>;
const EntryMap kNoEntries;
const ElementList kNoElements;
const std::string kNoString;
}  // namespace

WispRef WispObject::makeDictionary() {
  auto o = std::make_shared<WispObject>(Passkey{}, Type::kDictionary);
  o->data_ = EntryMap{};
  return o;
}

WispRef WispObject::makeArray() {
  auto o = std::make_shared<WispObject>(Passkey{}, Type::kArray);
  o->data_ = ElementList{};
  return o;
}

WispRef WispObject::makeInt64(int64_t value) {
  auto o = std::make_shared<WispObject>(Passkey{}, Type::kInt64);
  o->data_ = value;
  return o;
}

WispRef WispObject::makeString(std::string value) {
  auto o = std::make_shared<WispObject>(Passkey{}, Type::kString);
  o->data_ = std::move(value);
  return o;
}

WispRef WispObject::makeUuid(const Uuid& value) {
  auto o = std::make_shared<WispObject>(Passkey{}, Type::kUuid);
  o->data_ = value;
  return o;
}

WispRef WispObject::makeError(std::string description) {
  auto o = std::make_shared<WispObject>(Passkey{}, Type::kError);
  o->data_ = std::move(description);
  return o;
}

WispObject::Type WispObject::type() const { return type_; }

void WispObject::setInt64(const std::string& key, int64_t value) {
  setValue(key, makeInt64(value));
}
void WispObject::setString(const std::string& key, std::string value) {
  setValue(key, makeString(std::move(value)));
}
void WispObject::setUuid(const std::string& key, const Uuid& value) {
  setValue(key, makeUuid(value));
}
void WispObject::setValue(const std::string& key, WispRef value) {
  if (auto* entries = std::get_if<EntryMap>(&data_)) (*entries)[key] = std::move(value);
}

const WispObject* WispObject::get(const std::string& key) const {
  const auto* entries = std::get_if<EntryMap>(&data_);
  if (!entries) return nullptr;
  auto it = entries->find(key);
  return it == entries->end() ? nullptr : it->second.get();
}

const EntryMap& WispObject::entries() const {
  const auto* entries = std::get_if<EntryMap>(&data_);
  return entries ? *entries : kNoEntries;
}

void WispObject::append(WispRef value) {
  if (auto* elements = std::get_if<ElementList>(&data_)) elements->push_back(std::move(value));
}

size_t WispObject::count() const { return elements().size() + entries().size(); }

const ElementList& WispObject::elements() const {
  const auto* elements = std::get_if<ElementList>(&data_);
  return elements ? *elements : kNoElements;
}

int64_t WispObject::int64Value() const {
  const auto* v = std::get_if<int64_t>(&data_);
  return v ? *v : 0;
}

const std::string& WispObject::stringValue() const {
  const auto* v = std::get_if<std::string>(&data_);
  return v ? *v : kNoString;
}

Uuid WispObject::uuidValue() const {
  const auto* v = std::get_if<Uuid>(&data_);
  return v ? *v : Uuid{};
}

}  // namespace tl::platform
