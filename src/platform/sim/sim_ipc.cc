// SimIpc: one-way messages become outputs; raw exchanges go to scripted servers.
#include "platform/sim/sim_ipc.h"

#include <cstring>

namespace tl::sim {

using namespace platform;

class SimIpc::Connection : public WispConnection {
 public:
  Connection(SimIpc& ipc, std::string service) : ipc_(ipc), service_(std::move(service)) {}

  void setEventHandler(std::function<void(const WispObject&)> handler) override {
    handler_ = std::make_shared<std::function<void(const WispObject&)>>(std::move(handler));
  }
  void resume() override { resumed_ = true; }

  void sendMessage(const WispObject& message) override {
    if (ipc_.unreachable_.count(service_)) {
      // The service is not there: the connection becomes invalid and says so to its handler.
      if (handler_) {
        auto handler = handler_;
        ipc_.libraryQueue_->async(
            [handler] { (*handler)(*WispObject::makeError(kWispErrorConnectionInvalid)); });
      }
      return;
    }
    ipc_.context_.outputs.ipc(service_, message);
  }

 private:
  SimIpc& ipc_;
  std::string service_;
  std::shared_ptr<std::function<void(const WispObject&)>> handler_;
  bool resumed_ = false;
};

SimIpc::SimIpc(SimContext context)
    : context_(context),
      libraryQueue_(std::make_unique<SimQueue>(context.scheduler, "system.ipc", false)) {}

SimIpc::~SimIpc() = default;

std::unique_ptr<WispConnection> SimIpc::createConnection(const std::string& serviceName,
                                                         uint64_t flags) {
  if (connectionsFail_) return nullptr;
  return std::make_unique<Connection>(*this, serviceName);
}

WispRef SimIpc::createDictionary() { return objectsFail_ ? nullptr : WispObject::makeDictionary(); }

WispRef SimIpc::createArray() { return objectsFail_ ? nullptr : WispObject::makeArray(); }

ReturnCode SimIpc::sendReceive(MessageHeader* buffer, uint32_t sendSize, uint32_t receiveLimit,
                               uint32_t receivePort) {
  auto server = servers_.find(buffer->remotePort);
  if (server == servers_.end()) return kMessageSendInvalidDest;
  std::vector<uint8_t> request(sendSize);
  std::memcpy(request.data(), buffer, sendSize);
  auto answer = server->second(request);
  if (auto* error = std::get_if<ReturnCode>(&answer)) return *error;
  const auto& reply = std::get<std::vector<uint8_t>>(answer);
  if (reply.size() > receiveLimit) return kMessageReceiveTooLarge;
  std::memcpy(buffer, reply.data(), reply.size());
  return kReturnSuccess;
}

void SimIpc::destroyReplyPort(uint32_t port) {
  ++destroyedReplyPorts_;
  if (port == replyPort_) ++replyPort_;
}

void SimIpc::setServiceReachable(const std::string& service, bool reachable) {
  if (reachable) {
    unreachable_.erase(service);
  } else {
    unreachable_.insert(service);
  }
}

}  // namespace tl::sim
