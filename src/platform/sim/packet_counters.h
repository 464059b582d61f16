// The names by which traces address the 32 packet-statistics counters of an interface.
#pragma once

#include <optional>
#include <string_view>

namespace tl::sim {

// The index of a counter named by its key suffix ("tcpOOOPkt") or by its index ("14"), or
// nullopt. The reserved counters have only their index.
std::optional<int> PacketCounterIndex(std::string_view name);

}  // namespace tl::sim
