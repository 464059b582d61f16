// SimOutputs: recording and forwarding.
#include "platform/sim/sim_outputs.h"

#include <algorithm>

namespace tl::sim {

namespace {
// Messages are mutable objects; keep what was sent, not what the sender does with it later.
platform::WispRef Copy(const platform::WispObject& o) {
  using Type = platform::WispObject::Type;
  switch (o.type()) {
    case Type::kDictionary: {
      auto copy = platform::WispObject::makeDictionary();
      for (const auto& [key, value] : o.entries()) copy->setValue(key, Copy(*value));
      return copy;
    }
    case Type::kArray: {
      auto copy = platform::WispObject::makeArray();
      for (const auto& value : o.elements()) copy->append(Copy(*value));
      return copy;
    }
    case Type::kInt64:
      return platform::WispObject::makeInt64(o.int64Value());
    case Type::kString:
      return platform::WispObject::makeString(o.stringValue());
    case Type::kUuid:
      return platform::WispObject::makeUuid(o.uuidValue());
    case Type::kError:
      return platform::WispObject::makeError(o.stringValue());
  }
  return nullptr;
}
}  // namespace

void SimOutputs::addValueForScalarKey(std::string_view key, int64_t value) {
  double at = clock_();
  scalars_.push_back({at, std::string(key), value});
  if (sink_) sink_->scalar(at, key, value);
}

void SimOutputs::pushValueForDistributionKey(std::string_view key, double value) {
  double at = clock_();
  distributions_.push_back({at, std::string(key), value});
  if (sink_) sink_->distribution(at, key, value);
}

void SimOutputs::batchKeys(const platform::KeyValues* first, const platform::KeyValues* second) {
  double at = clock_();
  Batch batch{at, {}, {}};
  if (first) batch.first = *first;
  if (second) batch.second = *second;
  batches_.push_back(std::move(batch));
  if (sink_) sink_->batch(at, first, second);
}

void SimOutputs::write(std::string_view line) {
  double at = clock_();
  logs_.push_back({at, std::string(line)});
  if (sink_) sink_->log(at, line);
}

void SimOutputs::ipc(const std::string& service, const platform::WispObject& message) {
  double at = clock_();
  messages_.push_back({at, service, Copy(message)});
  if (sink_) sink_->ipc(at, service, message);
}

void SimOutputs::powerAck(intptr_t id) {
  acks_.push_back(id);
  if (sink_) sink_->powerAck(clock_(), id);
}

void SimOutputs::simCrash(uint32_t code, const std::string& reason) {
  double at = clock_();
  crashes_.push_back({at, code, reason});
  if (sink_) sink_->simCrash(at, code, reason);
}

bool SimOutputs::logged(std::string_view text) const {
  return std::any_of(logs_.begin(), logs_.end(), [&](const Line& l) { return l.text == text; });
}

void SimOutputs::clear() {
  scalars_.clear();
  distributions_.clear();
  batches_.clear();
  logs_.clear();
  messages_.clear();
  acks_.clear();
  crashes_.clear();
}

}  // namespace tl::sim
