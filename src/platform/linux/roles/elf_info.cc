// ElfInfo: the ELF header, the program headers and the GNU build-id note.
#include "platform/linux/roles/elf_info.h"

#include <elf.h>
#include <fcntl.h>
#include <unistd.h>

#include <cstring>
#include <string>

namespace tl::linuxdev {

namespace {

// The notes of one segment: each is namesz, descsz, type, then the name and the descriptor,
// both padded to four bytes.
std::optional<std::vector<uint8_t>> FindBuildId(const ReadAt& read, uint64_t offset,
                                                uint64_t size) {
  if (size > (1u << 20)) return std::nullopt;  // notes are small; anything else is damage
  std::vector<uint8_t> notes(size);
  if (read(offset, notes.data(), notes.size()) != notes.size()) return std::nullopt;
  size_t at = 0;
  auto pad = [](size_t n) { return (n + 3) & ~size_t{3}; };
  while (at + 12 <= notes.size()) {
    uint32_t nameSize, descSize, type;
    std::memcpy(&nameSize, &notes[at], 4);
    std::memcpy(&descSize, &notes[at + 4], 4);
    std::memcpy(&type, &notes[at + 8], 4);
    const size_t name = at + 12;
    const size_t desc = name + pad(nameSize);
    if (desc > notes.size() || descSize > notes.size() - desc) return std::nullopt;
    if (type == NT_GNU_BUILD_ID && nameSize == 4 && std::memcmp(&notes[name], "GNU", 4) == 0) {
      return std::vector<uint8_t>(notes.begin() + desc, notes.begin() + desc + descSize);
    }
    at = desc + pad(descSize);
  }
  return std::nullopt;
}

template <class Ehdr, class Phdr>
std::optional<ElfInfo> ReadProgramHeaders(const ReadAt& read, bool is64Bit) {
  Ehdr header;
  if (read(0, &header, sizeof header) != sizeof header) return std::nullopt;
  ElfInfo info;
  info.is64Bit = is64Bit;
  if (header.e_phentsize != sizeof(Phdr) || header.e_phnum > 4096) return info;
  for (unsigned i = 0; i < header.e_phnum; ++i) {
    Phdr program;
    if (read(header.e_phoff + i * sizeof program, &program, sizeof program) != sizeof program) {
      break;
    }
    if (program.p_type != PT_NOTE) continue;
    if (auto id = FindBuildId(read, program.p_offset, program.p_filesz)) {
      info.buildId = std::move(*id);
      break;
    }
  }
  return info;
}

}  // namespace

std::optional<ElfInfo> ReadElfInfo(const ReadAt& read) {
  unsigned char ident[EI_NIDENT];
  if (read(0, ident, sizeof ident) != sizeof ident) return std::nullopt;
  if (std::memcmp(ident, ELFMAG, SELFMAG) != 0) return std::nullopt;
  // Only the machine's own byte order is read: a process runs in it.
  if (ident[EI_CLASS] == ELFCLASS64) return ReadProgramHeaders<Elf64_Ehdr, Elf64_Phdr>(read, true);
  if (ident[EI_CLASS] == ELFCLASS32) return ReadProgramHeaders<Elf32_Ehdr, Elf32_Phdr>(read, false);
  return std::nullopt;
}

std::optional<ElfInfo> ReadElfFile(const std::string& path) {
  int fd = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
  if (fd < 0) return std::nullopt;
  auto info = ReadElfInfo([fd](uint64_t offset, void* buffer, size_t size) -> size_t {
    ssize_t n = ::pread(fd, buffer, size, static_cast<off_t>(offset));
    return n < 0 ? 0 : static_cast<size_t>(n);
  });
  ::close(fd);
  return info;
}

}  // namespace tl::linuxdev
