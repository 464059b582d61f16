// PackageKitWatch: the service's transaction list and each transaction's signals.
#include "platform/linux/apps/packagekit_watch.h"

#include <cerrno>
#include <cstring>

namespace tl::linuxdev {

namespace {

constexpr char kService[] = "org.freedesktop.PackageKit";
constexpr char kPath[] = "/org/freedesktop/PackageKit";
constexpr char kTransaction[] = "org.freedesktop.PackageKit.Transaction";

// Whether the bus has name now or can start it.
bool Reachable(sd_bus* bus, const char* name) {
  sd_bus_message* reply = nullptr;
  int owned = 0;
  if (sd_bus_call_method(bus, "org.freedesktop.DBus", "/org/freedesktop/DBus",
                         "org.freedesktop.DBus", "NameHasOwner", nullptr, &reply, "s", name) >= 0) {
    const MessagePtr answer(reply);
    sd_bus_message_read(reply, "b", &owned);
    if (owned) return true;
  }
  reply = nullptr;
  if (sd_bus_call_method(bus, "org.freedesktop.DBus", "/org/freedesktop/DBus",
                         "org.freedesktop.DBus", "ListActivatableNames", nullptr, &reply, "") < 0) {
    return false;
  }
  MessagePtr owner(reply);
  char** names = nullptr;
  if (sd_bus_message_read_strv(reply, &names) < 0 || names == nullptr) return false;
  bool found = false;
  for (char** n = names; *n != nullptr; ++n) {
    found = found || std::strcmp(*n, name) == 0;
    free(*n);  // NOLINT(cppcoreguidelines-no-malloc): sd-bus hands out malloc'ed strings
  }
  free(names);  // NOLINT(cppcoreguidelines-no-malloc)
  return found;
}

}  // namespace

PackageKitWatch::PackageKitWatch(sd_bus* systemBus, PackageKitEvents events)
    : bus_(systemBus), events_(std::move(events)) {}

Status PackageKitWatch::start() {
  if (!bus_) return NoBus("system");
  if (!Reachable(bus_, kService)) return Status::Error(ENOENT, "not on the system bus");
  sd_bus_slot* slot = nullptr;
  if (sd_bus_match_signal(bus_, &slot, kService, kPath, "org.freedesktop.PackageKit",
                          "TransactionListChanged", OnTransactionListChanged, this) >= 0) {
    matches_.emplace_back(slot);
  }
  if (sd_bus_add_match(bus_, &slot,
                       "type='signal',sender='org.freedesktop.PackageKit',"
                       "interface='org.freedesktop.PackageKit.Transaction'",
                       OnTransactionSignal, this) >= 0) {
    matches_.emplace_back(slot);
  }
  return matches_.size() == 2 ? Status::OK() : Status::Error(EIO, "cannot watch its signals");
}

int PackageKitWatch::OnTransactionListChanged(sd_bus_message* message, void* self, sd_bus_error*) {
  auto& watch = *static_cast<PackageKitWatch*>(self);
  char** paths = nullptr;
  if (sd_bus_message_read_strv(message, &paths) < 0 || paths == nullptr) return 0;
  for (char** p = paths; *p != nullptr; ++p) {
    if (watch.known_.count(*p) == 0) watch.learn(*p);
    free(*p);  // NOLINT(cppcoreguidelines-no-malloc)
  }
  free(paths);  // NOLINT(cppcoreguidelines-no-malloc)
  return 0;
}

bool PackageKitWatch::learn(const std::string& path) {
  sd_bus_message* reply = nullptr;
  if (sd_bus_call_method(bus_, kService, path.c_str(), "org.freedesktop.DBus.Properties", "GetAll",
                         nullptr, &reply, "s", kTransaction) < 0) {
    return false;
  }
  MessagePtr owner(reply);
  uint32_t role = 0, uid = 0;
  uint64_t flags = 0;
  if (sd_bus_message_enter_container(reply, 'a', "{sv}") < 0) return false;
  while (sd_bus_message_enter_container(reply, 'e', "sv") > 0) {
    const char* name = nullptr;
    sd_bus_message_read(reply, "s", &name);
    const std::string_view key = name ? name : "";
    if (key == "Role") {
      sd_bus_message_read(reply, "v", "u", &role);
    } else if (key == "Uid") {
      sd_bus_message_read(reply, "v", "u", &uid);
    } else if (key == "TransactionFlags") {
      sd_bus_message_read(reply, "v", "t", &flags);
    } else {
      sd_bus_message_skip(reply, "v");
    }
    sd_bus_message_exit_container(reply);
  }
  known_.insert(path);
  events_.created(path, role, uid, flags);
  return true;
}

int PackageKitWatch::OnTransactionSignal(sd_bus_message* message, void* self, sd_bus_error*) {
  auto& watch = *static_cast<PackageKitWatch*>(self);
  const std::string path = sd_bus_message_get_path(message);
  const std::string_view member = sd_bus_message_get_member(message);
  // A transaction under way when the daemon started is learnt from its first signal.
  if (watch.known_.count(path) == 0 && member != "Destroy" && !watch.learn(path)) return 0;
  if (member == "Package") {
    uint32_t info = 0;
    const char* packageId = nullptr;
    if (sd_bus_message_read(message, "us", &info, &packageId) >= 0 && packageId) {
      watch.events_.package(path, info, packageId);
    }
  } else if (member == "Finished") {
    uint32_t exit = 0;
    if (sd_bus_message_read(message, "u", &exit) >= 0) {
      watch.known_.erase(path);
      watch.events_.finished(path, exit);
    }
  } else if (member == "Destroy") {
    if (watch.known_.erase(path) != 0) watch.events_.destroyed(path);
  }
  return 0;
}

}  // namespace tl::linuxdev
