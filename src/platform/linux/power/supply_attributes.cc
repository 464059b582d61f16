// SupplyAttributes: the ranges and texts a power supply may report, and the check of each.
#include "platform/linux/power/supply_attributes.h"

#include <algorithm>
#include <array>
#include <charconv>

namespace tl::linuxdev {

namespace {

struct NumberRule {
  const char* name;
  int64_t min;
  int64_t max;
};

// The kernel's units: µAh, µWh, µV, µA, µW, tenths of a degree Celsius. The bounds are far beyond
// any phone's or laptop's battery (1,000 Ah, 10 kWh, 100 V, 100 A, 1 kW, -50 to 150 °C) and far
// below where a sum or a product of them could overflow.
constexpr int64_t kMaxCharge = 1'000'000'000;
constexpr int64_t kMaxEnergy = 10'000'000'000;
constexpr int64_t kMinVolts = 100'000;
constexpr int64_t kMaxVolts = 100'000'000;
constexpr std::array kNumbers = {
    NumberRule{"present", 0, 1},
    NumberRule{"online", 0, 2},
    NumberRule{"capacity", 0, 100},
    NumberRule{"charge_now", 0, kMaxCharge},
    NumberRule{"charge_full", 1, kMaxCharge},
    NumberRule{"charge_full_design", 1, kMaxCharge},
    NumberRule{"energy_now", 0, kMaxEnergy},
    NumberRule{"energy_full", 1, kMaxEnergy},
    NumberRule{"energy_full_design", 1, kMaxEnergy},
    NumberRule{"voltage_now", kMinVolts, kMaxVolts},
    NumberRule{"voltage_min_design", kMinVolts, kMaxVolts},
    NumberRule{"voltage_max_design", kMinVolts, kMaxVolts},
    NumberRule{"current_now", -100'000'000, 100'000'000},
    NumberRule{"power_now", -1'000'000'000, 1'000'000'000},
    NumberRule{"temp", -500, 1500},
    NumberRule{"cycle_count", 0, 1'000'000},
};

struct TextRule {
  const char* name;
  std::vector<std::string_view> allowed;  // empty: any printable text
};

const std::vector<TextRule>& TextRules() {
  static const std::vector<TextRule> kTexts = {
      {"type", {"Battery", "UPS", "Mains", "USB", "Wireless"}},
      {"scope", {"Unknown", "System", "Device"}},
      {"status", {"Unknown", "Charging", "Discharging", "Not charging", "Full"}},
      {"capacity_level", {"Unknown", "Critical", "Low", "Normal", "High", "Full"}},
      {"health",
       {"Unknown", "Good", "Overheat", "Dead", "Over voltage", "Unspecified failure", "Cold",
        "Watchdog timer expire", "Safety timer expire", "Over current", "Calibration required",
        "Warm", "Cool", "Hot", "No battery"}},
      {"model_name", {}},
      {"manufacturer", {}},
      {"serial_number", {}},
  };
  return kTexts;
}

// Names and serial numbers are short printable ASCII; anything else is not a driver's text.
constexpr size_t kMaxText = 128;
bool Printable(std::string_view text) {
  return text.size() <= kMaxText &&
         std::all_of(text.begin(), text.end(), [](char c) { return c >= 0x20 && c < 0x7f; });
}

// A refused value as a log line may show it: printable, and short.
std::string Shown(std::string_view text) {
  std::string shown(text.substr(0, kMaxText));
  for (char& c : shown) {
    if (c < 0x20 || c >= 0x7f) c = '?';
  }
  return text.size() > kMaxText ? shown + "..." : shown;
}

void CheckNumber(const NumberRule& rule, const std::string& text, SupplyValues& out,
                 std::vector<Refusal>& refused) {
  int64_t value = 0;
  auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
  if (error != std::errc() || end != text.data() + text.size()) {
    refused.push_back({rule.name, Shown(text), "not a whole number"});
  } else if (value < rule.min || value > rule.max) {
    refused.push_back({rule.name, Shown(text),
                       "outside " + std::to_string(rule.min) + " to " + std::to_string(rule.max)});
  } else {
    out.numbers.emplace(rule.name, value);
  }
}

void CheckText(const TextRule& rule, const std::string& text, SupplyValues& out,
               std::vector<Refusal>& refused) {
  const bool known = rule.allowed.empty() ? Printable(text)
                                          : std::find(rule.allowed.begin(), rule.allowed.end(),
                                                      text) != rule.allowed.end();
  if (known) {
    out.texts.emplace(rule.name, text);
  } else {
    refused.push_back({rule.name, Shown(text), "not a known value"});
  }
}

// A gauge's present charge may read a little above full; far above, one of the two is wrong,
// and it is the one that moves.
void CheckAgainstFull(const char* now, const char* full, SupplyValues& out,
                      std::vector<Refusal>& refused) {
  auto n = out.numbers.find(now);
  auto f = out.numbers.find(full);
  if (n == out.numbers.end() || f == out.numbers.end()) return;
  if (static_cast<double>(n->second) <= static_cast<double>(f->second) * (1 + kFullMargin)) {
    return;
  }
  refused.push_back({now, std::to_string(n->second), std::string("above ") + full});
  out.numbers.erase(n);
}

}  // namespace

const std::vector<std::string>& PowerSupplyAttributes() {
  static const std::vector<std::string> kAttributes = [] {
    std::vector<std::string> names;
    for (const NumberRule& rule : kNumbers) names.emplace_back(rule.name);
    for (const TextRule& rule : TextRules()) names.emplace_back(rule.name);
    return names;
  }();
  return kAttributes;
}

const int64_t* SupplyValues::number(std::string_view attribute) const {
  auto it = numbers.find(attribute);
  return it == numbers.end() ? nullptr : &it->second;
}

std::string SupplyValues::text(std::string_view attribute) const {
  auto it = texts.find(attribute);
  return it == texts.end() ? std::string() : it->second;
}

SupplyValues CheckSupplyAttributes(const SysfsDevice& supply, std::vector<Refusal>* refused) {
  SupplyValues out;
  std::vector<Refusal> local;
  std::vector<Refusal>& list = refused ? *refused : local;
  for (const NumberRule& rule : kNumbers) {
    auto it = supply.attributes.find(rule.name);
    if (it != supply.attributes.end()) CheckNumber(rule, it->second, out, list);
  }
  for (const TextRule& rule : TextRules()) {
    auto it = supply.attributes.find(rule.name);
    if (it != supply.attributes.end()) CheckText(rule, it->second, out, list);
  }
  CheckAgainstFull("charge_now", "charge_full", out, list);
  CheckAgainstFull("energy_now", "energy_full", out, list);
  return out;
}

}  // namespace tl::linuxdev
