// OutputWriter: the replay's output lines, and the statistics the host daemon stores.
#pragma once

#include <cstdio>
#include <functional>
#include <nlohmann/json.hpp>
#include <string>

#include "host/stats_store.h"
#include "platform/notification_center.h"
#include "platform/sim/device_data.h"
#include "platform/sim/sim_outputs.h"

namespace tl::host {

// Writes one JSON object a line, in the order things happen, and plays the statistics daemon:
// scalar adds and distribution pushes go into the store under the device's local day.
class OutputWriter : public sim::OutputSink {
 public:
  OutputWriter(std::FILE* out, StatsStore& store, std::function<std::string()> localDay);

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
  StatsStore& store_;
  std::function<std::string()> localDay_;
};

// An IPC value as JSON: dictionaries, arrays, integers and strings as such, UUIDs as text.
nlohmann::ordered_json WispToJson(const platform::WispObject& object);

}  // namespace tl::host
