// InMultiUserMode and TLContainerPath: environment answers cached for the process.
#include <string>

#include "core/core_state.h"
#include "core/tallyline_module.h"
#include "platform/device_paths.h"
#include "platform/platform.h"

namespace {
constexpr char kContainerIdentifier[] = "systemgroup.com.veltro.sysmetry";
}  // namespace

extern "C" bool InMultiUserMode(void) {
  tl::core::CoreState& core = tl::core::Core();
  if (core.multiUserComputed.load(std::memory_order_relaxed)) {
    return core.multiUser.load(std::memory_order_relaxed);
  }
  auto& platform = tl::platform::Current();
  bool answer = false;
  // The marker file forces the behaviour only on internal builds.
  auto internal = platform.environment().deviceAnswer("InternalBuild");
  if (internal && internal->isBool() && internal->boolValue() &&
      platform.files().stat(tl::platform::kForceMultiUserMarker, nullptr).ok()) {
    TLLog("Forcing Multi User Mode behavior due to the presence of /var/db/forceMultiUserMode");
    answer = true;
  } else {
    // A failed query counts as single-user and is cached like a real answer.
    bool multiUser = false;
    answer = platform.kernel().multiUserMode(&multiUser).ok() && multiUser;
  }
  core.multiUser.store(answer, std::memory_order_relaxed);
  core.multiUserComputed.store(true, std::memory_order_relaxed);
  return answer;
}

extern "C" const char* TLContainerPath(void) {
  tl::core::CoreState& core = tl::core::Core();
  if (const char* cached = core.containerPath.load(std::memory_order_relaxed)) return cached;
  if (!InMultiUserMode()) {
    core.containerPath.store(tl::platform::kSingleUserContainer, std::memory_order_relaxed);
    return tl::platform::kSingleUserContainer;
  }
  uint64_t error = 1;
  auto path =
      tl::platform::Current().environment().systemGroupContainerPath(kContainerIdentifier, &error);
  if (!path) {
    // Not cached: the next call looks again.
    TLLog("Error getting system group container: %llu", static_cast<unsigned long long>(error));
    return core.containerPath.load(std::memory_order_relaxed);
  }
  core.containerPathText = std::make_unique<const std::string>(std::move(*path));
  core.containerPath.store(core.containerPathText->c_str(), std::memory_order_relaxed);
  return core.containerPathText->c_str();
}
