// OutputPrinter: the replay's output lines, one JSON object a line in the order things happen.
#pragma once

#include <cstdio>
#include <nlohmann/json.hpp>

#include "host/json/json_line.h"
#include "platform/notification_center.h"
#include "platform/output_sink.h"

namespace tl::host {

// Integers print without a decimal point, doubles with one; every line starts with its "at". The
// lines are written directly, in the layout the JSON library's compact form has.
class OutputPrinter : public platform::OutputSink {
 public:
  explicit OutputPrinter(std::FILE* out) : out_(out) {}
  ~OutputPrinter() override;
  OutputPrinter(const OutputPrinter&) = delete;
  OutputPrinter& operator=(const OutputPrinter&) = delete;

  void scalar(const platform::DeviceMoment& moment, std::string_view key, int64_t value) override;
  void distribution(const platform::DeviceMoment& moment, std::string_view key,
                    double value) override;
  void batch(const platform::DeviceMoment& moment, const platform::KeyValues* first,
             const platform::KeyValues* second) override;
  void log(const platform::DeviceMoment& moment, std::string_view line) override;
  void ipc(const platform::DeviceMoment& moment, const std::string& service,
           const platform::WispObject& message) override;
  void powerAck(const platform::DeviceMoment& moment, intptr_t id) override;
  void simCrash(const platform::DeviceMoment& moment, uint32_t code,
                const std::string& reason) override;
  // A posted in-process notification, for replays that show them.
  void notification(double at, const platform::Notification& notification);
  // Hands the lines written so far to out (a batch line is 3 KiB: they go out 64 KiB at a time).
  void flush();

 private:
  static constexpr size_t kFlushAt = 64 * 1024;

  void emit();

  std::FILE* out_;
  std::string pending_;
  JsonNameCache names_;  // the batch lines' key names
};

// An IPC value as JSON: dictionaries, arrays, integers and strings as such, UUIDs as text.
nlohmann::ordered_json WispToJson(const platform::WispObject& object);

}  // namespace tl::host
