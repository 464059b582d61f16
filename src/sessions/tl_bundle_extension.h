// TLBundleExtension: what the session side asks of a registry proxy.
#pragma once

#include <string>

#include "platform/applications.h"

namespace TLBundleExtension {

// Any entry for "beta-reports-active" counts, whatever its value.
bool isBeta(const tl::platform::RSApplicationProxy& proxy);
// Not a system, internal or hidden application, and of a known type.
bool is3rdParty(const tl::platform::RSApplicationProxy& proxy);
// "bundle:version:short version".
std::string versionedKey(const tl::platform::RSApplicationProxy& proxy);
// "bundle:bundleVersion:shortVersion", each part whole, "(null)" for an absent version.
std::string versionedKey(std::string_view bundle, const std::optional<std::string>& bundleVersion,
                         const std::optional<std::string>& shortVersion);

}  // namespace TLBundleExtension
