// CPU counters of the kernel as text: a cgroup's cpu.stat, a process's stat line and the
// device's /proc/stat, each read into CPU seconds.
#pragma once

#include <optional>
#include <string_view>

namespace tl::linuxdev {

// The usage_usec of a cgroup's cpu.stat, in seconds; nullopt when the text holds none that is a
// whole number.
std::optional<double> CgroupCpuSeconds(std::string_view cpuStat);
// A process's own and its waited-for children's user and system time (/proc/PID/stat's utime,
// stime, cutime and cstime) in seconds, at ticksPerSecond.
std::optional<double> ProcessCpuSeconds(std::string_view stat, long ticksPerSecond);
// The device's busy CPU time (/proc/stat's first "cpu" line: user, nice, system, irq, softirq
// and steal; guests are within user) in seconds, at ticksPerSecond.
std::optional<double> DeviceCpuSeconds(std::string_view procStat, long ticksPerSecond);

}  // namespace tl::linuxdev
