// PackageTransactions: following each transaction's packages to the notices of its apps.
#include "platform/linux/apps/package_transactions.h"

namespace tl::linuxdev {

using namespace packagekit;

namespace {

bool Installs(uint32_t info) {
  return info == kInfoInstalling || info == kInfoUpdating || info == kInfoReinstalling ||
         info == kInfoDowngrading;
}

}  // namespace

void PackageTransactions::created(const std::string& path, uint32_t role, uint32_t uid,
                                  uint64_t flags) {
  Transaction& transaction = transactions_[path];
  // Root asks for what nobody at the screen asked for: timers and offline updates.
  transaction.installType = uid == 0 ? kInstallTypeUnattendedUpdate : kInstallTypeStoreFrontEnd;
  const bool changes = role == kRoleInstallFiles || role == kRoleInstallPackages ||
                       role == kRoleRemovePackages || role == kRoleUpdatePackages ||
                       role == kRoleUpgradeSystem;
  transaction.changesPackages = changes && (flags & (kFlagSimulate | kFlagOnlyDownload)) == 0;
}

std::vector<InstallNotice> PackageTransactions::package(const std::string& path, uint32_t info,
                                                        std::string_view packageId) {
  auto it = transactions_.find(path);
  if (it == transactions_.end() || !it->second.changesPackages) return {};
  if (!Installs(info) && info != kInfoRemoving) return {};
  // "NAME;VERSION;ARCH;DATA"
  it->second.packages[std::string(packageId.substr(0, packageId.find(';')))] = info;
  return announce(it->second);
}

std::vector<InstallNotice> PackageTransactions::databaseChanged() {
  std::vector<InstallNotice> notices;
  for (auto& [path, transaction] : transactions_) {
    for (InstallNotice& notice : announce(transaction)) notices.push_back(std::move(notice));
  }
  return notices;
}

// A package names its applications once it is in the database: at once for one being updated
// or removed, after unpacking for a new one.
std::vector<InstallNotice> PackageTransactions::announce(Transaction& transaction) {
  std::vector<InstallNotice> notices;
  for (const auto& [name, info] : transaction.packages) {
    for (const std::string& appId : facts_.appIdsOf(name)) {
      if (transaction.apps.count(appId) != 0) continue;
      App& app = transaction.apps[appId];
      if (info == kInfoRemoving) {
        app.removing = true;
        continue;
      }
      app.update = info != kInfoInstalling;
      app.reinstall = !app.update && facts_.everInstalled(appId);
      notices.push_back({InstallNotice::Kind::kStarted, appId, app.update, app.reinstall,
                         transaction.installType});
    }
  }
  return notices;
}

std::vector<InstallNotice> PackageTransactions::finished(const std::string& path, uint32_t exit) {
  auto it = transactions_.find(path);
  if (it == transactions_.end()) return {};
  std::vector<InstallNotice> notices = announce(it->second);
  const bool success = exit == kExitSuccess;
  const bool cancelled = exit == kExitCancelled || exit == kExitCancelledPriority;
  for (const auto& [appId, app] : it->second.apps) {
    InstallNotice notice{InstallNotice::Kind::kInstalled, appId, app.update, app.reinstall,
                         it->second.installType};
    if (app.removing) {
      if (!success) continue;  // still installed
      notice = {InstallNotice::Kind::kUninstalled, appId};
    } else if (cancelled) {
      notice.kind = InstallNotice::Kind::kCancelled;
    } else if (!success) {
      notice.kind = InstallNotice::Kind::kFailed;
    }
    notices.push_back(std::move(notice));
  }
  transactions_.erase(it);
  return notices;
}

bool PackageTransactions::claims(const std::string& appId) const {
  for (const auto& [path, transaction] : transactions_) {
    if (transaction.apps.count(appId) != 0) return true;
  }
  return false;
}

}  // namespace tl::linuxdev
