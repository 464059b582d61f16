// ProcNet: the packet statistics block of an interface from the kernel's protocol counters.
#pragma once

#include <array>
#include <cstdint>
#include <map>
#include <string>
#include <string_view>

#include "platform/kernel.h"

namespace tl::linuxdev {

// "Protocol.Counter" -> value, from /proc/net/snmp or /proc/net/netstat (pairs of lines: the
// names, then the values, each line starting with the protocol).
using ProtocolCounters = std::map<std::string, uint64_t, std::less<>>;
void ParseProtocolCounters(std::string_view text, ProtocolCounters& out);

// The packet statistics block's counters from the protocol counters. Linux keeps them per
// network namespace, not per interface; the map is:
//   tcpBadFormat <- Tcp.InErrs           tcpNoConnList  <- TcpExt.ListenDrops
//   tcpListBadSyn <- TcpExt.ListenOverflows   tcpOOOPkt <- TcpExt.TCPOFOQueue
//   udpPortUnreach <- Udp.NoPorts        udpBadLength   <- Udp.InErrors
//   udpBadChksum <- Udp.InCsumErrors
// and every other counter has no Linux source and stays 0.
using PacketStatistics = std::array<uint64_t, platform::kPacketStatisticsCounters>;
PacketStatistics MapPacketStatistics(const ProtocolCounters& counters);

// The interface of the IPv4 default route in /proc/net/route's text, or "" when there is none.
std::string DefaultRouteInterface(std::string_view procNetRoute);

}  // namespace tl::linuxdev
