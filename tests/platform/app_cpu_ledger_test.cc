// The ledger books CPU to the state an application was in when its counter was read, and its
// time to the state it was in while the time passed; each reading tells what happened since the
// one before, for the applications that did something.
#include "platform/app_cpu_ledger.h"

#include <gtest/gtest.h>

namespace {

using tl::platform::AppCpuLedger;
using tl::platform::AppUse;
using tl::platform::CounterGain;

TEST(AppCpuLedgerTest, BooksCpuAndTimeToForegroundAndBackground) {
  AppCpuLedger ledger;
  ledger.state("a", 8, 100);   // on screen
  ledger.addCpu("a", 3, 160);  // read as it leaves the foreground
  ledger.state("a", 4, 160);
  ledger.addCpu("a", 1.5, 200);
  ledger.state("a", 32, 230);  // obscured: still the foreground
  ledger.state("a", 1, 250);
  // Read after its last process exited: used while it last ran, obscured in front.
  ledger.addCpu("a", 0.5, 260);
  ledger.unknownCpu("b", 240);  // a reading that failed: counted, nothing booked

  ledger.state("c", 4, 290);  // idle in the background: nothing to tell

  std::vector<AppUse> use;
  ledger.take(300, &use);
  EXPECT_EQ(
      use, (std::vector<AppUse>{{"a", 60 + 20, 70, 3 + 0.5, 1.5, false}, {"b", 0, 0, 0, 0, true}}));
  // Each reading tells what happened since the one before; c's CPU comes with its time behind.
  ledger.addCpu("c", 2, 320);
  ledger.state("d", 8, 330);
  ledger.take(340, &use);
  EXPECT_EQ(use, (std::vector<AppUse>{{"c", 0, 40, 0, 2, false}, {"d", 10, 0, 0, 0, false}}));
}

TEST(AppCpuLedgerTest, ACounterThatGoesBackStartsAgainWithoutAGain) {
  std::optional<double> last;
  EXPECT_EQ(CounterGain(last, 10), 0.0);  // the first reading only starts the count
  EXPECT_EQ(CounterGain(last, 12.5), 2.5);
  EXPECT_EQ(CounterGain(last, 1), std::nullopt);  // made anew
  EXPECT_EQ(CounterGain(last, 4), 3.0);
}

}  // namespace
