// Kernel: process, multi-user, network-interface and named kernel queries.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "base/status.h"

namespace tl::platform {

// Numeric sysctl names the module reads.
inline constexpr int kCtlKern = 1;
inline constexpr int kKernProc = 14;
inline constexpr int kKernProcPid = 1;
inline constexpr int kCtlNet = 4;
inline constexpr int kAddressFamilyLink = 18;
inline constexpr int kNetLinkGeneric = 0;
inline constexpr int kIfmibIfData = 2;
inline constexpr int kIfdataSupplemental = 5;

// The kernel's record of one process, as the process-table query returns it.
struct KernelProcessRecord {
  int32_t pid = 0;
  uint32_t flags = 0;
  char command[24] = {};
};
inline constexpr uint32_t kProcessFlag64BitAddressSpace = 4;

// The supplemental data of an interface: a header, then the packet statistics block of 32
// unsigned 64-bit counters, then reserved space.
inline constexpr size_t kInterfaceSupplementalSize = 640;
inline constexpr size_t kPacketStatisticsOffset = 288;
inline constexpr size_t kPacketStatisticsSize = 256;
inline constexpr size_t kPacketStatisticsCounters = kPacketStatisticsSize / sizeof(uint64_t);

// Resource usage of a process, version 0 of the record.
struct ResourceUsageV0 {
  uint8_t uuid[16] = {};  // of the main executable
  uint64_t userTime = 0;
  uint64_t systemTime = 0;
};
inline constexpr int kResourceUsageVersion0 = 0;

struct InterfaceAddress {
  std::string name;
  bool hasAddress = false;
  bool hasData = false;
  uint32_t flags = 0;
  int family = 0;
};
inline constexpr uint32_t kInterfaceFlagLoopback = 0x8;

// The sysctl, resource-usage and interface-index calls keep the kernel's own contracts, which the
// module's algorithms are written against: sysctl and processResourceUsage give 0 on success and
// -1 with errno set on failure (with a null buffer sysctl reports the size needed in *length);
// interfaceIndex gives 0 for an unknown name. The other queries report failure as a status.
class Kernel {
 public:
  // How a sysctl answers with bytes, for devices: for a null buffer the size needed in *length;
  // else the bytes, or ENOMEM with as many as fit when the buffer is short.
  static int SysctlAnswer(const void* bytes, size_t size, void* buffer, size_t* length);

  virtual ~Kernel() = default;
  virtual int sysctl(std::span<const int> name, void* buffer, size_t* length) = 0;
  virtual int sysctlByName(std::string_view name, void* buffer, size_t* length) = 0;
  virtual int processResourceUsage(int32_t pid, int flavor, ResourceUsageV0* out) = 0;
  // Whether the device runs in multi-user mode.
  virtual Status multiUserMode(bool* multiUser) = 0;
  // The system's interface addresses, one entry per address and interface.
  virtual Status interfaceAddresses(std::vector<InterfaceAddress>* out) = 0;
  virtual unsigned interfaceIndex(const std::string& name) = 0;
  virtual int32_t processId() = 0;
};

}  // namespace tl::platform
