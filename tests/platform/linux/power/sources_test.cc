// The power sources' pure mappings: backlight choice, thermal level, wake reason, protocol
// counters.
#include <gtest/gtest.h>

#include "platform/kernel.h"
#include "platform/linux/power/backlights.h"
#include "platform/linux/power/display_power.h"
#include "platform/linux/power/proc_net.h"
#include "platform/linux/power/thermal_zones.h"
#include "platform/linux/power/wake_reason.h"

namespace tl::linuxdev {
namespace {

SysfsDevice Device(std::string name, std::map<std::string, std::string, std::less<>> attributes) {
  return SysfsDevice{name, "/sys/class/x/" + name, std::move(attributes)};
}

TEST(BacklightsTest, FirmwareBeforePlatformBeforeRawAndBlankingReadsAsZero) {
  auto chosen = ChooseBacklight({
      Device("acpi_video0", {{"type", "platform"}, {"max_brightness", "15"}}),
      Device("intel_backlight", {{"type", "raw"}, {"max_brightness", "1000"}}),
      Device("nv_backlight", {{"type", "firmware"}, {"max_brightness", "0"}}),  // unusable
      Device("zz_backlight", {{"type", "firmware"},
                              {"max_brightness", "255"},
                              {"brightness", "200"},
                              {"actual_brightness", "51"}}),
  });
  ASSERT_TRUE(chosen);
  EXPECT_EQ(chosen->name, "zz_backlight");
  auto on = BrightnessDictionary(*chosen, true);
  EXPECT_EQ(platform::Find(on, "min")->longLongValue(), 0);
  EXPECT_EQ(platform::Find(on, "max")->longLongValue(), 255);
  EXPECT_EQ(platform::Find(on, "value")->longLongValue(), 51);  // what the panel shows
  EXPECT_EQ(platform::Find(BrightnessDictionary(*chosen, false), "value")->longLongValue(), 0);
  EXPECT_FLOAT_EQ(BrightnessFraction(*chosen), 0.2f);
  EXPECT_FALSE(ChooseBacklight({}));

  EXPECT_TRUE(DisplayOnForPowerSaveMode(0));
  EXPECT_TRUE(DisplayOnForPowerSaveMode(-1));  // unknown: the backlight's value decides
  EXPECT_FALSE(DisplayOnForPowerSaveMode(1));
  EXPECT_FALSE(DisplayOnForPowerSaveMode(3));
}

TEST(ThermalZonesTest, HighestTripPointReachedOverAllZones) {
  auto zone = [](const char* temp, std::vector<std::pair<const char*, const char*>> trips) {
    SysfsDevice d = Device("thermal_zone", {{"temp", temp}});
    for (size_t i = 0; i < trips.size(); ++i) {
      d.attributes["trip_point_" + std::to_string(i) + "_type"] = trips[i].first;
      d.attributes["trip_point_" + std::to_string(i) + "_temp"] = trips[i].second;
    }
    return d;
  };
  const std::vector<std::pair<const char*, const char*>> trips = {
      {"active", "40000"}, {"passive", "70000"}, {"hot", "90000"}, {"critical", "105000"}};
  EXPECT_EQ(ThermalLevel({zone("45000", trips)}), 0);  // an active trip (a fan) is no level
  EXPECT_EQ(ThermalLevel({zone("70000", trips)}), 1);  // at the trip point counts
  EXPECT_EQ(ThermalLevel({zone("50000", trips), zone("95000", trips)}), 2);
  EXPECT_EQ(ThermalLevel({zone("110000", trips)}), 3);
  EXPECT_EQ(ThermalLevel({zone("80000", {{"passive", "0"}})}), 0);  // a disabled trip
  EXPECT_EQ(ThermalLevel({}), 0);
}

TEST(WakeReasonTest, InterruptActionsThenSourcesThatFired) {
  EXPECT_EQ(WakeReasonTokens(45, "dock, gpio keys\n", {}, {}), "dock gpio_keys");
  EXPECT_EQ(WakeReasonTokens(7, "", {}, {}), "irq7");
  EXPECT_EQ(WakeReasonTokens(std::nullopt, "", {{"rtc0", 3}, {"alarmtimer", 1}},
                             {{"rtc0", 4}, {"alarmtimer", 1}, {"new source", 2}}),
            "new_source rtc0");
  EXPECT_EQ(WakeReasonTokens(45, "rtc0", {{"rtc0", 1}}, {{"rtc0", 2}}), "rtc0");
  EXPECT_EQ(WakeReasonTokens(std::nullopt, "", {}, {}), "");
}

TEST(ProcNetTest, ProtocolCountersMapToTheirSlotsAndTheDefaultRouteIsFound) {
  ProtocolCounters counters;
  ParseProtocolCounters(
      "Tcp: RtoAlgorithm MaxConn InErrs OutRsts\n"
      "Tcp: 1 -1 17 9\n"
      "Udp: InDatagrams NoPorts InErrors InCsumErrors\n"
      "Udp: 100 5 4 3\n",
      counters);
  ParseProtocolCounters(
      "TcpExt: ListenOverflows ListenDrops TCPOFOQueue\n"
      "TcpExt: 2 6 88\n",
      counters);
  const PacketStatistics block = MapPacketStatistics(counters);
  EXPECT_EQ(block[0], 17u);   // tcpBadFormat
  EXPECT_EQ(block[5], 6u);    // tcpNoConnList
  EXPECT_EQ(block[6], 2u);    // tcpListBadSyn
  EXPECT_EQ(block[10], 88u);  // tcpOOOPkt
  EXPECT_EQ(block[20], 5u);   // udpPortUnreach
  EXPECT_EQ(block[23], 4u);   // udpBadLength
  EXPECT_EQ(block[24], 3u);   // udpBadChksum
  EXPECT_EQ(block[1] + block[2] + block[9] + block[14] + block[27], 0u);
  EXPECT_EQ(counters.count("Tcp.MaxConn"), 0u);  // signed, never mapped

  const char* route =
      "Iface\tDestination\tGateway\tFlags\tRefCnt\tUse\tMetric\tMask\n"
      "wlan0\t0000A8C0\t00000000\t0001\t0\t0\t600\t00FFFFFF\n"
      "wwan0\t00000000\t0100000A\t0002\t0\t0\t700\t00000000\n"
      "wlan0\t00000000\t0100A8C0\t0003\t0\t0\t600\t00000000\n";
  EXPECT_EQ(DefaultRouteInterface(route), "wlan0");  // wwan0's default route is not up
  EXPECT_EQ(DefaultRouteInterface("Iface\tDestination\n"), "");
}

}  // namespace
}  // namespace tl::linuxdev
