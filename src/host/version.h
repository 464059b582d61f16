// tallyd's version, as the build gives it.
#pragma once

namespace tl::host {

inline constexpr char kTallydVersion[] = TALLYD_VERSION;

}  // namespace tl::host
