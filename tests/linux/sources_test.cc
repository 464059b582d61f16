// The Linux sources' pure mappings: backlight choice, thermal level, wake reason, protocol
// counters, ELF headers, os-release and locale names, the state path map.
#include <elf.h>
#include <gtest/gtest.h>

#include <cstring>

#include "platform/kernel.h"
#include "platform/linux/power/backlights.h"
#include "platform/linux/power/display_power.h"
#include "platform/linux/power/power_profiles.h"
#include "platform/linux/power/proc_net.h"
#include "platform/linux/power/thermal_zones.h"
#include "platform/linux/power/wake_reason.h"
#include "platform/linux/roles/elf_info.h"
#include "platform/linux/roles/memory_pressure.h"
#include "platform/linux/roles/os_release.h"
#include "platform/linux/roles/state_paths.h"

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

// A minimal 64-bit ELF file: a header, one PT_NOTE program header, and a GNU build-id note.
std::vector<uint8_t> ElfWithBuildId(const std::vector<uint8_t>& id) {
  std::vector<uint8_t> file(sizeof(Elf64_Ehdr) + sizeof(Elf64_Phdr));
  Elf64_Ehdr header{};
  std::memcpy(header.e_ident, ELFMAG, SELFMAG);
  header.e_ident[EI_CLASS] = ELFCLASS64;
  header.e_phoff = sizeof header;
  header.e_phentsize = sizeof(Elf64_Phdr);
  header.e_phnum = 1;
  std::memcpy(file.data(), &header, sizeof header);
  std::vector<uint8_t> note(12);
  uint32_t sizes[3] = {4, static_cast<uint32_t>(id.size()), NT_GNU_BUILD_ID};
  std::memcpy(note.data(), sizes, sizeof sizes);
  note.insert(note.end(), {'G', 'N', 'U', 0});
  note.insert(note.end(), id.begin(), id.end());
  Elf64_Phdr program{};
  program.p_type = PT_NOTE;
  program.p_offset = file.size();
  program.p_filesz = note.size();
  std::memcpy(file.data() + sizeof header, &program, sizeof program);
  file.insert(file.end(), note.begin(), note.end());
  return file;
}

std::optional<ElfInfo> Parse(const std::vector<uint8_t>& bytes) {
  return ReadElfInfo([&](uint64_t offset, void* buffer, size_t size) -> size_t {
    if (offset >= bytes.size()) return 0;
    size = std::min<size_t>(size, bytes.size() - offset);
    std::memcpy(buffer, bytes.data() + offset, size);
    return size;
  });
}

TEST(ElfInfoTest, ClassAndBuildIdAndDamage) {
  std::vector<uint8_t> id(20);
  for (size_t i = 0; i < id.size(); ++i) id[i] = static_cast<uint8_t>(0xA0 + i);
  auto info = Parse(ElfWithBuildId(id));
  ASSERT_TRUE(info);
  EXPECT_TRUE(info->is64Bit);
  EXPECT_EQ(info->buildId, id);

  auto damaged = ElfWithBuildId(id);
  damaged.resize(damaged.size() - 5);  // the note runs past the end
  ASSERT_TRUE(Parse(damaged));
  EXPECT_TRUE(Parse(damaged)->buildId.empty());
  EXPECT_FALSE(Parse({'#', '!', '/', 'b'}));
  // This very test program is a 64-bit ELF file, as is the machine's.
  auto self = ReadElfFile("/proc/self/exe");
  ASSERT_TRUE(self);
  EXPECT_EQ(self->is64Bit, sizeof(void*) == 8);
}

TEST(OsReleaseTest, VersionDictionaryAndLocaleNames) {
  auto fields = ParseOsRelease(
      "# comment\nNAME=\"postmarketOS\"\nVERSION_ID=v24.06\nPRETTY_NAME='pmOS'\n"
      "BUILD_ID=\"a \\\"quoted\\\" build\"\nnot a line\n");
  EXPECT_EQ(fields["PRETTY_NAME"], "pmOS");
  auto version = SystemVersionDictionary(fields, "6.9.0");
  EXPECT_EQ(*platform::Find(version, "ProductName")->string(), "postmarketOS");
  EXPECT_EQ(*platform::Find(version, "ProductVersion")->string(), "v24.06");
  EXPECT_EQ(*platform::Find(version, "ProductBuildVersion")->string(), "a \"quoted\" build");
  auto bare = SystemVersionDictionary({}, "6.9.0");
  EXPECT_EQ(*platform::Find(bare, "ProductBuildVersion")->string(), "6.9.0");
  EXPECT_EQ(platform::Find(bare, "ProductName"), nullptr);

  EXPECT_EQ(LocaleCountry("de_DE.UTF-8@euro"), "DE");
  EXPECT_EQ(LocaleCountry("C.UTF-8"), "");
  EXPECT_EQ(LocaleCountry(""), std::nullopt);
  EXPECT_EQ(LocaleCountry(nullptr), std::nullopt);
  EXPECT_EQ(PreferredLanguages("fr_CA:en", "de_DE.UTF-8"), (platform::Array{"fr-CA", "en"}));
  EXPECT_EQ(PreferredLanguages(nullptr, "pt_BR.UTF-8"), (platform::Array{"pt-BR"}));
  EXPECT_TRUE(PreferredLanguages("", "C").empty());

  EXPECT_EQ(BatterySaverState("power-saver"), 1u);
  EXPECT_EQ(BatterySaverState("balanced"), 0u);
  EXPECT_EQ(PressureLevelFromLowMemoryWarning(50), platform::kMemoryPressureWarning);
  EXPECT_EQ(PressureLevelFromLowMemoryWarning(255), platform::kMemoryPressureCritical);
  EXPECT_EQ(PressureLevelFromLowMemoryWarning(0), 0u);
}

TEST(StatePathsTest, EveryFixedPathLivesBelowTheStateDirectory) {
  const platform::PathMap map = StatePathMap("/home/u/.local/state/tallyd");
  EXPECT_EQ(map.resolve("/var/mobile/Library/Tallyline/session_events.log").path,
            "/home/u/.local/state/tallyd/records/session_events.log");
  EXPECT_EQ(map.resolve("/var/mobile/Library/Logs/Faultkeeper/log-sessions-1.session").path,
            "/home/u/.local/state/tallyd/session-logs/log-sessions-1.session");
  EXPECT_EQ(map.resolve("/var/mobile/Library/Other").path,
            "/home/u/.local/state/tallyd/container/Library/Other");
  EXPECT_EQ(map.resolve("/var/db/forceMultiUserMode").path,
            "/home/u/.local/state/tallyd/force-multi-user");
  EXPECT_EQ(map.resolve("/tmp/tl.XXXX").path, "/home/u/.local/state/tallyd/tmp/tl.XXXX");
  // Outside the map nothing exists; a name that only starts like a mapped one is outside.
  EXPECT_EQ(map.resolve("/etc/passwd").path, "");
  EXPECT_EQ(map.resolve("/var/mobileX/file").path, "");
  EXPECT_EQ(map.resolve("/tmpfile").path, "");
}

}  // namespace
}  // namespace tl::linuxdev
