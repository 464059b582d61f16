// StatePaths: where the module's fixed device paths live below the daemon's state directory.
#pragma once

#include <string>

#include "platform/path_map.h"

namespace tl::linuxdev {

// The map, below state:
//   /var/mobile/Library/Tallyline            -> state/records       (the session records)
//   /var/mobile/Library/Logs/Faultkeeper     -> state/session-logs  (the session logs)
//   /var/db/forceMultiUserMode               -> state/force-multi-user
//   /var/mobile                              -> state/container     (the module's container)
//   /tmp                                     -> state/tmp           (the temporary directory)
// Any other path exists nowhere: the module cannot write outside the state directory.
platform::PathMap StatePathMap(const std::string& state);

// The temporary directory's device path.
inline constexpr char kStateTemporaryDirectory[] = "/tmp/";

// Creates the mapped directories (not the marker file); the first that cannot be made or
// written, with why, or empty when all can.
std::string CreateStateDirectories(const platform::PathMap& map);

}  // namespace tl::linuxdev
