// The POSIX file system below a sandbox root, and the faults its wrapper injects.
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/stat.h>

#include <csignal>
#include <filesystem>
#include <fstream>

#include "platform/faulty_file_system.h"
#include "platform/posix_file_system.h"
#include "test_support.h"

namespace {

using tl::platform::FaultyFileSystem;
using tl::platform::PosixFileSystem;
using Fault = FaultyFileSystem::Fault;
using tl::testing::Mode;

std::span<const uint8_t> Bytes(std::string_view text) {
  return {reinterpret_cast<const uint8_t*>(text.data()), text.size()};
}

std::unique_ptr<tl::platform::WriteHandle> Appending(tl::platform::FileSystem& fs,
                                                     const std::string& path) {
  std::unique_ptr<tl::platform::WriteHandle> handle;
  return fs.openForAppending(path, &handle).ok() ? std::move(handle) : nullptr;
}

std::unique_ptr<tl::platform::LineReader> Reading(tl::platform::FileSystem& fs,
                                                  const std::string& path) {
  std::unique_ptr<tl::platform::LineReader> reader;
  return fs.openForReading(path, &reader).ok() ? std::move(reader) : nullptr;
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
  ASSERT_TRUE(fs.createDirectory("/var/mobile/Library/Tallyline", true, 0755).ok());
  ASSERT_TRUE(fs.createDirectory("/var/mobile/Library/Tallyline", true, 0755).ok());  // exists
  ASSERT_TRUE(fs.createFile("/var/mobile/Library/Tallyline/a.log", {}, 0644).ok());
  EXPECT_EQ(Mode(fs, "/var/mobile/Library/Tallyline"), 0755);
  EXPECT_EQ(Mode(fs, "/var/mobile/Library"), 0755);
  EXPECT_EQ(Mode(fs, "/var/mobile/Library/Tallyline/a.log"), 0644);
  EXPECT_FALSE(fs.stat("/var/mobile/none", nullptr).ok());

  auto handle = Appending(fs, "/var/mobile/Library/Tallyline/a.log");
  ASSERT_TRUE(handle);
  ASSERT_TRUE(handle->seekToEnd().ok());
  ASSERT_TRUE(handle->write(Bytes("one\n")).ok());
  ASSERT_TRUE(handle->write(Bytes("two")).ok());
  EXPECT_EQ(Slurp((root_ / "var/mobile/Library/Tallyline/a.log").string()), "one\ntwo");

  auto reader = Reading(fs, "/var/mobile/Library/Tallyline/a.log");
  std::string line;
  ASSERT_TRUE(reader->readLine(line));
  EXPECT_EQ(line, "one\n");
  ASSERT_TRUE(reader->readLine(line));
  EXPECT_EQ(line, "two");
  EXPECT_FALSE(reader->readLine(line));
  EXPECT_FALSE(Reading(fs, "/var/mobile/missing"));
}

TEST_F(FileSystemTest, UniqueFilesReplaceAnyNumberOfTrailingX) {
  PosixFileSystem fs(root_.string(), "/var/tmp/");
  std::string path;
  ASSERT_TRUE(fs.temporaryDirectory(&path).ok());
  path += "session.XXXX";
  std::unique_ptr<tl::platform::WriteHandle> handle;
  ASSERT_TRUE(fs.createUniqueFile(path, &handle).ok());
  EXPECT_TRUE(path.starts_with("/var/tmp/session."));
  EXPECT_EQ(path.size(), std::string("/var/tmp/session.XXXX").size());
  EXPECT_EQ(path.find("XXXX"), std::string::npos);
  EXPECT_TRUE(fs.stat(path, nullptr).ok());

  // A move never replaces an existing file, and fails for a missing source.
  ASSERT_TRUE(fs.createFile("/var/tmp/taken", Bytes("x"), 0644).ok());
  EXPECT_EQ(fs.move(path, "/var/tmp/taken").code(), EEXIST);
  EXPECT_TRUE(fs.move(path, "/var/tmp/moved").ok());
  EXPECT_EQ(fs.move(path, "/var/tmp/again").code(), ENOENT);
  EXPECT_EQ(fs.remove("/var/tmp/none").code(), ENOENT);
}

TEST_F(FileSystemTest, FaultsFailTheirOperationsUntilSwitchedOff) {
  PosixFileSystem posix(root_.string(), "/var/tmp/");
  FaultyFileSystem fs(posix);
  ASSERT_TRUE(fs.createFile("/var/tmp/a", {}, 0644).ok());
  auto handle = Appending(fs, "/var/tmp/a");
  ASSERT_TRUE(handle);

  // A disk that fills up fails writes on handles opened before.
  fs.setFault(Fault::kNoSpace, true);
  tl::Status error = handle->write(Bytes("lost\n"));
  ASSERT_FALSE(error.ok());
  EXPECT_EQ(error.code(), ENOSPC);
  EXPECT_EQ(error.message(), "No space left on device");
  fs.setFault(Fault::kNoSpace, false);
  EXPECT_TRUE(handle->write(Bytes("kept\n")).ok());
  EXPECT_EQ(Slurp((root_ / "var/tmp/a").string()), "kept\n");

  fs.setFault(Fault::kFailedOpen, true, "/var/tmp/a");
  EXPECT_FALSE(Appending(fs, "/var/tmp/a"));
  EXPECT_FALSE(Reading(fs, "/var/tmp/a"));
  ASSERT_TRUE(fs.createFile("/var/tmp/other", {}, 0644).ok());
  EXPECT_TRUE(Appending(fs, "/var/tmp/other"));  // the prefix narrows the fault
  fs.clearFaults();

  fs.setFault(Fault::kNoPermission, true);
  EXPECT_EQ(fs.createDirectory("/var/x", true, 0755).code(), EACCES);
  EXPECT_EQ(fs.remove("/var/tmp/a").code(), EACCES);
  fs.clearFaults();

  fs.setFault(Fault::kFailedRename, true);
  EXPECT_EQ(fs.move("/var/tmp/a", "/var/tmp/b").code(), EXDEV);
  EXPECT_TRUE(fs.stat("/var/tmp/a", nullptr).ok());
  fs.clearFaults();

  fs.setFault(Fault::kFailedChmod, true, "/var/tmp/");
  EXPECT_EQ(fs.setPermissions("/var/tmp/a", 0600).code(), EPERM);
  EXPECT_TRUE(fs.setPermissions("/var/tmp", 0755).ok());  // not below the prefix
}

TEST_F(FileSystemTest, ADiskThatFillsUpPartWayNeverLeavesATornRecord) {
  PosixFileSystem fs(root_.string(), "/var/tmp/");
  ASSERT_TRUE(fs.createFile("/var/tmp/records", Bytes("1 8 60 100\n"), 0644).ok());
  auto handle = Appending(fs, "/var/tmp/records");
  ASSERT_TRUE(handle && handle->seekToEnd().ok());
  // The file may grow by 5 more bytes: the kernel writes part of the record, then says so.
  ::signal(SIGXFSZ, SIG_IGN);
  rlimit limit{};
  ::getrlimit(RLIMIT_FSIZE, &limit);
  const rlimit small{11 + 5, limit.rlim_max};
  ASSERT_EQ(::setrlimit(RLIMIT_FSIZE, &small), 0);
  EXPECT_EQ(handle->write(Bytes("2 8 60 200\n")).code(), ENOSPC);
  ASSERT_EQ(::setrlimit(RLIMIT_FSIZE, &limit), 0);
  // The part that landed is gone, and the next record starts a line of its own.
  EXPECT_EQ(Slurp((root_ / "var/tmp/records").string()), "1 8 60 100\n");
  EXPECT_TRUE(handle->write(Bytes("3 8 60 300\n")).ok());
  EXPECT_EQ(Slurp((root_ / "var/tmp/records").string()), "1 8 60 100\n3 8 60 300\n");
}

}  // namespace
