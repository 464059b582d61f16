// Application IDs from what the user manager and Flatpak name: unit names, a process's cgroup
// and a sandbox's info file.
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace tl::linuxdev {

// The application ID an application unit carries: "app[-LAUNCHER]-ID[@RANDOM].service" or
// "app[-LAUNCHER]-ID[-RANDOM].scope", ID escaped as systemd escapes unit names (a '-' in the ID
// is "\x2d"). nullopt for any other unit.
std::optional<std::string> AppIdFromUnitName(std::string_view unit);

// The application ID of the innermost application unit in /proc/PID/cgroup's text.
std::optional<std::string> AppIdFromCgroup(std::string_view cgroupText);

// The unified hierarchy's path of a process ("/user.slice/…/app-….scope"), from the same text.
std::optional<std::string> CgroupPath(std::string_view cgroupText);

// The "name" of the [Application] (or [Runtime]) group of a Flatpak sandbox's info file.
std::optional<std::string> AppIdFromFlatpakInfo(std::string_view infoText);

}  // namespace tl::linuxdev
