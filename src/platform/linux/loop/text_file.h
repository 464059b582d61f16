// Text files the Linux sources read whole and the small state files they keep.
#pragma once

#include <string>

#include "base/status.h"

namespace tl::linuxdev {

// The file's contents; empty when it cannot be read.
std::string ReadText(const std::string& path);
// The file's contents into *text, or the errno of the open or the read that failed.
Status ReadText(const std::string& path, std::string* text);

// Replaces the file by one holding text, through a rename, so that a reader never sees half of
// it; false when it could not be written.
bool ReplaceText(const std::string& path, const std::string& text);

}  // namespace tl::linuxdev
