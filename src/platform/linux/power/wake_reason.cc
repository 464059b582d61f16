// WakeReason: the token list and its sysfs sources.
#include "platform/linux/power/wake_reason.h"

#include <algorithm>
#include <charconv>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <vector>

namespace tl::linuxdev {

namespace {

// A name as one token: blanks and commas become '_'.
std::string Token(std::string name) {
  for (char& c : name) {
    if (c == ' ' || c == '\t' || c == '\n' || c == ',') c = '_';
  }
  return name;
}

std::optional<std::string> ReadLine(const std::filesystem::path& path) {
  std::ifstream in(path);
  std::string line;
  if (!in || !std::getline(in, line)) return std::nullopt;
  return line;
}

}  // namespace

std::string WakeReasonTokens(std::optional<int> wakeupIrq, const std::string& irqActions,
                             const WakeupCounts& beforeSleep, const WakeupCounts& afterWake) {
  std::vector<std::string> tokens;
  auto add = [&](std::string token) {
    if (!token.empty() && std::find(tokens.begin(), tokens.end(), token) == tokens.end()) {
      tokens.push_back(std::move(token));
    }
  };
  if (wakeupIrq) {
    std::stringstream actions(irqActions);
    std::string action;
    bool named = false;
    while (std::getline(actions, action, ',')) {
      action.erase(0, action.find_first_not_of(" \t\n"));
      action.erase(action.find_last_not_of(" \t\n") + 1);
      if (action.empty()) continue;
      add(Token(action));
      named = true;
    }
    if (!named) add("irq" + std::to_string(*wakeupIrq));
  }
  for (const auto& [name, count] : afterWake) {
    auto before = beforeSleep.find(name);
    if (count > (before == beforeSleep.end() ? 0 : before->second)) add(Token(name));
  }
  std::string reason;
  for (const std::string& token : tokens) {
    if (!reason.empty()) reason += ' ';
    reason += token;
  }
  return reason;
}

std::optional<int> ReadWakeupIrq(const std::string& sysRoot) {
  // The file reads as an error (ENODATA) when no interrupt woke the system.
  auto line = ReadLine(sysRoot + "/power/pm_wakeup_irq");
  if (!line) return std::nullopt;
  return ParseWakeupIrq(*line);
}

std::optional<int> ParseWakeupIrq(std::string_view line) {
  int irq = -1;
  auto [end, error] = std::from_chars(line.data(), line.data() + line.size(), irq);
  if (error != std::errc() || irq < 0) return std::nullopt;
  // Only white space may follow the number.
  if (std::string_view(end, line.data() + line.size()).find_first_not_of(" \t\n") !=
      std::string_view::npos) {
    return std::nullopt;
  }
  return irq;
}

std::optional<long long> ParseWakeupCount(std::string_view line) {
  long long count = -1;
  auto [end, error] = std::from_chars(line.data(), line.data() + line.size(), count);
  if (error != std::errc() || count < 0 || end != line.data() + line.size()) return std::nullopt;
  return count;
}

std::string ReadIrqActions(const std::string& sysRoot, int irq) {
  return ReadLine(sysRoot + "/kernel/irq/" + std::to_string(irq) + "/actions").value_or("");
}

WakeupCounts ReadWakeupCounts(const std::string& sysRoot) {
  WakeupCounts counts;
  std::error_code error;
  for (const auto& entry : std::filesystem::directory_iterator(sysRoot + "/class/wakeup", error)) {
    auto name = ReadLine(entry.path() / "name");
    auto count = ReadLine(entry.path() / "event_count");
    if (!name || !count) continue;
    if (auto value = ParseWakeupCount(*count)) counts[*name] = *value;
  }
  return counts;
}

}  // namespace tl::linuxdev
