// Network supplemental statistics: per-interface packet-error counters, reported daily as the
// growth since the previous reading.
#include <cstring>

#include "platform/platform.h"
#include "power/tl_power_event_listener.h"

namespace {

// The reported counters: index in the packet statistics block and the format of the key, with the
// interface name for %s. The reserved counters (14 to 19 and 28 to 31) are neither compared nor
// reported.
struct Counter {
  int index;
  const char* key;
};
constexpr Counter kCounters[] = {
    {0, "com.veltro.power.netstats.%s.tcpBadFormat"},
    {1, "com.veltro.power.netstats.%s.tcpUnspecv6"},
    {2, "com.veltro.power.netstats.%s.tcpSynFin"},
    {3, "com.veltro.power.netstats.%s.tcpBadFormatIPSec"},
    {4, "com.veltro.power.netstats.%s.tcpNoConnNoList"},
    {5, "com.veltro.power.netstats.%s.tcpNoConnList"},
    {6, "com.veltro.power.netstats.%s.tcpListBadSyn"},
    {7, "com.veltro.power.netstats.%s.tcpICMP6Unreach"},
    {8, "com.veltro.power.netstats.%s.tcpDeprecate6"},
    {9, "com.veltro.power.netstats.%s.tcpRstInSynRcv"},
    {10, "com.veltro.power.netstats.%s.tcpOOOPkt"},
    {11, "com.veltro.power.netstats.%s.tcpDOSPkt"},
    {12, "com.veltro.power.netstats.%s.tcpCleanup"},
    {13, "com.veltro.power.netstats.%s.tcpSynWindow"},
    {20, "com.veltro.power.netstats.%s.udpPortUnreach"},
    {21, "com.veltro.power.netstats.%s.udpFaithPrefix"},
    {22, "com.veltro.power.netstats.%s.udpPort0"},
    {23, "com.veltro.power.netstats.%s.udpBadLength"},
    {24, "com.veltro.power.netstats.%s.udpBadChksum"},
    {25, "com.veltro.power.netstats.%s.udpBadMcast"},
    {26, "com.veltro.power.netstats.%s.udpCleanup"},
    {27, "com.veltro.power.netstats.%s.udpBadIPSec"},
};

uint64_t CounterAt(const std::vector<uint8_t>& record, int index) {
  uint64_t value;
  std::memcpy(&value, record.data() + index * sizeof value, sizeof value);
  return value;
}

}  // namespace

void TLPowerEventListener::logSupStats() {
  auto addresses = tl::platform::Current().kernel().interfaceAddresses();
  if (!addresses || addresses->empty()) return;
  // Each interface has one link-layer entry, so each is reported once.
  for (const auto& address : *addresses) {
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
  for (const Counter& counter : kCounters) {
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
    for (const Counter& counter : kCounters) {
      const uint64_t now = CounterAt(*current, counter.index);
      const uint64_t then = CounterAt(before, counter.index);
      if (now == then) continue;
      char counterKey[128];
      std::snprintf(counterKey, sizeof counterKey, counter.key, name);
      growth.emplace(counterKey, tl::platform::Value(static_cast<unsigned long long>(now - then)));
    }
    if (!growth.empty()) TLClientBatchKeys(&growth, nullptr);
  }
  prev_ifmsupp_pstats[key] = std::move(current);  // also the first reading, which reports nothing
}
