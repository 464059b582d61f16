// The packet-statistics counters of an interface that the power side reports, by position.
#pragma once

#include <array>
#include <string_view>

namespace tl::platform {

// The packet statistics block of an interface's supplemental data holds 32 unsigned 64-bit
// counters; these 22 are reported, each under "com.veltro.power.netstats.<interface>." followed
// by its key suffix. The others (14 to 19, 28 to 31) are reserved.
struct PacketCounter {
  int index;
  std::string_view suffix;
};

inline constexpr std::array<PacketCounter, 22> kPacketCounters = {{
    {0, "tcpBadFormat"},    {1, "tcpUnspecv6"},    {2, "tcpSynFin"},       {3, "tcpBadFormatIPSec"},
    {4, "tcpNoConnNoList"}, {5, "tcpNoConnList"},  {6, "tcpListBadSyn"},   {7, "tcpICMP6Unreach"},
    {8, "tcpDeprecate6"},   {9, "tcpRstInSynRcv"}, {10, "tcpOOOPkt"},      {11, "tcpDOSPkt"},
    {12, "tcpCleanup"},     {13, "tcpSynWindow"},  {20, "udpPortUnreach"}, {21, "udpFaithPrefix"},
    {22, "udpPort0"},       {23, "udpBadLength"},  {24, "udpBadChksum"},   {25, "udpBadMcast"},
    {26, "udpCleanup"},     {27, "udpBadIPSec"},
}};

}  // namespace tl::platform
