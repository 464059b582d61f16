// Install notices: the comparison of installed versions.
#include "platform/linux/apps/install_notices.h"

namespace tl::linuxdev {

InstalledVersions FlatpakVersions(const std::vector<FlatpakRef>& refs) {
  InstalledVersions versions;
  for (const FlatpakRef& ref : refs) {
    if (!ref.current) continue;
    auto [it, added] = versions.emplace(ref.appId, ref.commit);
    if (!added && ref.user) it->second = ref.commit;
  }
  return versions;
}

std::vector<InstallNotice> DiffInstalled(const InstalledVersions& before,
                                         const InstalledVersions& after,
                                         std::set<std::string>* everInstalled) {
  std::vector<InstallNotice> notices;
  auto old = before.begin();
  auto now = after.begin();
  while (old != before.end() || now != after.end()) {
    if (now == after.end() || (old != before.end() && old->first < now->first)) {
      notices.push_back({InstallNotice::Kind::kUninstalled, old->first, false, false});
      ++old;
    } else if (old == before.end() || now->first < old->first) {
      const bool again = !everInstalled->insert(now->first).second;
      notices.push_back({InstallNotice::Kind::kInstalled, now->first, false, again});
      ++now;
    } else {
      if (old->second != now->second) {
        notices.push_back({InstallNotice::Kind::kInstalled, now->first, true, false});
      }
      everInstalled->insert(now->first);
      ++old;
      ++now;
    }
  }
  return notices;
}

}  // namespace tl::linuxdev
