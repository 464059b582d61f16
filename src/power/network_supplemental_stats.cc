// Network supplemental statistics: per-interface packet-error counters, reported daily as the
// growth since the previous reading.
#include <cstring>

#include "platform/packet_counters.h"
#include "platform/platform.h"
#include "platform/statistics_keys.h"
#include "power/tl_power_event_listener.h"

namespace {

using tl::platform::kPacketCounters;

uint64_t CounterAt(const std::vector<uint8_t>& record, int index) {
  uint64_t value;
  std::memcpy(&value, record.data() + index * sizeof value, sizeof value);
  return value;
}

}  // namespace

void TLPowerEventListener::logSupStats() {
  std::vector<tl::platform::InterfaceAddress> addresses;
  if (!tl::platform::Current().kernel().interfaceAddresses(&addresses).ok()) return;
  // Each interface has one link-layer entry, so each is reported once.
  for (const auto& address : addresses) {
    if (address.hasAddress && address.hasData &&
        !(address.flags & tl::platform::kInterfaceFlagLoopback) &&
        address.family == tl::platform::kAddressFamilyLink) {
      logNetworkSupplementalStatsForInterface(address.name.c_str());
    }
  }
}

std::shared_ptr<std::vector<uint8_t>> TLPowerEventListener::getCurrentSupplementalDataForInterface(
    const char* name) {
  auto& kernel = tl::platform::Current().kernel();
  const unsigned index = kernel.interfaceIndex(name);  // 0 for an unknown name: the read fails
  const int mib[] = {tl::platform::kCtlNet,         tl::platform::kAddressFamilyLink,
                     tl::platform::kNetLinkGeneric, tl::platform::kIfmibIfData,
                     static_cast<int>(index),       tl::platform::kIfdataSupplemental};
  uint8_t data[tl::platform::kInterfaceSupplementalSize] = {};
  size_t length = sizeof data;
  if (kernel.sysctl(mib, data, &length) == -1) return nullptr;
  const uint8_t* block = data + tl::platform::kPacketStatisticsOffset;
  return std::make_shared<std::vector<uint8_t>>(block, block + tl::platform::kPacketStatisticsSize);
}

void TLPowerEventListener::validateCurrentStatistics(const std::vector<uint8_t>& current,
                                                     std::vector<uint8_t>& withPrevious) {
  // Only the reported counters are compared: the reserved ones may do as they like.
  for (const auto& counter : kPacketCounters) {
    if (CounterAt(withPrevious, counter.index) > CounterAt(current, counter.index)) {
      // A counter went back (the interface was made anew): all of the current value is growth.
      TLLog("Network Supplemental Stats <ERROR>: Zeroing previous stats");
      std::fill(withPrevious.begin(), withPrevious.end(), 0);
      return;
    }
  }
}

void TLPowerEventListener::logNetworkSupplementalStatsForInterface(const char* name) {
  auto current = getCurrentSupplementalDataForInterface(name);
  if (!current) {
    TLLog("Network Supplemental Stats: Failed to get current statistics for interface: %s", name);
    return;  // the stored reading is kept
  }
  const std::string key = name;
  auto previous = prev_ifmsupp_pstats.find(key);
  if (previous != prev_ifmsupp_pstats.end()) {
    std::vector<uint8_t>& before = *previous->second;
    validateCurrentStatistics(*current, before);
    tl::platform::KeyValues growth;
    for (const auto& counter : kPacketCounters) {
      const uint64_t now = CounterAt(*current, counter.index);
      const uint64_t then = CounterAt(before, counter.index);
      if (now == then) continue;
      char counterKey[128];
      std::snprintf(counterKey, sizeof counterKey, "%s%s.%.*s", tl::platform::kNetstatsKeyPrefix,
                    name, static_cast<int>(counter.suffix.size()), counter.suffix.data());
      growth.emplace(counterKey, tl::platform::Value(static_cast<unsigned long long>(now - then)));
    }
    if (!growth.empty()) TLClientBatchKeys(&growth, nullptr);
  }
  prev_ifmsupp_pstats[key] = std::move(current);  // also the first reading, which reports nothing
}
