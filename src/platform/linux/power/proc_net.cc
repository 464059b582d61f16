// ProcNet: parsing /proc/net/snmp, /proc/net/netstat and /proc/net/route.
#include "platform/linux/power/proc_net.h"

#include <charconv>
#include <sstream>
#include <vector>

#include "platform/packet_counters.h"

namespace tl::linuxdev {

namespace {

std::vector<std::string_view> Fields(std::string_view line) {
  std::vector<std::string_view> fields;
  size_t i = 0;
  while (i < line.size()) {
    while (i < line.size() && (line[i] == ' ' || line[i] == '\t')) ++i;
    size_t start = i;
    while (i < line.size() && line[i] != ' ' && line[i] != '\t') ++i;
    if (i > start) fields.push_back(line.substr(start, i - start));
  }
  return fields;
}

struct Source {
  const char* counter;
  std::string_view suffix;
};

constexpr Source kSources[] = {
    {"Tcp.InErrs", "tcpBadFormat"},
    {"TcpExt.ListenDrops", "tcpNoConnList"},
    {"TcpExt.ListenOverflows", "tcpListBadSyn"},
    {"TcpExt.TCPOFOQueue", "tcpOOOPkt"},
    {"Udp.NoPorts", "udpPortUnreach"},
    {"Udp.InErrors", "udpBadLength"},
    {"Udp.InCsumErrors", "udpBadChksum"},
};

}  // namespace

void ParseProtocolCounters(std::string_view text, ProtocolCounters& out) {
  std::vector<std::string_view> lines;
  for (size_t start = 0; start < text.size();) {
    size_t end = text.find('\n', start);
    if (end == std::string_view::npos) end = text.size();
    lines.push_back(text.substr(start, end - start));
    start = end + 1;
  }
  for (size_t i = 0; i + 1 < lines.size(); ++i) {
    auto names = Fields(lines[i]);
    auto values = Fields(lines[i + 1]);
    if (names.empty() || values.empty() || names[0] != values[0] || !names[0].ends_with(':')) {
      continue;
    }
    const std::string_view protocol = names[0].substr(0, names[0].size() - 1);
    for (size_t k = 1; k < names.size() && k < values.size(); ++k) {
      uint64_t value = 0;
      // Some counters are signed (Tcp.MaxConn is -1); they are not among those mapped.
      auto [end, error] =
          std::from_chars(values[k].data(), values[k].data() + values[k].size(), value);
      if (error != std::errc()) continue;
      out[std::string(protocol) + "." + std::string(names[k])] = value;
    }
    ++i;
  }
}

PacketStatistics MapPacketStatistics(const ProtocolCounters& counters) {
  PacketStatistics block{};
  for (const Source& source : kSources) {
    auto value = counters.find(source.counter);
    if (value == counters.end()) continue;
    for (const auto& counter : platform::kPacketCounters) {
      if (counter.suffix == source.suffix) block[counter.index] = value->second;
    }
  }
  return block;
}

std::string DefaultRouteInterface(std::string_view procNetRoute) {
  std::istringstream in{std::string(procNetRoute)};
  std::string line;
  std::getline(in, line);  // the heading
  while (std::getline(in, line)) {
    auto fields = Fields(line);
    if (fields.size() < 4) continue;
    unsigned flags = 0;
    std::from_chars(fields[3].data(), fields[3].data() + fields[3].size(), flags, 16);
    constexpr unsigned kRouteUp = 0x1;
    if (fields[1] == "00000000" && (flags & kRouteUp)) return std::string(fields[0]);
  }
  return "";
}

}  // namespace tl::linuxdev
