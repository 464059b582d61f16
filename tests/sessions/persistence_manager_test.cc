// TLSessionPersistenceManager: appending, failures, reading back and truncating.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include "sessions/session_test_support.h"

namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using namespace tl::testing;
using Fault = tl::platform::FaultyFileSystem::Fault;
using PM = TLSessionPersistenceManager;

std::span<const uint8_t> Bytes(std::string_view text) {
  return {reinterpret_cast<const uint8_t*>(text.data()), text.size()};
}

constexpr char kDirectory[] = "/var/mobile/Library/Tallyline";

TEST(PersistenceManager, FirstAppendCreatesTheDirectoryAndFileWithTheirModes) {
  ::umask(077);  // the modes are the module's, not the daemon's umask
  CurrentDevice device;
  PM::saveEventRecord(Bytes("1 8 5 100\n"));
  PM::saveBundleRecord(Bytes("[\"a\"]"));
  PM::saveEventRecord(Bytes("1 8 6 200\n"));
  EXPECT_EQ(Mode(device->files(), kDirectory), 0755);
  EXPECT_EQ(Mode(device->files(), PM::kEventLogPath), 0644);
  EXPECT_EQ(Mode(device->files(), PM::kBundleLogPath), 0644);
  EXPECT_EQ(EventFile(*device), "1 8 5 100\n1 8 6 200\n");
  EXPECT_EQ(BundleFile(*device), "[\"a\"]\n");
  EXPECT_THAT(LogTexts(*device), IsEmpty());
}

TEST(PersistenceManager, AFailedWriteLosesOnlyItsRecordAndKeepsTheHandle) {
  CurrentDevice device;
  PM::saveEventRecord(Bytes("first\n"));
  device->faults().setFault(Fault::kNoSpace, true);
  PM::saveEventRecord(Bytes("lost\n"));
  device->faults().clearFaults();
  // Opening would fail now; the kept handle does not need to.
  device->faults().setFault(Fault::kFailedOpen, true);
  PM::saveEventRecord(Bytes("next\n"));
  EXPECT_EQ(EventFile(*device), "first\nnext\n");
  EXPECT_THAT(LogTexts(*device),
              ElementsAre("Received exception while saving data: No space left on device"));
}

TEST(PersistenceManager, AFileThatCannotBeOpenedDropsTheRecordAndIsRetried) {
  CurrentDevice device;
  // Without permission to create anything, both creations are reported and the record is lost.
  device->faults().setFault(Fault::kNoPermission, true, kDirectory);
  PM::saveBundleRecord(Bytes("[]"));
  EXPECT_THAT(LogTexts(*device),
              ElementsAre("Couldn't create directory at /var/mobile/Library/Tallyline for "
                          "/var/mobile/Library/Tallyline/session_bundles.log",
                          "Couldn't create log file at "
                          "/var/mobile/Library/Tallyline/session_bundles.log"));
  EXPECT_EQ(BundleFile(*device), "<none>");
  device->faults().clearFaults();

  // A file that exists but cannot be opened loses the record without a message.
  device->recorded().clear();
  device->faults().setFault(Fault::kFailedOpen, true, PM::kEventLogPath);
  PM::saveEventRecord(Bytes("dropped\n"));
  EXPECT_THAT(LogTexts(*device), IsEmpty());
  device->faults().clearFaults();
  PM::saveEventRecord(Bytes("written\n"));
  PM::saveBundleRecord(Bytes("[]"));
  EXPECT_EQ(EventFile(*device), "written\n");
  EXPECT_EQ(BundleFile(*device), "[]\n");
}

TEST(PersistenceManager, ReadsLineByLineUntilTheBlockStops) {
  CurrentDevice device(tl::testing::Json{{"files", {{PM::kEventLogPath, "a\nbb\n\nlast"}}}});
  std::vector<std::string> lines;
  PM::readEventEntriesUsingBlock([&](std::string_view line, bool*) { lines.emplace_back(line); });
  EXPECT_THAT(lines, ElementsAre("a\n", "bb\n", "\n", "last"));
  lines.clear();
  PM::readEventEntriesUsingBlock([&](std::string_view line, bool* stop) {
    lines.emplace_back(line);
    *stop = line == "bb\n";
  });
  EXPECT_THAT(lines, ElementsAre("a\n", "bb\n"));
  lines.clear();
  PM::readBundleEntriesUsingBlock([&](std::string_view line, bool*) { lines.emplace_back(line); });
  EXPECT_THAT(lines, IsEmpty());
}

TEST(PersistenceManager, TruncationRemovesTheFilesAndRestartsKeysOnlyWithTheBundleLog) {
  CurrentDevice device;
  EXPECT_EQ(PM::uniqueKey(), 1u);
  EXPECT_EQ(PM::uniqueKey(), 2u);
  PM::saveEventRecord(Bytes("old event\n"));
  PM::saveBundleRecord(Bytes("[\"old\"]"));

  PM::truncateEventLogWithBundleLog(false);
  EXPECT_EQ(EventFile(*device), "<none>");
  EXPECT_EQ(BundleFile(*device), "[\"old\"]\n");
  EXPECT_EQ(PM::uniqueKey(), 3u);
  // The dropped handle is not reused: the next append makes a new file.
  PM::saveEventRecord(Bytes("new event\n"));
  EXPECT_EQ(EventFile(*device), "new event\n");

  PM::truncateEventLogWithBundleLog(true);
  EXPECT_EQ(EventFile(*device), "<none>");
  EXPECT_EQ(BundleFile(*device), "<none>");
  EXPECT_EQ(PM::uniqueKey(), 1u);
  EXPECT_THAT(LogTexts(*device), IsEmpty());

  // Missing files count as failures; the two messages differ by a colon.
  PM::truncateEventLogWithBundleLog(true);
  EXPECT_THAT(LogTexts(*device),
              ElementsAre("Couldn't remove /var/mobile/Library/Tallyline/session_events.log. "
                          "Error: No such file or directory",
                          "Couldn't remove /var/mobile/Library/Tallyline/session_bundles.log. "
                          "Error No such file or directory"));
  EXPECT_EQ(PM::uniqueKey(), 1u);
}

}  // namespace
