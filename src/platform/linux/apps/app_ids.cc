// Application IDs: unit-name parsing and unescaping, cgroup lines, Flatpak info files.
#include "platform/linux/apps/app_ids.h"

#include <vector>

#include "platform/linux/apps/key_file.h"

namespace tl::linuxdev {

namespace {

int HexDigit(char c) {
  if (c >= '0' && c <= '9') return c - '0';
  if (c >= 'a' && c <= 'f') return c - 'a' + 10;
  if (c >= 'A' && c <= 'F') return c - 'A' + 10;
  return -1;
}

// systemd's unit-name escaping: "\xNN" for a byte, nothing else.
std::optional<std::string> Unescape(std::string_view text) {
  std::string out;
  for (size_t i = 0; i < text.size(); ++i) {
    if (text[i] != '\\') {
      out += text[i];
      continue;
    }
    if (i + 3 >= text.size() || text[i + 1] != 'x') return std::nullopt;
    const int high = HexDigit(text[i + 2]), low = HexDigit(text[i + 3]);
    if (high < 0 || low < 0) return std::nullopt;
    out += static_cast<char>(high * 16 + low);
    i += 3;
  }
  return out;
}

bool Strip(std::string_view& text, std::string_view suffix) {
  if (!text.ends_with(suffix)) return false;
  text.remove_suffix(suffix.size());
  return true;
}

}  // namespace

std::optional<std::string> AppIdFromUnitName(std::string_view unit) {
  if (!unit.starts_with("app-")) return std::nullopt;
  unit.remove_prefix(4);
  if (Strip(unit, ".service")) {
    if (size_t at = unit.find('@'); at != std::string_view::npos) unit = unit.substr(0, at);
  } else if (Strip(unit, ".scope")) {
    // A scope always ends in its launcher's random part.
    const size_t dash = unit.rfind('-');
    if (dash == std::string_view::npos) return std::nullopt;
    unit = unit.substr(0, dash);
  } else {
    return std::nullopt;
  }
  // Dashes inside the ID are escaped, so what follows the last one is the ID; before it stands
  // the launcher ("gnome", "flatpak", "kde"), if any.
  if (size_t dash = unit.rfind('-'); dash != std::string_view::npos) unit = unit.substr(dash + 1);
  if (unit.empty()) return std::nullopt;
  auto id = Unescape(unit);
  if (!id || id->empty()) return std::nullopt;
  return id;
}

std::optional<std::string> CgroupPath(std::string_view cgroupText) {
  while (!cgroupText.empty()) {
    const size_t end = cgroupText.find('\n');
    std::string_view line = cgroupText.substr(0, end);
    cgroupText = end == std::string_view::npos ? std::string_view() : cgroupText.substr(end + 1);
    if (line.starts_with("0::")) return std::string(line.substr(3));
  }
  return std::nullopt;
}

std::optional<std::string> AppIdFromCgroup(std::string_view cgroupText) {
  auto path = CgroupPath(cgroupText);
  if (!path) return std::nullopt;
  std::string_view rest = *path;
  std::optional<std::string> found;
  while (!rest.empty()) {
    const size_t slash = rest.find('/');
    std::string_view part = rest.substr(0, slash);
    rest = slash == std::string_view::npos ? std::string_view() : rest.substr(slash + 1);
    if (auto id = AppIdFromUnitName(part)) found = std::move(id);
  }
  return found;
}

std::optional<std::string> AppIdFromFlatpakInfo(std::string_view infoText) {
  KeyFile info = ParseKeyFile(infoText);
  for (const char* group : {"Application", "Runtime"}) {
    // An empty name names no application: an instance of it would have no bundle.
    if (const std::string* name = info.find(group, "name"); name && !name->empty()) return *name;
  }
  return std::nullopt;
}

}  // namespace tl::linuxdev
