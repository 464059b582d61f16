// Directories the commands are given for their files: made where missing, or an error that
// names the path and why it cannot be (exit 74).
#pragma once

#include <string>

namespace tl::host {

// Creates path and its parents; what says whose directory it is ("sandbox", "store's").
void MakeDirectories(const std::string& path, const std::string& what);

}  // namespace tl::host
