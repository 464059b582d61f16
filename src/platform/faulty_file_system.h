// FaultyFileSystem: wraps a file system and fails chosen operations on demand.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "platform/file_system_wrapper.h"

namespace tl::platform {

// Faults stay on until switched off. A path prefix narrows a fault to the paths below it.
class FaultyFileSystem : public FileSystemWrapper {
 public:
  enum class Fault {
    kNoSpace,       // writes fail with ENOSPC
    kNoPermission,  // creating, removing, moving and opening for writing fail with EACCES
    kFailedRename,  // moves fail with EXDEV
    kFailedOpen,    // opening for appending or reading fails; so does making a unique file
    kFailedChmod,   // changing permissions fails with EPERM
  };
  static constexpr int kFaults = 5;
  // The faults' names in a device trace: "no_space", "no_permission", "failed_rename",
  // "failed_open", "failed_chmod".
  static const char* NameOf(Fault fault);
  static std::optional<Fault> FaultNamed(std::string_view name);

  using FileSystemWrapper::FileSystemWrapper;

  void setFault(Fault fault, bool on, std::string pathPrefix = "");
  void clearFaults();
  // Whether fault is on for path; handles ask this at every write.
  bool failing(Fault fault, const std::string& path) const;
  // The faults that are on, with their path prefixes.
  std::vector<std::pair<Fault, std::string>> active() const;

  Status createDirectory(const std::string& path, bool intermediates, mode_t mode) override;
  Status createFile(const std::string& path, std::span<const uint8_t> contents,
                    mode_t mode) override;
  Status openForAppending(const std::string& path, std::unique_ptr<WriteHandle>* out) override;
  Status openForReading(const std::string& path, std::unique_ptr<LineReader>* out) override;
  Status remove(const std::string& path) override;
  Status move(const std::string& from, const std::string& to) override;
  Status setPermissions(const std::string& path, mode_t mode) override;
  Status createUniqueFile(std::string& pathTemplate, std::unique_ptr<WriteHandle>* out) override;

 private:
  struct State {
    bool on = false;
    std::string prefix;
  };
  State faults_[kFaults];
};

}  // namespace tl::platform
