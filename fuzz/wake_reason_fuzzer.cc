// Fuzzes the wake reason: pm_wakeup_irq's text, the interrupt's actions and the wakeup sources'
// counts, split from the input at NUL bytes. The reason is a list of tokens without blanks,
// each once.
#include <cstddef>
#include <cstdint>
#include <set>
#include <sstream>

#include "platform/linux/power/wake_reason.h"

namespace {

std::string_view Next(std::string_view& text, char separator = '\0') {
  const size_t end = std::min(text.find(separator), text.size());
  const std::string_view part = text.substr(0, end);
  text.remove_prefix(std::min(end + 1, text.size()));
  return part;
}

// "name count" lines, the count as event_count would hold it.
tl::linuxdev::WakeupCounts Counts(std::string_view text) {
  tl::linuxdev::WakeupCounts counts;
  while (!text.empty()) {
    const std::string_view line = Next(text, '\n');
    const size_t space = line.rfind(' ');
    if (space == std::string_view::npos) continue;
    if (auto count = tl::linuxdev::ParseWakeupCount(line.substr(space + 1))) {
      counts[std::string(line.substr(0, space))] = *count;
    }
  }
  return counts;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  std::string_view text(reinterpret_cast<const char*>(data), size);
  const auto irq = tl::linuxdev::ParseWakeupIrq(Next(text));
  const std::string actions(Next(text));
  const std::string_view before = Next(text);
  const std::string reason =
      tl::linuxdev::WakeReasonTokens(irq, actions, Counts(before), Counts(text));
  std::set<std::string> seen;
  std::stringstream tokens(reason);
  for (std::string token; std::getline(tokens, token, ' ');) {
    if (token.empty() || token.find_first_of("\t\n,") != std::string::npos) __builtin_trap();
    if (!seen.insert(token).second) __builtin_trap();
  }
  return 0;
}
