// The address cache keeps what it was given for every address while it has room.
#include "base/address_cache.h"

#include <gtest/gtest.h>

#include <random>
#include <string>
#include <vector>

namespace {

struct Slot {
  const char* text = nullptr;
  int value = 0;
};

TEST(AddressCache, EveryAddressKeepsItsSlotUntilHalfAreTakenThenAllStartAfresh) {
  // Key texts as the nodes of a map hold them: tens of bytes apart, at no regular spacing.
  constexpr size_t kSlots = 64;
  std::string texts(kSlots * 200, 'k');
  std::vector<const char*> addresses;
  std::mt19937 random(3);
  for (size_t at = 0; addresses.size() <= kSlots / 2; at += 32 + random() % 160) {
    addresses.push_back(texts.data() + at);
  }
  auto address = [&](size_t i) { return addresses[i]; };
  tl::AddressCache<Slot, kSlots> cache;
  // Half the slots: no address may push out another, whatever their home slots.
  for (size_t i = 0; i < kSlots / 2; ++i) {
    Slot& slot = cache.find(address(i));
    EXPECT_EQ(slot.text, address(i));
    EXPECT_EQ(slot.value, 0);
    slot.value = static_cast<int>(i) + 1;
  }
  for (size_t i = 0; i < kSlots / 2; ++i) {
    EXPECT_EQ(cache.find(address(i)).value, static_cast<int>(i) + 1) << i;
  }
  // One more empties the cache: the newcomer and then the old addresses start as new slots.
  EXPECT_EQ(cache.find(address(kSlots / 2)).value, 0);
  cache.find(address(kSlots / 2)).value = 99;
  EXPECT_EQ(cache.find(address(0)).value, 0);
  EXPECT_EQ(cache.find(address(kSlots / 2)).value, 99);
  cache.clear();
  EXPECT_EQ(cache.find(address(kSlots / 2)).value, 0);
}

}  // namespace
