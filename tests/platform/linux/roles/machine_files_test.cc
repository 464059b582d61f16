// The roles' readings of the machine's own files: ELF headers, os-release and locale names, the
// state path map, and the levels that other readings map to.
#include <elf.h>
#include <gtest/gtest.h>

#include <cstring>

#include "platform/kernel.h"
#include "platform/linux/power/power_profiles.h"
#include "platform/linux/roles/elf_info.h"
#include "platform/linux/roles/memory_pressure.h"
#include "platform/linux/roles/os_release.h"
#include "platform/linux/roles/state_paths.h"

namespace tl::linuxdev {
namespace {

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
