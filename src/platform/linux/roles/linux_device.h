// LinuxDevice: every role of the platform on a Linux phone or laptop, with its sources and the
// one loop thread that owns their descriptors and bus connections.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "platform/cpu_usage.h"
#include "platform/linux/roles/settings.h"
#include "platform/output_sink.h"
#include "platform/platform.h"

namespace tl::linuxdev {

struct LinuxDeviceOptions {
  Settings settings;
  std::string stateDirectory;  // holds everything the module writes (see StatePathMap)
  std::string sysRoot = "/sys";
  std::string procRoot = "/proc";
  std::string osReleasePath = "/etc/os-release";
  // The daemon's own IPC services, whose messages go to the sink.
  std::vector<std::string> services;
};

// Construction reads every source once (blocking, on the calling thread) so that the module
// finds the present state at its start; start() runs the loop thread, after which the sources'
// changes arrive as the module's messages and notifications. Loop callbacks never run module
// code: they post to the queues the module registered with.
class LinuxDevice : public platform::Platform {
 public:
  // The device with its sources read, or why it cannot run (no event loop).
  static Status Create(LinuxDeviceOptions options, platform::OutputSink& sink,
                       std::unique_ptr<LinuxDevice>* device);
  struct Parts;
  class Key {
    friend class LinuxDevice;
    Key() = default;
  };
  LinuxDevice(Key, std::unique_ptr<Parts> parts);
  ~LinuxDevice() override;

  void start();
  // Stops the loop, then lets the queues finish what they hold; nothing arrives after this.
  void stop();

  // What the device found at construction, one line each ("battery: BAT0 (charge)", ...),
  // and the one line that says the power side is off, if it is.
  const std::vector<std::string>& findings() const;
  // Posts a system-wide named notification (the daemon's daily-report trigger).
  void post(const std::string& name, uint64_t state);

  platform::Clock& clock() override;
  platform::Dispatch& dispatch() override;
  platform::NamedNotifications& namedNotifications() override;
  platform::NotificationCenter& notificationCenter() override;
  platform::DeviceRegistry& registry() override;
  platform::SystemPower& systemPower() override;
  platform::Applications& applications() override;
  // Not the module's: what the daemon reads of each application's CPU at a power commit.
  platform::CpuUsage& cpuUsage();
  platform::ActivityScheduler& activities() override;
  platform::Kernel& kernel() override;
  platform::Environment& environment() override;
  platform::FileSystem& files() override;
  platform::Ipc& ipc() override;
  platform::MessageTransport& messages() override;
  platform::StatisticsClient& statistics() override;
  platform::SystemLog& log() override;

 private:
  std::unique_ptr<Parts> parts_;
};

}  // namespace tl::linuxdev
