// Counter names: the reported counters' key suffixes, or any index of the block.
#include "platform/sim/packet_counters.h"

#include <charconv>

#include "platform/kernel.h"
#include "platform/packet_counters.h"

namespace tl::sim {

std::optional<int> PacketCounterIndex(std::string_view name) {
  int index = 0;
  auto [end, error] = std::from_chars(name.data(), name.data() + name.size(), index);
  if (error == std::errc() && end == name.data() + name.size() && !name.empty()) {
    if (index >= 0 && index < static_cast<int>(platform::kPacketStatisticsCounters)) return index;
    return std::nullopt;
  }
  for (const platform::PacketCounter& counter : platform::kPacketCounters) {
    if (counter.suffix == name) return counter.index;
  }
  return std::nullopt;
}

}  // namespace tl::sim
