// InMultiUserMode and TLContainerPath: where the answers come from and how long they are kept.
#include <gtest/gtest.h>

#include "core/tallyline_module.h"
#include "test_support.h"

namespace {

using tl::testing::CurrentDevice;
using tl::testing::Json;

constexpr char kMarker[] = "/var/db/forceMultiUserMode";
constexpr char kForcing[] =
    "Forcing Multi User Mode behavior due to the presence of /var/db/forceMultiUserMode";

Json Device(bool internal, bool marker, bool multiUser) {
  Json device = {{"answers", {{"InternalBuild", internal}}}, {"multi_user", multiUser}};
  if (marker) device["files"] = {{kMarker, ""}};
  return device;
}

TEST(InMultiUserMode, MarkerFileCountsOnlyOnInternalBuilds) {
  CurrentDevice device(Device(/*internal=*/false, /*marker=*/true, /*multiUser=*/false));
  EXPECT_FALSE(InMultiUserMode());
  EXPECT_FALSE(device->recorded().logged(kForcing));
}

TEST(InMultiUserMode, InternalBuildAnswerMustBeTheBooleanTrue) {
  CurrentDevice device(
      tl::testing::Json{{"answers", {{"InternalBuild", 1}}}, {"files", {{kMarker, ""}}}});
  EXPECT_FALSE(InMultiUserMode());
}

TEST(InMultiUserMode, MarkerOnInternalBuildForcesItAndTheAnswerIsKept) {
  CurrentDevice device(Device(/*internal=*/true, /*marker=*/true, /*multiUser=*/false));
  EXPECT_TRUE(InMultiUserMode());
  ASSERT_EQ(device->recorded().logs().size(), 1u);
  EXPECT_EQ(device->recorded().logs()[0].text, kForcing);

  // Removing the marker later changes nothing for the life of the process, and nothing is
  // logged again.
  ASSERT_TRUE(device->files().remove(kMarker).ok());
  EXPECT_TRUE(InMultiUserMode());
  EXPECT_EQ(device->recorded().logs().size(), 1u);
}

TEST(InMultiUserMode, KernelAnswerIsKeptForTheProcess) {
  CurrentDevice device(Device(/*internal=*/true, /*marker=*/false, /*multiUser=*/true));
  EXPECT_TRUE(InMultiUserMode());
  device->set({{"multi_user", false}});
  EXPECT_TRUE(InMultiUserMode());
  EXPECT_TRUE(device->recorded().logs().empty());
}

TEST(TLContainerPath, SingleUserDeviceUsesVarMobileWithoutALookup) {
  CurrentDevice device(Device(false, false, /*multiUser=*/false));
  EXPECT_STREQ(TLContainerPath(), "/var/mobile");
  EXPECT_STREQ(TLContainerPath(), "/var/mobile");
  EXPECT_EQ(device->simEnvironment().containerLookups(), 0);
}

TEST(TLContainerPath, MultiUserDeviceLooksUpTheSystemGroupContainerOnce) {
  CurrentDevice device(
      tl::testing::Json{{"multi_user", true}, {"container_path", "/var/containers/sysmetry"}});
  const char* first = TLContainerPath();
  ASSERT_NE(first, nullptr);
  EXPECT_STREQ(first, "/var/containers/sysmetry");
  device->set({{"container_path", "/elsewhere"}});
  EXPECT_EQ(TLContainerPath(), first);
  EXPECT_EQ(device->simEnvironment().containerLookups(), 1);
}

TEST(TLContainerPath, FailedLookupIsLoggedWithItsCodeAndNotKept) {
  CurrentDevice device(tl::testing::Json{{"multi_user", true}, {"container_path", nullptr}});
  EXPECT_EQ(TLContainerPath(), nullptr);
  EXPECT_EQ(TLContainerPath(), nullptr);
  // The error code starts at 1 and the lookup gave no code of its own.
  ASSERT_EQ(device->recorded().logs().size(), 2u);
  EXPECT_EQ(device->recorded().logs()[0].text, "Error getting system group container: 1");
  EXPECT_EQ(device->recorded().logs()[1].text, "Error getting system group container: 1");

  device->set({{"container_path", "/var/containers/sysmetry"}});
  EXPECT_STREQ(TLContainerPath(), "/var/containers/sysmetry");
  EXPECT_EQ(device->simEnvironment().containerLookups(), 3);
}

}  // namespace
