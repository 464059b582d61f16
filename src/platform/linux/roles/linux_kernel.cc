// LinuxKernel: process records, machine name, wake reason, interfaces and packet statistics.
#include "platform/linux/roles/linux_kernel.h"

#include <ifaddrs.h>
#include <net/if.h>
#include <sys/socket.h>
#include <sys/utsname.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <fstream>
#include <sstream>

#include "platform/linux/power/proc_net.h"
#include "platform/linux/roles/elf_info.h"

namespace tl::linuxdev {

using namespace platform;

namespace {

constexpr int kCtlHw = 6;
constexpr int kHwMachine = 1;

int Fail(int error) {
  errno = error;
  return -1;
}

std::optional<std::string> ReadFile(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  if (!in) return std::nullopt;
  std::stringstream text;
  text << in.rdbuf();
  return text.str();
}

// The text up to the first NUL or line feed.
std::string FirstLine(std::string text) {
  text = text.substr(0, text.find_first_of(std::string("\n\0", 2)));
  return text;
}

}  // namespace

LinuxKernel::LinuxKernel(std::string procRoot, std::string sysRoot,
                         std::function<std::string()> wakeReason)
    : procRoot_(std::move(procRoot)),
      sysRoot_(std::move(sysRoot)),
      wakeReason_(std::move(wakeReason)) {}

int LinuxKernel::process(int32_t pid, void* buffer, size_t* length) {
  const std::string dir = procRoot_ + "/" + std::to_string(pid);
  auto comm = ReadFile(dir + "/comm");
  if (pid <= 0 || !comm) return Fail(ESRCH);
  KernelProcessRecord record;
  record.pid = pid;
  const std::string command = FirstLine(*comm);
  std::strncpy(record.command, command.c_str(), sizeof record.command - 1);
  if (auto elf = ReadElfFile(dir + "/exe"); elf && elf->is64Bit) {
    record.flags |= kProcessFlag64BitAddressSpace;
  }
  return SysctlAnswer(&record, sizeof record, buffer, length);
}

int LinuxKernel::supplemental(unsigned index, void* buffer, size_t* length) {
  char name[IF_NAMESIZE] = {};
  if (index == 0 || !::if_indextoname(index, name)) return Fail(ENXIO);
  std::vector<uint8_t> data(kInterfaceSupplementalSize, 0);
  const std::string route = ReadFile(procRoot_ + "/net/route").value_or("");
  if (DefaultRouteInterface(route) == name) {
    ProtocolCounters counters;
    ParseProtocolCounters(ReadFile(procRoot_ + "/net/snmp").value_or(""), counters);
    ParseProtocolCounters(ReadFile(procRoot_ + "/net/netstat").value_or(""), counters);
    const PacketStatistics block = MapPacketStatistics(counters);
    std::memcpy(data.data() + kPacketStatisticsOffset, block.data(), sizeof block);
  }
  return SysctlAnswer(data.data(), data.size(), buffer, length);
}

std::string LinuxKernel::machine() {
  for (const char* path : {"/firmware/devicetree/base/model", "/class/dmi/id/product_name"}) {
    if (auto text = ReadFile(sysRoot_ + path)) {
      std::string model = FirstLine(*text);
      if (!model.empty()) return model;
    }
  }
  struct utsname name;
  return ::uname(&name) == 0 ? name.machine : "";
}

int LinuxKernel::sysctl(std::span<const int> name, void* buffer, size_t* length) {
  if (name.size() == 4 && name[0] == kCtlKern && name[1] == kKernProc && name[2] == kKernProcPid) {
    return process(name[3], buffer, length);
  }
  if (name.size() == 6 && name[0] == kCtlNet && name[1] == kAddressFamilyLink &&
      name[2] == kNetLinkGeneric && name[3] == kIfmibIfData && name[5] == kIfdataSupplemental) {
    return supplemental(static_cast<unsigned>(name[4]), buffer, length);
  }
  if (name.size() == 2 && name[0] == kCtlHw && name[1] == kHwMachine) {
    return sysctlByName("hw.machine", buffer, length);
  }
  return Fail(ENOENT);
}

int LinuxKernel::sysctlByName(std::string_view name, void* buffer, size_t* length) {
  std::string text;
  if (name == "hw.machine") {
    text = machine();
  } else if (name == "kern.wakereason") {
    text = wakeReason_();
  } else {
    return Fail(ENOENT);
  }
  return SysctlAnswer(text.c_str(), text.size() + 1, buffer, length);
}

int LinuxKernel::processResourceUsage(int32_t pid, int flavor, ResourceUsageV0* out) {
  if (flavor != kResourceUsageVersion0 || !out || pid <= 0) return Fail(EINVAL);
  const std::string dir = procRoot_ + "/" + std::to_string(pid);
  auto stat = ReadFile(dir + "/stat");
  if (!stat) return Fail(ESRCH);
  *out = ResourceUsageV0{};
  // The fields after the command (which may hold blanks and parentheses) start at its last ')'.
  const size_t close = stat->rfind(')');
  if (close != std::string::npos) {
    std::istringstream fields(stat->substr(close + 2));
    std::string field;
    unsigned long long utime = 0, stime = 0;
    for (int i = 3; i <= 15 && fields >> field; ++i) {
      if (i == 14) utime = std::stoull(field);
      if (i == 15) stime = std::stoull(field);
    }
    const long ticks = ::sysconf(_SC_CLK_TCK);
    if (ticks > 0) {
      out->userTime = utime * 1000000000ULL / static_cast<unsigned long long>(ticks);
      out->systemTime = stime * 1000000000ULL / static_cast<unsigned long long>(ticks);
    }
  }
  if (auto elf = ReadElfFile(dir + "/exe")) {
    std::memcpy(out->uuid, elf->buildId.data(), std::min(elf->buildId.size(), sizeof out->uuid));
  }
  return 0;
}

Status LinuxKernel::multiUserMode(bool* multiUser) {
  *multiUser = false;
  return Status::OK();
}

Status LinuxKernel::interfaceAddresses(std::vector<InterfaceAddress>* out) {
  struct ifaddrs* list = nullptr;
  if (::getifaddrs(&list) != 0) return Status::FromErrno(errno);
  out->clear();
  for (struct ifaddrs* a = list; a; a = a->ifa_next) {
    InterfaceAddress address;
    address.name = a->ifa_name ? a->ifa_name : "";
    address.hasAddress = a->ifa_addr != nullptr;
    address.hasData = a->ifa_data != nullptr;
    address.flags = (a->ifa_flags & IFF_LOOPBACK) ? kInterfaceFlagLoopback : 0;
    // The link-level entry of an interface: AF_PACKET here, the link family in the module.
    const int family = a->ifa_addr ? a->ifa_addr->sa_family : AF_UNSPEC;
    address.family = family == AF_PACKET ? kAddressFamilyLink : family;
    out->push_back(std::move(address));
  }
  ::freeifaddrs(list);
  return Status::OK();
}

unsigned LinuxKernel::interfaceIndex(const std::string& name) {
  return ::if_nametoindex(name.c_str());
}

int32_t LinuxKernel::processId() { return static_cast<int32_t>(::getpid()); }

}  // namespace tl::linuxdev
