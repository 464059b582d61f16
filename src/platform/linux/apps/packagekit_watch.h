// PackageKitWatch: the transactions of the system's software-management service on the system
// bus, on the loop thread.
#pragma once

#include <cstdint>
#include <functional>
#include <set>
#include <string>
#include <vector>

#include "platform/linux/loop/bus.h"

namespace tl::linuxdev {

struct PackageKitEvents {
  // A transaction appeared: its role, the user that asked for it and its flags.
  std::function<void(const std::string& path, uint32_t role, uint32_t uid, uint64_t flags)> created;
  std::function<void(const std::string& path, uint32_t info, const std::string& packageId)> package;
  std::function<void(const std::string& path, uint32_t exit)> finished;
  std::function<void(const std::string& path)> destroyed;
};

class PackageKitWatch {
 public:
  PackageKitWatch(sd_bus* systemBus, PackageKitEvents events);
  PackageKitWatch(const PackageKitWatch&) = delete;
  PackageKitWatch& operator=(const PackageKitWatch&) = delete;

  // Listens for its signals (blocking, before the loop runs). Never starts the service: its
  // transactions announce themselves. false when the bus neither has it nor can start it.
  Status start();

 private:
  static int OnTransactionListChanged(sd_bus_message* message, void* self, sd_bus_error*);
  static int OnTransactionSignal(sd_bus_message* message, void* self, sd_bus_error*);
  // Reads a new transaction's properties; false when it is gone already.
  bool learn(const std::string& path);

  sd_bus* bus_;
  PackageKitEvents events_;
  std::vector<SlotPtr> matches_;
  std::set<std::string> known_;
};

}  // namespace tl::linuxdev
