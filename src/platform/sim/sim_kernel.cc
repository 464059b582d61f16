// SimKernel: sysctl names, process records and interface data from the device data.
#include "platform/sim/sim_kernel.h"

#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <vector>

namespace tl::sim {

using namespace platform;

namespace {
constexpr int kCtlHw = 6;
constexpr int kHwMachine = 1;

int Fail(int error) {
  errno = error;
  return -1;
}
}  // namespace

const Process* SimKernel::processEntry(int32_t pid) {
  auto it = context_.state.processes.find(pid);
  if (it == context_.state.processes.end() || !it->second) return nullptr;
  return &*it->second;
}

int SimKernel::process(int32_t pid, void* buffer, size_t* length) {
  const Process* entry = processEntry(pid);
  if (!entry) return Fail(ESRCH);
  KernelProcessRecord record;
  record.pid = pid;
  if (entry->lp64) record.flags |= kProcessFlag64BitAddressSpace;
  return SysctlAnswer(&record, sizeof record, buffer, length);
}

int SimKernel::supplemental(unsigned index, void* buffer, size_t* length) {
  const auto& interfaces = context_.state.interfaces;
  if (index == 0 || index > interfaces.size()) return Fail(ENXIO);
  const Interface& interface = interfaces[index - 1];
  if (interface.failing) return Fail(EIO);
  std::vector<uint8_t> data(kInterfaceSupplementalSize, 0);
  std::memcpy(data.data() + kPacketStatisticsOffset, interface.counters.data(),
              sizeof interface.counters);
  return SysctlAnswer(data.data(), data.size(), buffer, length);
}

int SimKernel::sysctl(std::span<const int> name, void* buffer, size_t* length) {
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

int SimKernel::sysctlByName(std::string_view name, void* buffer, size_t* length) {
  const std::string* text = nullptr;
  if (name == "hw.machine") text = &context_.state.machine;
  if (name == "kern.wakereason" && context_.state.wakeReason) text = &*context_.state.wakeReason;
  if (!text) return Fail(ENOENT);
  return SysctlAnswer(text->c_str(), text->size() + 1, buffer, length);
}

int SimKernel::processResourceUsage(int32_t pid, int flavor, ResourceUsageV0* out) {
  const Process* entry = processEntry(pid);
  if (!entry || flavor != kResourceUsageVersion0 || !out) return Fail(ESRCH);
  *out = ResourceUsageV0{};
  std::memcpy(out->uuid, entry->uuid.bytes.data(), sizeof out->uuid);
  return 0;
}

Status SimKernel::multiUserMode(bool* multiUser) {
  *multiUser = context_.state.multiUser;
  return Status::OK();
}

Status SimKernel::interfaceAddresses(std::vector<InterfaceAddress>* out) {
  out->clear();
  for (const Interface& interface : context_.state.interfaces) {
    InterfaceAddress address;
    address.name = interface.name;
    address.hasAddress = true;
    address.hasData = true;
    address.flags = interface.loopback ? kInterfaceFlagLoopback : 0;
    address.family = interface.family;
    out->push_back(std::move(address));
  }
  return Status::OK();
}

unsigned SimKernel::interfaceIndex(const std::string& name) {
  const auto& interfaces = context_.state.interfaces;
  for (size_t i = 0; i < interfaces.size(); ++i) {
    if (interfaces[i].name == name) return static_cast<unsigned>(i + 1);
  }
  return 0;
}

int32_t SimKernel::processId() { return static_cast<int32_t>(::getpid()); }

bool SimKernel::changeCounters(const std::string& name, const CounterChanges& changes) {
  for (Interface& interface : context_.state.interfaces) {
    if (interface.name != name) continue;
    changes.applyTo(interface);
    return true;
  }
  return false;
}

}  // namespace tl::sim
