// TLBundleExtension: the beta and third-party tests and the versioned key of a proxy.
#include "sessions/tl_bundle_extension.h"

#include "sessions/tl_bundle_session.h"

namespace TLBundleExtension {

bool isBeta(const tl::platform::RSApplicationProxy& proxy) {
  // The value is not examined: an entry whose value is false still marks a beta build.
  return tl::platform::Find(proxy.entitlements, "beta-reports-active") != nullptr;
}

bool is3rdParty(const tl::platform::RSApplicationProxy& proxy) {
  if (!proxy.applicationType) return false;
  const std::string& type = *proxy.applicationType;
  return type != tl::platform::RSApplicationProxy::kSystemApplicationType &&
         type != tl::platform::RSApplicationProxy::kInternalApplicationType && type != "Hidden";
}

std::string versionedKey(std::string_view bundle, const std::optional<std::string>& bundleVersion,
                         const std::optional<std::string>& shortVersion) {
  std::string key(bundle);
  key.append(":").append(TextOrNull(bundleVersion)).append(":").append(TextOrNull(shortVersion));
  return key;
}

std::string versionedKey(const tl::platform::RSApplicationProxy& proxy) {
  return versionedKey(proxy.bundleIdentifier, proxy.bundleVersion, proxy.shortVersionString);
}

}  // namespace TLBundleExtension
