// Recorder: a sink that keeps everything the simulated device sends out, for tests to inspect.
#pragma once

#include <algorithm>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/sim/sim_outputs.h"

namespace tl::testing {

class Recorder : public platform::OutputSink {
 public:
  struct Scalar {
    double at;
    std::string key;
    int64_t value;
  };
  struct Distribution {
    double at;
    std::string key;
    double value;
  };
  struct Batch {
    double at;
    std::optional<platform::KeyValues> first;
    std::optional<platform::KeyValues> second;
  };
  struct Line {
    double at;
    std::string text;
  };
  struct Message {
    double at;
    std::string service;
    platform::WispRef message;
  };
  struct Crash {
    double at;
    uint32_t code;
    std::string reason;
  };

  void scalar(const platform::DeviceMoment& moment, std::string_view key, int64_t value) override {
    scalars_.push_back({moment.at, std::string(key), value});
  }
  void distribution(const platform::DeviceMoment& moment, std::string_view key,
                    double value) override {
    distributions_.push_back({moment.at, std::string(key), value});
  }
  void batch(const platform::DeviceMoment& moment, const platform::KeyValues* first,
             const platform::KeyValues* second) override {
    Batch batch{moment.at, {}, {}};
    if (first) batch.first = *first;
    if (second) batch.second = *second;
    batches_.push_back(std::move(batch));
  }
  void log(const platform::DeviceMoment& moment, std::string_view line) override {
    logs_.push_back({moment.at, std::string(line)});
  }
  void ipc(const platform::DeviceMoment& moment, const std::string& service,
           const platform::WispObject& message) override {
    // Messages are mutable objects: keep what was sent, not what the sender does with it later.
    messages_.push_back({moment.at, service, Copy(message)});
  }
  void powerAck(const platform::DeviceMoment& moment, intptr_t id) override { acks_.push_back(id); }
  void simCrash(const platform::DeviceMoment& moment, uint32_t code,
                const std::string& reason) override {
    crashes_.push_back({moment.at, code, reason});
  }

  const std::vector<Scalar>& scalars() const { return scalars_; }
  const std::vector<Distribution>& distributions() const { return distributions_; }
  const std::vector<Batch>& batches() const { return batches_; }
  const std::vector<Line>& logs() const { return logs_; }
  const std::vector<Message>& messages() const { return messages_; }
  const std::vector<intptr_t>& powerAcks() const { return acks_; }
  const std::vector<Crash>& crashes() const { return crashes_; }
  // Whether some log line equals text.
  bool logged(std::string_view text) const {
    return std::any_of(logs_.begin(), logs_.end(), [&](const Line& l) { return l.text == text; });
  }
  void clear() { *this = Recorder(); }

 private:
  static platform::WispRef Copy(const platform::WispObject& o) {
    using platform::WispObject;
    switch (o.type()) {
      case WispObject::Type::kDictionary: {
        auto copy = WispObject::makeDictionary();
        for (const auto& [key, value] : o.entries()) copy->setValue(key, Copy(*value));
        return copy;
      }
      case WispObject::Type::kArray: {
        auto copy = WispObject::makeArray();
        for (const auto& value : o.elements()) copy->append(Copy(*value));
        return copy;
      }
      case WispObject::Type::kInt64:
        return WispObject::makeInt64(o.int64Value());
      case WispObject::Type::kString:
        return WispObject::makeString(o.stringValue());
      case WispObject::Type::kUuid:
        return WispObject::makeUuid(o.uuidValue());
      case WispObject::Type::kError:
        return WispObject::makeError(o.stringValue());
    }
    return nullptr;
  }

  std::vector<Scalar> scalars_;
  std::vector<Distribution> distributions_;
  std::vector<Batch> batches_;
  std::vector<Line> logs_;
  std::vector<Message> messages_;
  std::vector<intptr_t> acks_;
  std::vector<Crash> crashes_;
};

}  // namespace tl::testing
