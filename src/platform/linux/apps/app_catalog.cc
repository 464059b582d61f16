// AppCatalog: reading the application directories and building one proxy per application ID.
#include "platform/linux/apps/app_catalog.h"

#include <appstream.h>
#include <openssl/evp.h>
#include <systemd/sd-id128.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>

#include "platform/linux/apps/key_file.h"

namespace tl::linuxdev {

namespace fs = std::filesystem;
using platform::ProxyRef;
using platform::RSApplicationProxy;

namespace {

constexpr char kEntry[] = "Desktop Entry";

std::string Lower(std::string text) {
  std::transform(text.begin(), text.end(), text.begin(),
                 [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
  return text;
}

std::vector<std::string> Split(const std::string& text, char separator) {
  std::vector<std::string> parts;
  size_t start = 0;
  while (start <= text.size()) {
    size_t end = text.find(separator, start);
    if (end == std::string::npos) end = text.size();
    if (end > start) parts.push_back(text.substr(start, end - start));
    start = end + 1;
  }
  return parts;
}

// What an application's AppStream metainfo says, where it has one.
struct Metainfo {
  std::optional<std::string> version;  // the newest release
  std::optional<std::string> developer;
  bool compulsory = false;  // a component the desktop cannot do without
};

template <class T>
struct GObjectDeleter {
  void operator()(T* object) const { g_object_unref(object); }
};

Metainfo ReadMetainfo(const fs::path& shareDir, const std::string& appId) {
  Metainfo info;
  std::error_code error;
  for (const char* name :
       {"metainfo/%.metainfo.xml", "metainfo/%.appdata.xml", "appdata/%.appdata.xml"}) {
    std::string relative = name;
    relative.replace(relative.find('%'), 1, appId);
    const fs::path path = shareDir / relative;
    if (!fs::is_regular_file(path, error)) continue;
    std::unique_ptr<AsMetadata, GObjectDeleter<AsMetadata>> metadata(as_metadata_new());
    std::unique_ptr<GFile, GObjectDeleter<GFile>> file(g_file_new_for_path(path.c_str()));
    if (!as_metadata_parse_file(metadata.get(), file.get(), AS_FORMAT_KIND_XML, nullptr)) break;
    AsComponent* component = as_metadata_get_component(metadata.get());
    if (!component) break;
    GPtrArray* releases = as_component_get_releases(component);
    for (guint i = 0; releases && i < releases->len; ++i) {
      const gchar* version =
          as_release_get_version(static_cast<AsRelease*>(g_ptr_array_index(releases, i)));
      if (version && (!info.version || as_vercmp_simple(version, info.version->c_str()) > 0)) {
        info.version = version;
      }
    }
    if (const gchar* developer = as_component_get_developer_name(component)) {
      info.developer = developer;
    }
    GPtrArray* compulsory = as_component_get_compulsory_for_desktops(component);
    info.compulsory = compulsory && compulsory->len > 0;
    break;
  }
  return info;
}

// The developer an app ID names: all but its last component ("org.gnome" for
// "org.gnome.Maps"), or the ID itself when it has no dot.
std::string DeveloperOfId(const std::string& appId) {
  const size_t dot = appId.rfind('.');
  return dot == std::string::npos ? appId : appId.substr(0, dot);
}

struct Candidate {
  std::string appId;
  fs::path desktopPath;
  fs::path shareDir;  // where its metainfo is
  const FlatpakRef* flatpak = nullptr;
  bool user = false;
};

// Every *.desktop below applications/, with the desktop-file ID: subdirectories joined by '-'.
void FindEntries(const fs::path& shareDir, bool user, std::vector<Candidate>* out) {
  const fs::path root = shareDir / "applications";
  std::error_code error;
  for (fs::recursive_directory_iterator it(root, error), end; !error && it != end;
       it.increment(error)) {
    const fs::path& path = it->path();
    if (path.extension() != ".desktop" || !it->is_regular_file(error)) continue;
    std::string id;
    for (const fs::path& part : path.lexically_relative(root)) {
      if (!id.empty()) id += '-';
      id += part.string();
    }
    id.resize(id.size() - std::string_view(".desktop").size());
    out->push_back({id, path, shareDir, nullptr, user});
  }
}

}  // namespace

std::optional<platform::Uuid> MachineVendorIdentifier(const std::string& developer) {
  unsigned char digest[EVP_MAX_MD_SIZE];
  unsigned length = 0;
  if (!EVP_Digest(developer.data(), developer.size(), digest, &length, EVP_sha256(), nullptr)) {
    return std::nullopt;
  }
  sd_id128_t base, derived;
  std::copy(digest, digest + 16, base.bytes);
  if (sd_id128_get_machine_app_specific(base, &derived) < 0) return std::nullopt;
  platform::Uuid uuid;
  std::copy(derived.bytes, derived.bytes + 16, uuid.bytes.begin());
  return uuid;
}

CatalogSources DefaultCatalogSources(std::vector<FlatpakRef> flatpakRefs) {
  CatalogSources sources;
  const char* home = std::getenv("HOME");
  const char* dataHome = std::getenv("XDG_DATA_HOME");
  sources.userDataDir =
      dataHome && *dataHome ? dataHome : std::string(home ? home : "/") + "/.local/share";
  const char* dataDirs = std::getenv("XDG_DATA_DIRS");
  for (std::string dir :
       Split(dataDirs && *dataDirs ? dataDirs : "/usr/local/share:/usr/share", ':')) {
    // Flatpak's exports are read from the installations themselves.
    if (!dir.ends_with("/exports/share") && !dir.ends_with("/exports/share/")) {
      sources.systemDataDirs.push_back(std::move(dir));
    }
  }
  sources.flatpakRefs = std::move(flatpakRefs);
  sources.vendorIdentifier = MachineVendorIdentifier;
  return sources;
}

AppCatalog::AppCatalog(const CatalogSources& sources) {
  // In order of precedence: an ID already taken is not taken again, as the first directory of
  // the search path wins.
  std::vector<Candidate> candidates;
  FindEntries(sources.userDataDir, true, &candidates);
  for (const FlatpakRef& ref : sources.flatpakRefs) {
    if (!ref.current) continue;
    const fs::path deploy(ref.deployPath);
    candidates.push_back({ref.appId,
                          deploy / "export/share/applications" / (ref.appId + ".desktop"),
                          deploy / "files/share", &ref, ref.user});
  }
  for (const std::string& dir : sources.systemDataDirs) FindEntries(dir, false, &candidates);

  for (const Candidate& candidate : candidates) {
    if (apps_.contains(candidate.appId)) continue;
    const KeyFile entry = ReadKeyFile(candidate.desktopPath);
    if (entry.empty() && !candidate.flatpak) continue;
    if (const std::string* type = entry.find(kEntry, "Type"); type && *type != "Application") {
      continue;
    }
    const Metainfo meta = ReadMetainfo(candidate.shareDir, candidate.appId);

    auto proxy = std::make_shared<RSApplicationProxy>();
    proxy->bundleIdentifier = candidate.appId;
    std::optional<std::string> packaged;
    if (candidate.flatpak) {
      proxy->bundleVersion = candidate.flatpak->commit;
      proxy->storeCohortMetadata = candidate.flatpak->origin + "/" + candidate.flatpak->branch;
      const bool beta = candidate.flatpak->branch == "beta" ||
                        candidate.flatpak->origin.find("beta") != std::string::npos;
      if (beta) proxy->entitlements.emplace("beta-reports-active", true);
    } else if (sources.packageVersion) {
      packaged = sources.packageVersion(candidate.desktopPath.string());
      proxy->bundleVersion = packaged;
    }
    proxy->shortVersionString = meta.version ? meta.version : proxy->bundleVersion;
    if (sources.vendorIdentifier) {
      proxy->deviceIdentifierForVendor =
          sources.vendorIdentifier(meta.developer.value_or(DeveloperOfId(candidate.appId)));
    }

    const std::vector<std::string> onlyShowIn = entry.list(kEntry, "OnlyShowIn");
    if (entry.boolean(kEntry, "NoDisplay") || entry.boolean(kEntry, "Hidden")) {
      proxy->applicationType = kHiddenApplicationType;
    } else if (meta.compulsory || !onlyShowIn.empty()) {
      proxy->applicationType = RSApplicationProxy::kInternalApplicationType;
    } else if (candidate.flatpak || candidate.user) {
      proxy->applicationType = kUserApplicationType;
    } else {
      proxy->applicationType = RSApplicationProxy::kSystemApplicationType;
    }

    add(candidate.appId, candidate.desktopPath.string(), proxy);
    if (const std::string* wmClass = entry.find(kEntry, "StartupWMClass")) {
      byLowerName_.emplace(Lower(*wmClass), candidate.appId);
    }
  }
}

void AppCatalog::add(const std::string& appId, const std::string& desktopPath, ProxyRef proxy) {
  apps_.emplace(appId, Entry{std::move(proxy), desktopPath});
  byLowerName_.emplace(Lower(appId), appId);
  byPath_.emplace(desktopPath, appId);
}

ProxyRef AppCatalog::find(const std::string& appId) const {
  auto it = apps_.find(appId);
  return it == apps_.end() ? nullptr : it->second.proxy;
}

std::string AppCatalog::resolve(const std::string& windowAppId) const {
  if (apps_.contains(windowAppId)) return windowAppId;
  auto it = byLowerName_.find(Lower(windowAppId));
  return it == byLowerName_.end() ? windowAppId : it->second;
}

std::vector<std::string> AppCatalog::appsOfFiles(const std::vector<std::string>& paths) const {
  std::vector<std::string> ids;
  for (const std::string& path : paths) {
    if (auto it = byPath_.find(path); it != byPath_.end()) ids.push_back(it->second);
  }
  return ids;
}

}  // namespace tl::linuxdev
