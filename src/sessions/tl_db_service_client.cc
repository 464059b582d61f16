// TLDBServiceClientGetPersonAndEmailCount: the client routine of the message-based service that
// counts persons and e-mail addresses; nothing in the module calls it.
#include <cstring>

#include "core/tallyline_module.h"
#include "platform/platform.h"

namespace {

constexpr int32_t kRequestId = 1251;
constexpr int32_t kReplyId = kRequestId + 100;
constexpr int32_t kSendOnceNotification = 71;  // the server went away
constexpr uint32_t kReplyLimit = 52;
constexpr uint32_t kSuccessSize = 44;
constexpr uint32_t kErrorSize = 36;
constexpr int32_t kServerDied = -308;
constexpr int32_t kReplyMismatch = -301;
constexpr int32_t kTypeError = -300;

// Reply layout: header (24 bytes), 8 bytes of data representation, the return code, then on
// success the two counts.
constexpr size_t kReturnCodeOffset = 32;
constexpr size_t kPersonsOffset = 36;
constexpr size_t kEmailsOffset = 40;

uint32_t Bits(uint32_t remote, uint32_t local) { return remote | (local << 8); }

}  // namespace

extern "C" int32_t TLDBServiceClientGetPersonAndEmailCount(uint32_t server, uint32_t* personCount,
                                                           uint32_t* emailCount) {
  auto& transport = tl::platform::Current().messages();
  alignas(8) uint8_t buffer[kReplyLimit] = {};
  auto* header = reinterpret_cast<tl::platform::MessageHeader*>(buffer);
  const uint32_t replyPort = transport.threadReplyPort();
  header->bits = Bits(tl::platform::kMessageTypeCopySend, tl::platform::kMessageTypeMakeSendOnce);
  header->size = sizeof(tl::platform::MessageHeader);
  header->remotePort = server;
  header->localPort = replyPort;
  header->voucherPort = 0;
  header->id = kRequestId;

  const int32_t result =
      transport.sendReceive(header, sizeof(tl::platform::MessageHeader), kReplyLimit, replyPort);
  if (result != tl::platform::kReturnSuccess) {
    // A message that never left keeps a good reply port; after any other failure the port may
    // hold a stale right and is replaced.
    if (result != tl::platform::kMessageSendInvalidDest) transport.destroyReplyPort(replyPort);
    return result;
  }
  if (header->id != kReplyId) {
    return header->id == kSendOnceNotification ? kServerDied : kReplyMismatch;
  }
  int32_t returnCode;
  std::memcpy(&returnCode, buffer + kReturnCodeOffset, sizeof returnCode);
  const bool complex = header->bits & tl::platform::kMessageBitsComplex;
  if (complex || (header->size != kSuccessSize &&
                  (header->size != kErrorSize || returnCode == tl::platform::kReturnSuccess))) {
    return kTypeError;
  }
  if (returnCode != tl::platform::kReturnSuccess) return returnCode;
  std::memcpy(personCount, buffer + kPersonsOffset, sizeof *personCount);
  std::memcpy(emailCount, buffer + kEmailsOffset, sizeof *emailCount);
  return tl::platform::kReturnSuccess;
}
