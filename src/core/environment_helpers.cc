// InMultiUserMode and TLContainerPath: environment answers cached for the process.
#include <atomic>
#include <string>

#include "core/no_destructor.h"
#include "core/tallyline_module.h"
#include "platform/platform.h"

namespace {

// Unlocked on purpose: every thread computes the same answer, so a race only repeats the work.
std::atomic<bool> g_multiUserComputed{false};
std::atomic<bool> g_multiUser{false};
std::atomic<const char*> g_containerPath{nullptr};

constexpr char kForceMultiUserMarker[] = "/var/db/forceMultiUserMode";
constexpr char kContainerIdentifier[] = "systemgroup.com.veltro.sysmetry";
constexpr char kSingleUserContainer[] = "/var/mobile";

}  // namespace

extern "C" bool InMultiUserMode(void) {
  if (g_multiUserComputed.load(std::memory_order_relaxed)) {
    return g_multiUser.load(std::memory_order_relaxed);
  }
  auto& platform = tl::platform::Current();
  bool answer = false;
  // The marker file forces the behaviour only on internal builds.
  auto internal = platform.environment().deviceAnswer("InternalBuild");
  if (internal && internal->isBool() && internal->boolValue() &&
      platform.files().stat(kForceMultiUserMarker)) {
    TLLog("Forcing Multi User Mode behavior due to the presence of /var/db/forceMultiUserMode");
    answer = true;
  } else {
    int flag = 0;
    // A failed query counts as single-user and is cached like a real answer.
    answer = platform.kernel().multiUserMode(&flag) == 0 && flag != 0;
  }
  g_multiUser.store(answer, std::memory_order_relaxed);
  g_multiUserComputed.store(true, std::memory_order_relaxed);
  return answer;
}

extern "C" const char* TLContainerPath(void) {
  if (const char* cached = g_containerPath.load(std::memory_order_relaxed)) return cached;
  if (!InMultiUserMode()) {
    g_containerPath.store(kSingleUserContainer, std::memory_order_relaxed);
    return kSingleUserContainer;
  }
  uint64_t error = 1;
  auto path =
      tl::platform::Current().environment().systemGroupContainerPath(kContainerIdentifier, &error);
  if (!path) {
    // Not cached: the next call looks again.
    TLLog("Error getting system group container: %llu", static_cast<unsigned long long>(error));
    return g_containerPath.load(std::memory_order_relaxed);
  }
  static tl::NoDestructor<std::string> storage;  // the answer stays valid for the process
  *storage = std::move(*path);
  g_containerPath.store(storage->c_str(), std::memory_order_relaxed);
  return storage->c_str();
}
