// The POSIX file system below a sandbox root, and the faults its wrapper injects.
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <filesystem>
#include <fstream>

#include "platform/faulty_file_system.h"
#include "platform/posix_file_system.h"

namespace {

using tl::platform::FaultyFileSystem;
using tl::platform::PosixFileSystem;
using Fault = FaultyFileSystem::Fault;

std::span<const uint8_t> Bytes(std::string_view text) {
  return {reinterpret_cast<const uint8_t*>(text.data()), text.size()};
}

std::string Slurp(const std::string& path) {
  std::ifstream in(path);
  return std::string(std::istreambuf_iterator<char>(in), {});
}

class FileSystemTest : public ::testing::Test {
 protected:
  void SetUp() override {
    root_ = std::filesystem::temp_directory_path() / ("tallyline-fs-" + std::to_string(::getpid()));
    std::filesystem::create_directories(root_ / "var/tmp");
    ::umask(077);  // modes must not depend on the daemon's umask
  }
  void TearDown() override { std::filesystem::remove_all(root_); }

  std::filesystem::path root_;
};

TEST_F(FileSystemTest, DevicePathsLiveBelowTheRootWithTheirModes) {
  PosixFileSystem fs(root_.string(), "/var/tmp/");
  ASSERT_FALSE(fs.createDirectory("/var/mobile/Library/Tallyline", true, 0755));
  ASSERT_FALSE(fs.createDirectory("/var/mobile/Library/Tallyline", true, 0755));  // exists: fine
  ASSERT_FALSE(fs.createFile("/var/mobile/Library/Tallyline/a.log", {}, 0644));
  EXPECT_EQ(fs.stat("/var/mobile/Library/Tallyline")->mode, 0755u);
  EXPECT_EQ(fs.stat("/var/mobile/Library")->mode, 0755u);
  EXPECT_EQ(fs.stat("/var/mobile/Library/Tallyline/a.log")->mode, 0644u);
  EXPECT_FALSE(fs.stat("/var/mobile/none"));

  auto handle = fs.openForAppending("/var/mobile/Library/Tallyline/a.log");
  ASSERT_TRUE(handle);
  ASSERT_FALSE(handle->seekToEnd());
  ASSERT_FALSE(handle->write(Bytes("one\n")));
  ASSERT_FALSE(handle->write(Bytes("two")));
  EXPECT_EQ(Slurp((root_ / "var/mobile/Library/Tallyline/a.log").string()), "one\ntwo");

  auto reader = fs.openForReading("/var/mobile/Library/Tallyline/a.log");
  std::string line;
  ASSERT_TRUE(reader->readLine(line));
  EXPECT_EQ(line, "one\n");
  ASSERT_TRUE(reader->readLine(line));
  EXPECT_EQ(line, "two");
  EXPECT_FALSE(reader->readLine(line));
  EXPECT_FALSE(fs.openForReading("/var/mobile/missing"));
}

TEST_F(FileSystemTest, UniqueFilesReplaceAnyNumberOfTrailingX) {
  PosixFileSystem fs(root_.string(), "/var/tmp/");
  std::string path = *fs.temporaryDirectory() + "session.XXXX";
  int fd = fs.makeUniqueFile(path);
  ASSERT_GE(fd, 0);
  auto handle = fs.adoptDescriptor(fd);
  EXPECT_TRUE(path.starts_with("/var/tmp/session."));
  EXPECT_EQ(path.size(), std::string("/var/tmp/session.XXXX").size());
  EXPECT_EQ(path.find("XXXX"), std::string::npos);
  EXPECT_TRUE(fs.stat(path));

  // A move never replaces an existing file, and fails for a missing source.
  ASSERT_FALSE(fs.createFile("/var/tmp/taken", Bytes("x"), 0644));
  EXPECT_EQ(fs.move(path, "/var/tmp/taken")->code, EEXIST);
  EXPECT_FALSE(fs.move(path, "/var/tmp/moved"));
  EXPECT_EQ(fs.move(path, "/var/tmp/again")->code, ENOENT);
  EXPECT_EQ(fs.remove("/var/tmp/none")->code, ENOENT);
}

TEST_F(FileSystemTest, FaultsFailTheirOperationsUntilSwitchedOff) {
  PosixFileSystem posix(root_.string(), "/var/tmp/");
  FaultyFileSystem fs(posix);
  ASSERT_FALSE(fs.createFile("/var/tmp/a", {}, 0644));
  auto handle = fs.openForAppending("/var/tmp/a");
  ASSERT_TRUE(handle);

  // A disk that fills up fails writes on handles opened before.
  fs.setFault(Fault::kNoSpace, true);
  auto error = handle->write(Bytes("lost\n"));
  ASSERT_TRUE(error);
  EXPECT_EQ(error->code, ENOSPC);
  EXPECT_EQ(error->description, "No space left on device");
  fs.setFault(Fault::kNoSpace, false);
  EXPECT_FALSE(handle->write(Bytes("kept\n")));
  EXPECT_EQ(Slurp((root_ / "var/tmp/a").string()), "kept\n");

  fs.setFault(Fault::kFailedOpen, true, "/var/tmp/a");
  EXPECT_FALSE(fs.openForAppending("/var/tmp/a"));
  EXPECT_FALSE(fs.openForReading("/var/tmp/a"));
  ASSERT_FALSE(fs.createFile("/var/tmp/other", {}, 0644));
  EXPECT_TRUE(fs.openForAppending("/var/tmp/other"));  // the prefix narrows the fault
  fs.clearFaults();

  fs.setFault(Fault::kNoPermission, true);
  EXPECT_EQ(fs.createDirectory("/var/x", true, 0755)->code, EACCES);
  EXPECT_EQ(fs.remove("/var/tmp/a")->code, EACCES);
  fs.clearFaults();

  fs.setFault(Fault::kFailedRename, true);
  EXPECT_EQ(fs.move("/var/tmp/a", "/var/tmp/b")->code, EXDEV);
  EXPECT_TRUE(fs.stat("/var/tmp/a"));
}

}  // namespace
