// WakeReason: what woke the system, from the wakeup interrupt and the wakeup sources.
#pragma once

#include <map>
#include <optional>
#include <string>
#include <string_view>

namespace tl::linuxdev {

// Wakeup source name -> its event count.
using WakeupCounts = std::map<std::string, long long>;

// The reason as a space-separated token list: the names of the wakeup interrupt's actions (from
// /sys/kernel/irq/N/actions, "irq<N>" where it names none), then every wakeup source whose
// count grew across the sleep, each name once and without blanks. Empty when nothing is known.
std::string WakeReasonTokens(std::optional<int> wakeupIrq, const std::string& irqActions,
                             const WakeupCounts& beforeSleep, const WakeupCounts& afterWake);

// Reads the system's wakeup interrupt (/sys/power/pm_wakeup_irq), its actions, and the wakeup
// sources' counts (/sys/class/wakeup) below sysRoot.
std::optional<int> ReadWakeupIrq(const std::string& sysRoot);
// The texts of pm_wakeup_irq and of a wakeup source's event_count; nullopt when they are not
// one non-negative number.
std::optional<int> ParseWakeupIrq(std::string_view line);
std::optional<long long> ParseWakeupCount(std::string_view line);
std::string ReadIrqActions(const std::string& sysRoot, int irq);
WakeupCounts ReadWakeupCounts(const std::string& sysRoot);

}  // namespace tl::linuxdev
