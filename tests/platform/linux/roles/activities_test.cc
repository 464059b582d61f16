// When the background activity scheduler's activities are due.
#include <gtest/gtest.h>

#include <optional>

#include "platform/linux/roles/linux_activities.h"

namespace tl::linuxdev {
namespace {

TEST(ActivitiesTest, DueOneIntervalAfterTheLastRunWithinBounds) {
  EXPECT_EQ(SecondsUntilDue(std::nullopt, 1000, 3600), 3600);
  EXPECT_EQ(SecondsUntilDue(1000, 1600, 3600), 3000);  // a restart keeps the schedule
  EXPECT_EQ(SecondsUntilDue(1000, 9000, 3600), 0);     // overdue: at once
  EXPECT_EQ(SecondsUntilDue(9000, 1000, 3600), 3600);  // the clock was set back
}

}  // namespace
}  // namespace tl::linuxdev
