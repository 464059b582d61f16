// ElfInfo: what a process's executable says of itself: its word size and its build identifier.
#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace tl::linuxdev {

struct ElfInfo {
  bool is64Bit = false;
  std::vector<uint8_t> buildId;  // empty when the executable carries none
};

// Reads bytes at an offset of the file; returns how many it read.
using ReadAt = std::function<size_t(uint64_t offset, void* buffer, size_t size)>;

// Parses an ELF file's header and its notes (the PT_NOTE segments) for the GNU build-id;
// nullopt when the file is not ELF.
std::optional<ElfInfo> ReadElfInfo(const ReadAt& read);
// The same, for a file on disk (such as /proc/PID/exe).
std::optional<ElfInfo> ReadElfFile(const std::string& path);

}  // namespace tl::linuxdev
