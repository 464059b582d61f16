// Directories: creation with errors that say which path could not be made.
#include "host/module/directories.h"

#include <filesystem>

#include "host/exit_codes.h"

namespace tl::host {

void MakeDirectories(const std::string& path, const std::string& what) {
  std::error_code error;
  std::filesystem::create_directories(path, error);
  // create_directories says nothing of a path that exists as a file: it is no directory either.
  if (!error && !std::filesystem::is_directory(path, error) && !error) {
    error = std::make_error_code(std::errc::not_a_directory);
  }
  if (error) {
    throw CommandError(kExitReadWrite,
                       path + ": cannot make the " + what + " directory: " + error.message());
  }
}

}  // namespace tl::host
