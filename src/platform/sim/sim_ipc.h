// SimIpc: connections to named services and the raw message transport of the simulated device.
#pragma once

#include <functional>
#include <map>
#include <set>
#include <variant>
#include <vector>

#include "platform/ipc.h"
#include "platform/sim/sim_context.h"

namespace tl::sim {

class SimIpc : public platform::Ipc, public platform::MessageTransport {
 public:
  // A scripted server: given the request's bytes, a reply's bytes or a transport error.
  using Server = std::function<std::variant<platform::ReturnCode, std::vector<uint8_t>>(
      const std::vector<uint8_t>& request)>;

  explicit SimIpc(SimContext context);
  ~SimIpc() override;

  // Ipc.
  std::unique_ptr<platform::WispConnection> createConnection(const std::string& serviceName,
                                                             uint64_t flags) override;
  platform::WispRef createDictionary() override;
  platform::WispRef createArray() override;

  // MessageTransport.
  uint32_t threadReplyPort() override { return replyPort_; }
  platform::ReturnCode sendReceive(platform::MessageHeader* buffer, uint32_t sendSize,
                                   uint32_t receiveLimit, uint32_t receivePort) override;
  void destroyReplyPort(uint32_t port) override;

  // The system side.
  void setServiceReachable(const std::string& service, bool reachable);
  void setConnectionsFail(bool fail) { connectionsFail_ = fail; }
  void setObjectCreationFails(bool fail) { objectsFail_ = fail; }
  void setServer(uint32_t port, Server server) { servers_[port] = std::move(server); }
  int destroyedReplyPorts() const { return destroyedReplyPorts_; }

 private:
  class Connection;

  SimContext context_;
  std::unique_ptr<SimQueue> libraryQueue_;  // the IPC library's default queue
  std::set<std::string> unreachable_;
  bool connectionsFail_ = false;
  bool objectsFail_ = false;
  std::map<uint32_t, Server> servers_;
  uint32_t replyPort_ = 0x1103;
  int destroyedReplyPorts_ = 0;
};

}  // namespace tl::sim
