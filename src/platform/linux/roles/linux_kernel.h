// LinuxKernel: the kernel queries of the Linux device, from /proc, sysfs, getifaddrs and the
// executables' ELF headers.
#pragma once

#include <functional>
#include <string>

#include "platform/kernel.h"

namespace tl::linuxdev {

// What the sysctl names answer on Linux:
// - the process record of a pid: its command name, and the 64-bit flag from the ELF class of
//   /proc/PID/exe;
// - "hw.machine": the device-tree model, else the DMI product name, else uname's machine;
// - "kern.wakereason": the last wake's reason (see LogindSleep);
// - an interface's supplemental data: the packet statistics from /proc/net/snmp and
//   /proc/net/netstat for the interface of the default route, zeros for every other (Linux
//   counts them for the whole network namespace, so they are booked once).
// Resource usage gives the executable's build-id (its first 16 bytes) as its UUID and the
// process's user and system time in nanoseconds. A Linux phone runs one user: never multi-user.
class LinuxKernel : public platform::Kernel {
 public:
  LinuxKernel(std::string procRoot, std::string sysRoot, std::function<std::string()> wakeReason);

  int sysctl(std::span<const int> name, void* buffer, size_t* length) override;
  int sysctlByName(std::string_view name, void* buffer, size_t* length) override;
  int processResourceUsage(int32_t pid, int flavor, platform::ResourceUsageV0* out) override;
  Status multiUserMode(bool* multiUser) override;
  Status interfaceAddresses(std::vector<platform::InterfaceAddress>* out) override;
  unsigned interfaceIndex(const std::string& name) override;
  int32_t processId() override;

 private:
  int process(int32_t pid, void* buffer, size_t* length);
  int supplemental(unsigned index, void* buffer, size_t* length);
  std::string machine();

  std::string procRoot_;
  std::string sysRoot_;
  std::function<std::string()> wakeReason_;
};

}  // namespace tl::linuxdev
