// The counter names of the packet-statistics block, by index; the reserved ones have none.
#include "platform/sim/packet_counters.h"

#include <array>
#include <charconv>

namespace tl::sim {

namespace {
constexpr std::array<std::string_view, 32> kNames = {"tcpBadFormat",
                                                     "tcpUnspecv6",
                                                     "tcpSynFin",
                                                     "tcpBadFormatIPSec",
                                                     "tcpNoConnNoList",
                                                     "tcpNoConnList",
                                                     "tcpListBadSyn",
                                                     "tcpICMP6Unreach",
                                                     "tcpDeprecate6",
                                                     "tcpRstInSynRcv",
                                                     "tcpOOOPkt",
                                                     "tcpDOSPkt",
                                                     "tcpCleanup",
                                                     "tcpSynWindow",
                                                     "",
                                                     "",
                                                     "",
                                                     "",
                                                     "",
                                                     "",
                                                     "udpPortUnreach",
                                                     "udpFaithPrefix",
                                                     "udpPort0",
                                                     "udpBadLength",
                                                     "udpBadChksum",
                                                     "udpBadMcast",
                                                     "udpCleanup",
                                                     "udpBadIPSec",
                                                     "",
                                                     "",
                                                     "",
                                                     ""};
}  // namespace

std::optional<int> PacketCounterIndex(std::string_view name) {
  int index = 0;
  auto [end, error] = std::from_chars(name.data(), name.data() + name.size(), index);
  if (error == std::errc() && end == name.data() + name.size() && !name.empty()) {
    if (index >= 0 && index < static_cast<int>(kNames.size())) return index;
    return std::nullopt;
  }
  for (size_t i = 0; i < kNames.size(); ++i) {
    if (!kNames[i].empty() && kNames[i] == name) return static_cast<int>(i);
  }
  return std::nullopt;
}

}  // namespace tl::sim
