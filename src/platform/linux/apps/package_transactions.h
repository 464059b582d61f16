// PackageTransactions: software-centre transactions (PackageKit's) turned into install notices:
// started when a package of an application is being installed, then installed, uninstalled,
// failed or cancelled when the transaction finishes. Pure: the D-Bus side feeds it.
#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "platform/linux/apps/install_notices.h"

namespace tl::linuxdev {

// The values of PackageKit's D-Bus interface that matter here.
namespace packagekit {
inline constexpr uint32_t kRoleInstallFiles = 10;
inline constexpr uint32_t kRoleInstallPackages = 11;
inline constexpr uint32_t kRoleRemovePackages = 14;
inline constexpr uint32_t kRoleUpdatePackages = 22;
inline constexpr uint32_t kRoleUpgradeSystem = 33;

inline constexpr uint32_t kInfoUpdating = 11;
inline constexpr uint32_t kInfoInstalling = 12;
inline constexpr uint32_t kInfoRemoving = 13;
inline constexpr uint32_t kInfoReinstalling = 19;
inline constexpr uint32_t kInfoDowngrading = 20;

inline constexpr uint32_t kExitSuccess = 1;
inline constexpr uint32_t kExitCancelled = 3;
inline constexpr uint32_t kExitCancelledPriority = 9;

inline constexpr uint64_t kFlagSimulate = 1 << 2;
inline constexpr uint64_t kFlagOnlyDownload = 1 << 3;
}  // namespace packagekit

// What the transactions need to know of the system: the applications of a package as the
// package database has it now, and whether an application was ever installed before.
struct PackageFacts {
  std::function<std::vector<std::string>(const std::string& package)> appIdsOf;
  std::function<bool(const std::string& appId)> everInstalled;
};

class PackageTransactions {
 public:
  explicit PackageTransactions(PackageFacts facts) : facts_(std::move(facts)) {}

  // A transaction was created (its properties read): role, the user that asked for it, flags.
  void created(const std::string& path, uint32_t role, uint32_t uid, uint64_t flags);
  // PackageKit's Package signal: a package of the transaction changes (info), by package ID.
  std::vector<InstallNotice> package(const std::string& path, uint32_t info,
                                     std::string_view packageId);
  // The package database changed: packages being installed may now name their applications.
  std::vector<InstallNotice> databaseChanged();
  // The transaction finished with exit; it is forgotten.
  std::vector<InstallNotice> finished(const std::string& path, uint32_t exit);
  // The transaction went away without finishing.
  void destroyed(const std::string& path) { transactions_.erase(path); }

  bool known(const std::string& path) const { return transactions_.count(path) != 0; }
  // Whether a transaction under way has announced the application: its change in the package
  // database is that transaction's to tell.
  bool claims(const std::string& appId) const;

 private:
  struct App {
    bool removing = false;
    bool update = false;
    bool reinstall = false;
  };
  struct Transaction {
    uint32_t installType = 0;
    bool changesPackages = false;
    std::map<std::string, uint32_t> packages;  // name → its last info
    std::map<std::string, App> apps;           // the applications announced
  };
  std::vector<InstallNotice> announce(Transaction& transaction);

  PackageFacts facts_;
  std::map<std::string, Transaction> transactions_;
};

}  // namespace tl::linuxdev
