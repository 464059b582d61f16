// NotifyService: the daemon's object, and the client call of `tallyd notify`.
#include "platform/linux/roles/notify_service.h"

namespace tl::linuxdev {

const sd_bus_vtable NotifyService::kVTable[] = {
    SD_BUS_VTABLE_START(0),
    SD_BUS_METHOD_WITH_ARGS(kPostMethod, SD_BUS_ARGS("s", name, "t", state), SD_BUS_NO_RESULT,
                            NotifyService::OnPost, SD_BUS_VTABLE_UNPRIVILEGED),
    SD_BUS_VTABLE_END,
};

NotifyService::NotifyService(sd_bus* sessionBus,
                             std::function<void(const std::string&, uint64_t)> post)
    : bus_(sessionBus), post_(std::move(post)) {}

Status NotifyService::start() {
  if (!bus_) return NoBus("session");
  sd_bus_slot* slot = nullptr;
  const int r =
      sd_bus_add_object_vtable(bus_, &slot, kDaemonObjectPath, kDaemonInterface, kVTable, this);
  if (r < 0) return ReturnStatus(r);
  object_.reset(slot);
  return ReturnStatus(sd_bus_request_name(bus_, kDaemonBusName, 0));
}

int NotifyService::OnPost(sd_bus_message* message, void* self, sd_bus_error*) {
  const char* name = nullptr;
  uint64_t state = 0;
  int r = sd_bus_message_read(message, "st", &name, &state);
  if (r < 0) return r;
  static_cast<NotifyService*>(self)->post_(name, state);
  return sd_bus_reply_method_return(message, "");
}

std::string PostToDaemon(const std::string& name, uint64_t state) {
  BusPtr bus = OpenSessionBus();
  if (!bus) return "cannot reach the session bus";
  BusError error;
  int r = sd_bus_call_method(bus.get(), kDaemonBusName, kDaemonObjectPath, kDaemonInterface,
                             kPostMethod, error.get(), nullptr, "st", name.c_str(), state);
  std::string result;
  if (r < 0) {
    result = error.message() ? error.message() : "the daemon did not answer";
  }
  return result;
}

}  // namespace tl::linuxdev
