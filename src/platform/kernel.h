// Kernel: process, multi-user, network-interface and named kernel queries.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

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

// The sysctl calls follow the kernel's contract: 0 on success, -1 with errno set on failure;
// with a null buffer they report the size needed in *length.
class Kernel {
 public:
  virtual ~Kernel() = default;
  virtual int sysctl(std::span<const int> name, void* buffer, size_t* length) = 0;
  virtual int sysctlByName(std::string_view name, void* buffer, size_t* length) = 0;
  // 0 on success.
  virtual int processResourceUsage(int32_t pid, int flavor, ResourceUsageV0* out) = 0;
  // 0 on success, with *flag non-zero when the device runs in multi-user mode.
  virtual int multiUserMode(int* flag) = 0;
  // nullopt when the list cannot be had.
  virtual std::optional<std::vector<InterfaceAddress>> interfaceAddresses() = 0;
  // 0 for an unknown interface.
  virtual unsigned interfaceIndex(const std::string& name) = 0;
  virtual int32_t processId() = 0;
};

}  // namespace tl::platform
