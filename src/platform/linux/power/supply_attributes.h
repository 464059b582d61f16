// SupplyAttributes: a power supply's sysfs attributes parsed whole and checked against what a
// power supply can report, before any of them is believed.
#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "platform/linux/loop/sysfs.h"

namespace tl::linuxdev {

// The attributes read of each power supply.
const std::vector<std::string>& PowerSupplyAttributes();

// The attributes of one supply that passed: numbers in the kernel's units, texts as written.
struct SupplyValues {
  std::map<std::string, int64_t, std::less<>> numbers;
  std::map<std::string, std::string, std::less<>> texts;

  const int64_t* number(std::string_view attribute) const;
  std::string text(std::string_view attribute) const;  // empty when absent
};

// An attribute that did not pass, and why.
struct Refusal {
  std::string attribute;
  std::string value;
  std::string why;
};

// Checks every attribute of supply: a number must be an integer written whole and lie within
// what any battery or adapter can report (so that no arithmetic on it can overflow), a text must
// be one the kernel documents for that attribute, and a battery's present charge (or energy) may
// exceed its full charge by kFullMargin at most. What fails is left out and listed in refused.
SupplyValues CheckSupplyAttributes(const SysfsDevice& supply, std::vector<Refusal>* refused);

// How far a gauge that is not calibrated may read above its full charge: a tenth of it.
inline constexpr double kFullMargin = 0.1;

}  // namespace tl::linuxdev
