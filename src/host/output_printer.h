// OutputPrinter: the replay's output lines, one JSON object a line in the order things happen.
#pragma once

#include <cstdio>
#include <nlohmann/json.hpp>

#include "platform/notification_center.h"
#include "platform/output_sink.h"

namespace tl::host {

// Integers print without a decimal point, doubles with one; every line starts with its "at".
class OutputPrinter : public platform::OutputSink {
 public:
  explicit OutputPrinter(std::FILE* out) : out_(out) {}

  void scalar(double at, std::string_view key, int64_t value) override;
  void distribution(double at, std::string_view key, double value) override;
  void batch(double at, const platform::KeyValues* first,
             const platform::KeyValues* second) override;
  void log(double at, std::string_view line) override;
  void ipc(double at, const std::string& service, const platform::WispObject& message) override;
  void powerAck(double at, intptr_t id) override;
  void simCrash(double at, uint32_t code, const std::string& reason) override;
  // A posted in-process notification, for replays that show them.
  void notification(double at, const platform::Notification& notification);

 private:
  void emit(const nlohmann::ordered_json& line);

  std::FILE* out_;
};

// An IPC value as JSON: dictionaries, arrays, integers and strings as such, UUIDs as text.
nlohmann::ordered_json WispToJson(const platform::WispObject& object);

}  // namespace tl::host
