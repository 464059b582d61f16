// Helpers shared by the tests: a simulated device made current, and a counting module handle.
#pragma once

#include <string>
#include <vector>

#include "platform/module_handle.h"
#include "test_device.h"

namespace tl::testing {

// A simulated device in a sandbox of its own, current for the test's process.
class CurrentDevice {
 public:
  explicit CurrentDevice(const Json& fields = Json::object()) : device_(fields) {
    platform::MakeCurrent(&device_);
  }
  ~CurrentDevice() { platform::MakeCurrent(nullptr); }
  TestDevice& operator*() { return device_; }
  TestDevice* operator->() { return &device_; }

 private:
  TestDevice device_;
};

// A host's module handle that counts how often the module asks for its event queue.
class CountingHandle : public platform::ModuleHandle {
 public:
  explicit CountingHandle(sim::SimDevice& device)
      : device_(device),
        queue_(device.dispatch().createSerialQueue("host.events",
                                                   platform::QualityOfService::kDefault)) {}
  platform::Platform& platform() override { return device_; }
  platform::SerialQueue& eventQueue() override {
    ++queueRequests;
    return *queue_;
  }
  int queueRequests = 0;

 private:
  sim::SimDevice& device_;
  std::unique_ptr<platform::SerialQueue> queue_;
};

// The mode bits of a file, or -1 when it cannot be found.
inline int64_t Mode(platform::FileSystem& fs, const std::string& path) {
  platform::FileInfo info;
  return fs.stat(path, &info).ok() ? static_cast<int64_t>(info.mode) : -1;
}

inline bool Exists(platform::FileSystem& fs, const std::string& path) {
  return fs.stat(path, nullptr).ok();
}

// The texts of the device's log lines, in order.
inline std::vector<std::string> LogTexts(TestDevice& device) {
  std::vector<std::string> texts;
  for (const auto& line : device.recorded().logs()) texts.push_back(line.text);
  return texts;
}

}  // namespace tl::testing
