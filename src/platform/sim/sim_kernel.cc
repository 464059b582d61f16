// SimKernel: sysctl names, process records and interface data from the device data.
#include "platform/sim/sim_kernel.h"

#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <vector>

#include "platform/sim/packet_counters.h"

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

int SimKernel::answer(const void* bytes, size_t size, void* buffer, size_t* length) {
  if (!length) return Fail(EINVAL);
  if (!buffer) {
    *length = size;
    return 0;
  }
  if (*length < size) {
    std::memcpy(buffer, bytes, *length);
    return Fail(ENOMEM);
  }
  std::memcpy(buffer, bytes, size);
  *length = size;
  return 0;
}

const Json* SimKernel::processEntry(int32_t pid) {
  const Json& processes = context_.data.field("processes");
  auto it = processes.find(std::to_string(pid));
  if (it == processes.end() || it->is_null()) return nullptr;
  return &*it;
}

int SimKernel::process(int32_t pid, void* buffer, size_t* length) {
  const Json* entry = processEntry(pid);
  if (!entry) return Fail(ESRCH);
  KernelProcessRecord record;
  record.pid = pid;
  if (entry->value("lp64", true)) record.flags |= kProcessFlag64BitAddressSpace;
  return answer(&record, sizeof record, buffer, length);
}

int SimKernel::supplemental(unsigned index, void* buffer, size_t* length) {
  const Json& interfaces = context_.data.field("interfaces");
  if (index == 0 || index > interfaces.size()) return Fail(ENXIO);
  const Json& counters = interfaces[index - 1].value("counters", Json::object());
  if (counters.value("fail", false)) return Fail(EIO);
  std::vector<uint8_t> data(kInterfaceSupplementalSize, 0);
  for (const auto& [name, value] : counters.items()) {
    auto i = PacketCounterIndex(name);
    if (!i) continue;
    uint64_t v = value.get<uint64_t>();
    std::memcpy(data.data() + kPacketStatisticsOffset + *i * sizeof v, &v, sizeof v);
  }
  return answer(data.data(), data.size(), buffer, length);
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
  const char* field = name == "hw.machine"        ? "machine"
                      : name == "kern.wakereason" ? "wake_reason"
                                                  : nullptr;
  if (!field) return Fail(ENOENT);
  const Json& value = context_.data.field(field);
  if (value.is_null()) return Fail(ENOENT);
  const std::string& text = value.get_ref<const std::string&>();
  return answer(text.c_str(), text.size() + 1, buffer, length);
}

int SimKernel::processResourceUsage(int32_t pid, int flavor, ResourceUsageV0* out) {
  const Json* entry = processEntry(pid);
  if (!entry || flavor != kResourceUsageVersion0 || !out) return Fail(ESRCH);
  *out = ResourceUsageV0{};
  if (auto uuid = Uuid::parse(entry->value("uuid", ""))) {
    std::memcpy(out->uuid, uuid->bytes.data(), sizeof out->uuid);
  }
  return 0;
}

Status SimKernel::multiUserMode(bool* multiUser) {
  *multiUser = context_.data.field("multi_user").get<bool>();
  return Status::OK();
}

Status SimKernel::interfaceAddresses(std::vector<InterfaceAddress>* out) {
  std::vector<InterfaceAddress>& list = *out;
  list.clear();
  for (const Json& i : context_.data.field("interfaces")) {
    InterfaceAddress address;
    address.name = i["name"].get<std::string>();
    address.hasAddress = true;
    address.hasData = true;
    address.flags = i.value("loopback", false) ? kInterfaceFlagLoopback : 0;
    address.family = i.value("family", kAddressFamilyLink);
    list.push_back(std::move(address));
  }
  return Status::OK();
}

unsigned SimKernel::interfaceIndex(const std::string& name) {
  const Json& interfaces = context_.data.field("interfaces");
  for (size_t i = 0; i < interfaces.size(); ++i) {
    if (interfaces[i]["name"] == name) return static_cast<unsigned>(i + 1);
  }
  return 0;
}

int32_t SimKernel::processId() { return static_cast<int32_t>(::getpid()); }

bool SimKernel::changeCounters(const std::string& name, const Json& counters) {
  for (Json& i : context_.data.mutableJson()["interfaces"]) {
    if (i["name"] != name) continue;
    Json& current = i["counters"];
    if (!current.is_object()) current = Json::object();
    for (const auto& [counter, value] : counters.items()) current[counter] = value;
    return true;
  }
  return false;
}

}  // namespace tl::sim
