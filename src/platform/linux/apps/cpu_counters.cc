// CPU counters: parsing the kernel's texts.
#include "platform/linux/apps/cpu_counters.h"

#include <charconv>
#include <cstdint>
#include <vector>

namespace tl::linuxdev {

namespace {

// The whitespace-separated whole numbers of text, up to the first that is not one.
std::vector<uint64_t> Numbers(std::string_view text, size_t most) {
  std::vector<uint64_t> numbers;
  while (numbers.size() < most) {
    const size_t begin = text.find_first_not_of(" \t");
    if (begin == std::string_view::npos) break;
    text.remove_prefix(begin);
    uint64_t value = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    if (error != std::errc() ||
        (end != text.data() + text.size() && *end != ' ' && *end != '\t' && *end != '\n')) {
      break;
    }
    numbers.push_back(value);
    text.remove_prefix(static_cast<size_t>(end - text.data()));
  }
  return numbers;
}

std::string_view Line(std::string_view text, std::string_view prefix) {
  for (size_t at = 0; at < text.size();) {
    const size_t end = std::min(text.find('\n', at), text.size());
    const std::string_view line = text.substr(at, end - at);
    if (line.starts_with(prefix)) return line.substr(prefix.size());
    at = end + 1;
  }
  return {};
}

}  // namespace

std::optional<double> CgroupCpuSeconds(std::string_view cpuStat) {
  const std::vector<uint64_t> usage = Numbers(Line(cpuStat, "usage_usec "), 1);
  if (usage.empty()) return std::nullopt;
  return static_cast<double>(usage[0]) / 1e6;
}

std::optional<double> ProcessCpuSeconds(std::string_view stat, long ticksPerSecond) {
  // The command name may hold spaces and parentheses: the fields start after the last ')'.
  const size_t close = stat.rfind(')');
  if (close == std::string_view::npos || ticksPerSecond <= 0) return std::nullopt;
  std::string_view fields = stat.substr(close + 1);
  // Fields 3 to 13 (state to cmajflt) come first; the state is a letter.
  for (int skip = 0; skip < 11; ++skip) {
    const size_t begin = fields.find_first_not_of(' ');
    const size_t end = fields.find(' ', begin);
    if (begin == std::string_view::npos || end == std::string_view::npos) return std::nullopt;
    fields.remove_prefix(end);
  }
  const std::vector<uint64_t> times = Numbers(fields, 4);
  if (times.size() < 4) return std::nullopt;
  return static_cast<double>(times[0] + times[1] + times[2] + times[3]) /
         static_cast<double>(ticksPerSecond);
}

std::optional<double> DeviceCpuSeconds(std::string_view procStat, long ticksPerSecond) {
  const std::vector<uint64_t> t = Numbers(Line(procStat, "cpu "), 8);
  if (t.size() < 8 || ticksPerSecond <= 0) return std::nullopt;
  // user nice system idle iowait irq softirq steal
  return static_cast<double>(t[0] + t[1] + t[2] + t[5] + t[6] + t[7]) /
         static_cast<double>(ticksPerSecond);
}

}  // namespace tl::linuxdev
