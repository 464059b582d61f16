// OutputSink: what receives everything the module sends out of a device: statistics, log lines,
// IPC messages, power acknowledgements and crash reports.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "platform/device_moment.h"
#include "platform/ipc.h"
#include "platform/statistics_client.h"

namespace tl::platform {

// Receives each output as it happens, stamped by the device with the moment it left. Every
// argument is only valid during the call.
class OutputSink {
 public:
  virtual ~OutputSink() = default;
  virtual void scalar(const DeviceMoment& moment, std::string_view key, int64_t value) {}
  virtual void distribution(const DeviceMoment& moment, std::string_view key, double value) {}
  virtual void batch(const DeviceMoment& moment, const KeyValues* first, const KeyValues* second) {}
  virtual void log(const DeviceMoment& moment, std::string_view line) {}
  virtual void ipc(const DeviceMoment& moment, const std::string& service,
                   const WispObject& message) {}
  virtual void powerAck(const DeviceMoment& moment, intptr_t id) {}
  virtual void simCrash(const DeviceMoment& moment, uint32_t code, const std::string& reason) {}
};

}  // namespace tl::platform
