// DaemonConfig: the settings file of `tallyd run` (JSON).
#pragma once

#include <string>

#include "platform/linux/roles/settings.h"

namespace tl::host {

// Reads a settings file:
//   {"preferences": {DOMAIN: {KEY: VALUE}}, "answers": {QUESTION: VALUE},
//    "tasking": {KEY: VALUE}, "consent": BOOL, "poll_seconds": NUMBER}
// Every member is optional. Throws std::runtime_error naming the file and what is wrong with it.
linuxdev::Settings ReadDaemonConfig(const std::string& path);
// The same from text; source names it in errors.
linuxdev::Settings ParseDaemonConfig(const std::string& text, const std::string& source);

}  // namespace tl::host
