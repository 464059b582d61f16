// Network supplemental statistics: first readings, deltas, counters going back, and failures.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "power/power_test_support.h"

namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using namespace tl::testing;
using tl::testing::Json;

Json NetDevice() {
  return Json::parse(R"({"interfaces": [
    {"name": "lo0", "loopback": true, "family": 18, "counters": {"tcpOOOPkt": 1}},
    {"name": "en0", "family": 18, "counters": {"tcpOOOPkt": 10, "udpBadChksum": 10,
                                              "tcpBadFormat": 2, "udpBadIPSec": 7}},
    {"name": "utun0", "family": 30, "counters": {"tcpOOOPkt": 3}}]})");
}

std::vector<std::pair<std::string, uint64_t>> Batch(tl::testing::TestDevice& device) {
  std::vector<std::pair<std::string, uint64_t>> keys;
  for (const auto& [key, value] : *device.recorded().batches().back().first) {
    keys.emplace_back(key, value.unsignedLongLongValue());
  }
  EXPECT_FALSE(device.recorded().batches().back().second);
  return keys;
}

TEST(NetworkStats, DeltasOfTheLinkLayerInterfacesOnly) {
  PowerTest t(NetDevice());
  // The reading at construction is stored, not reported.
  EXPECT_THAT(t.device().recorded().batches(), IsEmpty());

  t.device().simKernel().changeCounters("en0", Counters({{"tcpOOOPkt", 15}, {"14", 9}, {"31", 4}}));
  t.device().simKernel().changeCounters("lo0", Counters({{"tcpOOOPkt", 99}}));
  t.device().simKernel().changeCounters("utun0", Counters({{"tcpOOOPkt", 99}}));
  t.listener()->logSupStats();
  // One key: reserved counters change nothing, and loopback or other families are not read.
  EXPECT_THAT(Batch(t.device()),
              ElementsAre(std::make_pair("com.veltro.power.netstats.en0.tcpOOOPkt", 5)));

  t.listener()->logSupStats();  // nothing changed: no batch
  EXPECT_EQ(t.device().recorded().batches().size(), 1u);
}

TEST(NetworkStats, ACounterGoingBackMakesTheWholeCurrentValueGrowth) {
  PowerTest t(NetDevice());
  t.device().simKernel().changeCounters("en0", Counters({{"udpBadChksum", 3}}));
  t.listener()->logSupStats();
  EXPECT_THAT(t.device().recorded().logs().back().text,
              "Network Supplemental Stats <ERROR>: Zeroing previous stats");
  EXPECT_THAT(Batch(t.device()),
              ElementsAre(std::make_pair("com.veltro.power.netstats.en0.tcpBadFormat", 2),
                          std::make_pair("com.veltro.power.netstats.en0.tcpOOOPkt", 10),
                          std::make_pair("com.veltro.power.netstats.en0.udpBadChksum", 3),
                          std::make_pair("com.veltro.power.netstats.en0.udpBadIPSec", 7)));
}

TEST(NetworkStats, AFailedReadKeepsThePreviousReading) {
  PowerTest t(NetDevice());
  t.device().simKernel().changeCounters("en0", Counters({{"fail", true}}));
  t.listener()->logSupStats();
  EXPECT_EQ(t.device().recorded().logs().back().text,
            "Network Supplemental Stats: Failed to get current statistics for interface: en0");
  t.device().simKernel().changeCounters("en0", Counters({{"fail", false}, {"tcpOOOPkt", 12}}));
  t.listener()->logSupStats();
  EXPECT_THAT(Batch(t.device()),
              ElementsAre(std::make_pair("com.veltro.power.netstats.en0.tcpOOOPkt", 2)));
}

}  // namespace
