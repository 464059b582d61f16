// The names by which traces address the 32 packet-statistics counters of an interface.
#pragma once

#include <optional>
#include <string_view>

namespace tl::sim {

// The index of a counter named by its suffix ("tcpOOOPkt") or by its index ("14"), or nullopt.
std::optional<int> PacketCounterIndex(std::string_view name);

}  // namespace tl::sim
