// The trace file as a whole: its check before a replay, and its hash.
#include "host/trace_file.h"

#include <openssl/evp.h>
#include <sys/stat.h>

#include <cerrno>
#include <cstring>
#include <fstream>

#include "host/exit_codes.h"
#include "host/store_meta.h"
#include "host/trace_reader.h"

namespace tl::host {

TraceSummary CheckTrace(const std::string& path) {
  struct stat info {};
  if (::stat(path.c_str(), &info) != 0) {
    throw CommandError(kExitReadWrite, path + ": cannot read the trace: " + std::strerror(errno));
  }
  if (S_ISDIR(info.st_mode)) {
    throw CommandError(kExitReadWrite, path + ": is a directory, not a trace");
  }
  TraceReader reader(path, {});
  if (!reader.readable()) {
    throw CommandError(kExitReadWrite, path + ": cannot read the trace: " + std::strerror(errno));
  }
  TraceSummary summary;
  sim::DeviceFields fields;
  while (true) {
    TraceStep step;
    std::string error;
    sim::DeviceFields lineFields;
    const TraceReader::Next next = reader.next(&step, &lineFields, &error);
    if (next == TraceReader::Next::kEnd) break;
    if (next == TraceReader::Next::kError) {
      throw CommandError(kExitBadInput,
                         path + ":" + std::to_string(reader.position().line) + ": " + error);
    }
    if (next == TraceReader::Next::kDevice) fields = std::move(lineFields);
    if (next == TraceReader::Next::kStep) {
      ++summary.actionLines;
      summary.lastAt = static_cast<double>(step.atNanoseconds) / 1e9;
    }
  }
  if (reader.failed()) {
    throw CommandError(kExitReadWrite, path + ": cannot read the trace: " + std::strerror(errno));
  }
  sim::DeviceState device;
  fields.applyTo(device);
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
