// Ipc: message dictionaries, client connections to named services, and the raw message
// transport beneath remote-procedure stubs.
#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <variant>
#include <vector>

#include "platform/device_registry.h"
#include "platform/uuid.h"

namespace tl::platform {

class WispObject;
using WispRef = std::shared_ptr<WispObject>;

// A value of the IPC library: a dictionary, array, 64-bit integer, string, UUID or error.
class WispObject {
 public:
  enum class Type { kDictionary, kArray, kInt64, kString, kUuid, kError };

  static WispRef makeDictionary();
  static WispRef makeArray();
  static WispRef makeInt64(int64_t value);
  static WispRef makeString(std::string value);
  static WispRef makeUuid(const Uuid& value);
  static WispRef makeError(std::string description);

  Type type() const;

  // Dictionary entries, in the order of their keys.
  void setInt64(const std::string& key, int64_t value);
  void setString(const std::string& key, std::string value);
  void setUuid(const std::string& key, const Uuid& value);
  void setValue(const std::string& key, WispRef value);
  const WispObject* get(const std::string& key) const;
  const std::map<std::string, WispRef>& entries() const;

  // Array elements.
  void append(WispRef value);
  size_t count() const;
  const std::vector<WispRef>& elements() const;

  int64_t int64Value() const;
  const std::string& stringValue() const;  // also an error's description
  Uuid uuidValue() const;

 private:
  struct Passkey {};

 public:
  WispObject(Passkey, Type type) : type_(type) {}  // through the make functions only

 private:
  Type type_;
  std::variant<std::monostate, int64_t, std::string, Uuid, std::map<std::string, WispRef>,
               std::vector<WispRef>>
      data_;
};

// The error descriptions a connection's event handler may receive.
inline constexpr char kWispErrorConnectionInvalid[] = "Connection invalid";
inline constexpr char kWispErrorConnectionInterrupted[] = "Connection interrupted";

class WispConnection {
 public:
  virtual ~WispConnection() = default;
  // Events (errors of the connection) arrive on the library's default queue.
  virtual void setEventHandler(std::function<void(const WispObject& event)> handler) = 0;
  virtual void resume() = 0;
  // One-way: no reply is expected.
  virtual void sendMessage(const WispObject& message) = 0;
};

// The header that starts every raw message.
struct MessageHeader {
  uint32_t bits = 0;
  uint32_t size = 0;
  uint32_t remotePort = 0;
  uint32_t localPort = 0;
  uint32_t voucherPort = 0;
  int32_t id = 0;
};
static_assert(sizeof(MessageHeader) == 24);

inline constexpr uint32_t kMessageTypeCopySend = 19;
inline constexpr uint32_t kMessageTypeMakeSendOnce = 21;
inline constexpr uint32_t kMessageBitsComplex = 0x80000000u;
inline constexpr ReturnCode kMessageSendInvalidDest = 0x10000003;
inline constexpr ReturnCode kMessageReceiveTimedOut = 0x10004003;
inline constexpr ReturnCode kMessageReceiveTooLarge = 0x10004004;
inline constexpr ReturnCode kMessageReceiveInterrupted = 0x10004005;

// The raw transport used by generated client stubs.
class MessageTransport {
 public:
  virtual ~MessageTransport() = default;
  // The calling thread's reply port.
  virtual uint32_t threadReplyPort() = 0;
  // Sends sendSize bytes of buffer, then receives the reply into the same buffer, at most
  // receiveLimit bytes, on receivePort.
  virtual ReturnCode sendReceive(MessageHeader* buffer, uint32_t sendSize, uint32_t receiveLimit,
                                 uint32_t receivePort) = 0;
  // After a failed exchange the reply port may hold a stale right: destroy it and use a new one.
  virtual void destroyReplyPort(uint32_t port) = 0;
};

class Ipc {
 public:
  virtual ~Ipc() = default;
  // nullptr when no connection can be made.
  virtual std::unique_ptr<WispConnection> createConnection(const std::string& serviceName,
                                                           uint64_t flags) = 0;
  // nullptr when the object cannot be made.
  virtual WispRef createDictionary() = 0;
  virtual WispRef createArray() = 0;
};

}  // namespace tl::platform
