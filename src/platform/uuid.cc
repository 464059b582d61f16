// Uuid: text conversions.
#include "platform/uuid.h"

namespace tl::platform {

namespace {
constexpr bool IsDashPosition(size_t i) { return i == 8 || i == 13 || i == 18 || i == 23; }

int HexDigit(char c) {
  if (c >= '0' && c <= '9') return c - '0';
  if (c >= 'a' && c <= 'f') return c - 'a' + 10;
  if (c >= 'A' && c <= 'F') return c - 'A' + 10;
  return -1;
}
}  // namespace

bool Uuid::isZero() const {
  for (uint8_t b : bytes) {
    if (b != 0) return false;
  }
  return true;
}

std::string Uuid::text() const {
  static constexpr char kHex[] = "0123456789ABCDEF";
  std::string out;
  out.reserve(36);
  for (size_t i = 0; i < bytes.size(); ++i) {
    if (i == 4 || i == 6 || i == 8 || i == 10) out.push_back('-');
    out.push_back(kHex[bytes[i] >> 4]);
    out.push_back(kHex[bytes[i] & 0xF]);
  }
  return out;
}

std::optional<Uuid> Uuid::parse(std::string_view text) {
  if (text.size() != 36) return std::nullopt;
  Uuid uuid;
  size_t byte = 0;
  for (size_t i = 0; i < text.size();) {
    if (IsDashPosition(i)) {
      if (text[i] != '-') return std::nullopt;
      ++i;
      continue;
    }
    int hi = HexDigit(text[i]);
    int lo = HexDigit(text[i + 1]);
    if (hi < 0 || lo < 0) return std::nullopt;
    uuid.bytes[byte++] = static_cast<uint8_t>(hi << 4 | lo);
    i += 2;
  }
  return uuid;
}

}  // namespace tl::platform
