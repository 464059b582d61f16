// AddressCache: slots found again by the address of a text handed over from the same place.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

namespace tl {

// For callers handed the same long texts from the same places over and over (the keys of a
// power commit live in one map for the life of the module): finding a slot by the text's
// address, then comparing the bytes it remembers, costs less than hashing the text. An address
// says only where to look; callers always compare the bytes, so a new text at an address used
// before is still told apart.
//
// Slot has a member `const char* text` (null in an empty slot) and whatever the caller keeps.
// Addresses are probed from a home slot on, so texts whose addresses share a home do not push
// each other out; when half the slots are taken, all are emptied and filled again from what is
// in use now, which keeps the probes short and lets addresses no longer used go.
template <class Slot, size_t kSlots>
class AddressCache {
  static_assert(kSlots >= 2 && (kSlots & (kSlots - 1)) == 0, "a power of two");

 public:
  // The slot of address: the one it had, or else a new one with text set and the rest as a new
  // Slot has it.
  Slot& find(const char* address) {
    size_t i = Home(address);
    for (; slots_[i].text != nullptr; i = (i + 1) & (kSlots - 1)) {
      if (slots_[i].text == address) return slots_[i];
    }
    if (++used_ > kSlots / 2) {
      clear();
      used_ = 1;
      i = Home(address);
    }
    slots_[i] = Slot{};
    slots_[i].text = address;
    return slots_[i];
  }

  void clear() {
    slots_.fill(Slot{});
    used_ = 0;
  }

 private:
  // Texts lie tens of bytes apart, so the address is mixed (Fibonacci hashing) before its high
  // bits pick the home slot.
  static size_t Home(const char* address) {
    const uint64_t mixed = reinterpret_cast<uintptr_t>(address) * 0x9E3779B97F4A7C15u;
    return static_cast<size_t>(mixed >> 32) & (kSlots - 1);
  }

  std::array<Slot, kSlots> slots_{};
  size_t used_ = 0;
};

}  // namespace tl
