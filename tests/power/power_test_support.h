// A power listener on a simulated device, with a record of the notifications it posts.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "platform/sim/sim_device.h"
#include "power/tl_power_event_listener.h"
#include "test_support.h"

namespace tl::testing {

class PowerTest {
 public:
  explicit PowerTest(const Json& device = Json::object()) : device_(device) {
    hostQueue_ =
        device_->dispatch().createSerialQueue("host", platform::QualityOfService::kDefault);
    observer_ =
        device_->notificationCenter().addObserver("", [this](const platform::Notification& n) {
          posted.push_back(n);
          ackCountAtPost.push_back(device_->recorded().powerAcks().size());
        });
    listener_ = TLPowerEventListener::initWithQueue(*hostQueue_);
    device_->runUntilIdle();
  }
  ~PowerTest() {
    listener_.reset();
    observer_.reset();
  }

  TestDevice& device() { return *device_; }
  TLPowerEventListener* listener() { return listener_.get(); }
  platform::SerialQueue& hostQueue() { return *hostQueue_; }
  std::vector<std::string> names() const {
    std::vector<std::string> all;
    for (const auto& n : posted) all.push_back(n.name);
    return all;
  }
  void at(double seconds) { device_->advanceTo(static_cast<int64_t>(seconds * 1e9 + 0.5)); }

  std::vector<platform::Notification> posted;
  std::vector<size_t> ackCountAtPost;  // acknowledgements made before each post

 private:
  CurrentDevice device_;
  std::unique_ptr<platform::SerialQueue> hostQueue_;
  std::unique_ptr<TLPowerEventListener> listener_;
  std::unique_ptr<platform::Registration> observer_;
};

}  // namespace tl::testing
