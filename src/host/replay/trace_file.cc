// The trace file as a whole: its check before a replay, and its hash.
#include "host/replay/trace_file.h"

#include <openssl/evp.h>
#include <sys/stat.h>

#include <atomic>
#include <cerrno>
#include <cstring>
#include <fstream>
#include <future>
#include <optional>

#include "host/exit_codes.h"
#include "host/store/store_meta.h"
#include "host/trace/trace_reader.h"

namespace tl::host {

namespace {

// Below this size a trace is checked in one go; above it, its two halves at once.
constexpr int64_t kSplitAbove = 1 << 20;

// What checking a stretch of the trace found: its action lines, the times of its first and last
// actions, the device of line 1, and the first bad line (line 0: none).
struct Checked {
  int actionLines = 0;
  int64_t firstAtNanoseconds = -1;
  int64_t lastAtNanoseconds = 0;
  int firstActionLine = 0;
  sim::DeviceFields device;
  int badLine = 0;
  std::string error;
  bool unreadable = false;
  int unreadableErrno = 0;
};

// Checks the lines from position from up to the line that starts at or after end (-1: the end
// of the file); stops early when stop is set.
Checked CheckStretch(const std::string& path, const TracePosition& from, int64_t end,
                     const std::atomic<bool>& stop) {
  Checked checked;
  TraceReader reader(path, from);
  if (!reader.readable()) {
    checked.unreadable = true;
    checked.unreadableErrno = errno;
    return checked;
  }
  while (!stop.load(std::memory_order_relaxed)) {
    if (end >= 0 && reader.position().offset >= end) break;
    TraceStep step;
    std::string error;
    sim::DeviceFields lineFields;
    const TraceReader::Next next = reader.next(&step, &lineFields, &error);
    if (next == TraceReader::Next::kEnd) break;
    if (next == TraceReader::Next::kError) {
      checked.badLine = reader.position().line;
      checked.error = std::move(error);
      return checked;
    }
    if (next == TraceReader::Next::kDevice) checked.device = std::move(lineFields);
    if (next == TraceReader::Next::kStep) {
      if (++checked.actionLines == 1) {
        checked.firstAtNanoseconds = step.atNanoseconds;
        checked.firstActionLine = step.line;
      }
      checked.lastAtNanoseconds = step.atNanoseconds;
    }
  }
  if (reader.failed()) {
    checked.unreadable = true;
    checked.unreadableErrno = errno;
  }
  return checked;
}

// Where the second half of the trace starts: the first line that starts after the middle, with
// the number of lines before it; nullopt when there is none.
std::optional<TracePosition> SecondHalf(const std::string& path, int64_t size) {
  std::ifstream in(path, std::ios::binary);
  char buffer[65536];
  TracePosition at;
  while (in.read(buffer, sizeof buffer) || in.gcount() > 0) {
    const char* p = buffer;
    const char* stop = buffer + in.gcount();
    while (const void* found = std::memchr(p, '\n', static_cast<size_t>(stop - p))) {
      const char* feed = static_cast<const char*>(found);
      ++at.line;
      at.offset += feed + 1 - p;
      p = feed + 1;
      if (at.offset > size / 2) return at.offset < size ? std::optional(at) : std::nullopt;
    }
    at.offset += stop - p;
  }
  return std::nullopt;
}

}  // namespace

TraceSummary CheckTrace(const std::string& path) {
  struct stat info {};
  if (::stat(path.c_str(), &info) != 0) {
    throw CommandError(kExitReadWrite, path + ": cannot read the trace: " + std::strerror(errno));
  }
  if (S_ISDIR(info.st_mode)) {
    throw CommandError(kExitReadWrite, path + ": is a directory, not a trace");
  }
  // A long trace is checked as two halves at once, on two cores; the second half's first action
  // is then checked against the first half's last, as a single pass would have.
  std::atomic<bool> stop = false;
  std::optional<TracePosition> split;
  if (S_ISREG(info.st_mode) && info.st_size > kSplitAbove) split = SecondHalf(path, info.st_size);
  std::future<Checked> secondHalf;
  if (split) {
    secondHalf =
        std::async(std::launch::async, [&] { return CheckStretch(path, *split, -1, stop); });
  }
  Checked first = CheckStretch(path, {}, split ? split->offset : -1, stop);
  auto fail = [&](const Checked& checked) {
    if (checked.unreadable) {
      throw CommandError(kExitReadWrite, path + ": cannot read the trace: " +
                                             std::strerror(checked.unreadableErrno));
    }
    if (checked.badLine != 0) {
      throw CommandError(kExitBadInput,
                         path + ":" + std::to_string(checked.badLine) + ": " + checked.error);
    }
  };
  if (first.unreadable || first.badLine != 0) {
    stop = true;
    if (secondHalf.valid()) secondHalf.wait();
    fail(first);
  }
  TraceSummary summary;
  summary.actionLines = first.actionLines;
  summary.lastAt = static_cast<double>(first.lastAtNanoseconds) / 1e9;
  if (secondHalf.valid()) {
    const Checked second = secondHalf.get();
    const bool goesBack =
        second.actionLines > 0 && second.firstAtNanoseconds < first.lastAtNanoseconds;
    // Whichever comes first in the file: the second half's bad line, or its first action.
    if (goesBack && (second.badLine == 0 || second.firstActionLine < second.badLine)) {
      throw CommandError(kExitBadInput, path + ":" + std::to_string(second.firstActionLine) +
                                            ": \"at\" goes back in time");
    }
    fail(second);
    if (second.actionLines > 0) {
      summary.actionLines += second.actionLines;
      summary.lastAt = static_cast<double>(second.lastAtNanoseconds) / 1e9;
    }
  }
  sim::DeviceState device;
  first.device.applyTo(device);
  summary.deviceStart = device.start;
  summary.timeZone = device.timeZone;
  summary.machine = device.machine;
  if (device.systemVersion) summary.systemVersion = SystemVersionText(*device.systemVersion);
  return summary;
}

std::string FileSha256(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  std::unique_ptr<EVP_MD_CTX, decltype(&EVP_MD_CTX_free)> context(EVP_MD_CTX_new(),
                                                                  &EVP_MD_CTX_free);
  if (!in || !context || !EVP_DigestInit_ex(context.get(), EVP_sha256(), nullptr)) {
    throw CommandError(kExitReadWrite, path + ": cannot read the trace");
  }
  char buffer[65536];
  while (in.read(buffer, sizeof buffer) || in.gcount() > 0) {
    EVP_DigestUpdate(context.get(), buffer, static_cast<size_t>(in.gcount()));
  }
  unsigned char digest[EVP_MAX_MD_SIZE];
  unsigned int length = 0;
  EVP_DigestFinal_ex(context.get(), digest, &length);
  static constexpr char kHex[] = "0123456789abcdef";
  std::string hex;
  for (unsigned int i = 0; i < length; ++i) {
    hex += kHex[digest[i] >> 4];
    hex += kHex[digest[i] & 15];
  }
  return hex;
}

}  // namespace tl::host
