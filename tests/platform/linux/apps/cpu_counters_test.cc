// The kernel's CPU texts: a cgroup's cpu.stat, a process's stat line whatever its name, and the
// device's busy time; anything else is no reading.
#include "platform/linux/apps/cpu_counters.h"

#include <gtest/gtest.h>

namespace {

using namespace tl::linuxdev;

TEST(CpuCountersTest, ReadsTheKernelsTextsAndRefusesGarbage) {
  EXPECT_EQ(CgroupCpuSeconds("usage_usec 2500000\nuser_usec 2000000\nsystem_usec 500000\n"
                             "nr_periods 0\n"),
            2.5);
  EXPECT_EQ(CgroupCpuSeconds("user_usec 1\nusage_usec 7\n"), 7e-6);
  EXPECT_EQ(CgroupCpuSeconds(""), std::nullopt);
  EXPECT_EQ(CgroupCpuSeconds("usage_usec abc\n"), std::nullopt);
  EXPECT_EQ(CgroupCpuSeconds("usage_usec -5\n"), std::nullopt);
  EXPECT_EQ(CgroupCpuSeconds("usage_usec 12x\n"), std::nullopt);

  // utime 150, stime 50, cutime 30, cstime 20 ticks at 100 a second: 2.5 s. The name holds
  // spaces and a parenthesis, and tpgid is -1.
  const char* stat =
      "4242 (my (odd) app) S 1 4242 4242 0 -1 4194304 900 0 3 0 150 50 30 20 20 0 4 0 1234 "
      "0 0\n";
  EXPECT_EQ(ProcessCpuSeconds(stat, 100), 2.5);
  EXPECT_EQ(ProcessCpuSeconds("4242 (app) S 1 2 3", 100), std::nullopt);
  EXPECT_EQ(ProcessCpuSeconds("no parenthesis at all", 100), std::nullopt);

  // user 1000, nice 20, system 300, idle 9999, iowait 50, irq 5, softirq 15, steal 10: idle
  // and I/O wait are not busy.
  EXPECT_EQ(
      DeviceCpuSeconds("cpu  1000 20 300 9999 50 5 15 10 0 0\ncpu0 1 2 3 4 5 6 7 8 0 0\n", 100),
      13.5);
  EXPECT_EQ(DeviceCpuSeconds("cpu0 1 2 3 4 5 6 7 8\n", 100), std::nullopt);
  EXPECT_EQ(DeviceCpuSeconds("cpu  1 2 3\n", 100), std::nullopt);
}

}  // namespace
