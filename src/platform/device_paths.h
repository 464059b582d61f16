// The fixed directories of the device that the module writes below.
#pragma once

namespace tl::platform {

// Where the session records live; created on first use.
inline constexpr char kRecordDirectory[] = "/var/mobile/Library/Tallyline";
// Where the system collects diagnostic logs (the session logs); it exists on every device.
inline constexpr char kDiagnosticLogDirectory[] = "/var/mobile/Library/Logs/Faultkeeper/";
// Its presence forces multi-user behaviour on internal builds.
inline constexpr char kForceMultiUserMarker[] = "/var/db/forceMultiUserMode";
// The module's data container outside multi-user mode.
inline constexpr char kSingleUserContainer[] = "/var/mobile";

}  // namespace tl::platform
