// Fuzzes /proc/net: the protocol counters of snmp and netstat, the packet statistics mapped from
// them, and the interface of the default route. A counter is read whole or not at all.
#include <cstddef>
#include <cstdint>

#include "platform/linux/power/proc_net.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::string_view text(reinterpret_cast<const char*>(data), size);
  tl::linuxdev::ProtocolCounters counters;
  tl::linuxdev::ParseProtocolCounters(text, counters);
  tl::linuxdev::MapPacketStatistics(counters);
  const std::string interface = tl::linuxdev::DefaultRouteInterface(text);
  if (interface.find_first_of(" \t\n") != std::string::npos) __builtin_trap();
  return 0;
}
