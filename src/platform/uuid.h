// Uuid: a 16-byte identifier and its 36-character textual form.
#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace tl::platform {

struct Uuid {
  std::array<uint8_t, 16> bytes{};

  bool isZero() const;
  // Upper-case 8-4-4-4-12 text.
  std::string text() const;
  // Accepts the 8-4-4-4-12 text in either case; nothing else.
  static std::optional<Uuid> parse(std::string_view text);

  friend bool operator==(const Uuid&, const Uuid&) = default;
};

}  // namespace tl::platform
