// StoreMeta: the meta table's rows.
#include "host/store/store_meta.h"

#include <openssl/evp.h>

#include <algorithm>

#include "platform/uuid.h"

namespace tl::host {

std::string AnonymousDeviceId(std::string_view seed) {
  unsigned char digest[EVP_MAX_MD_SIZE];
  unsigned length = 0;
  EVP_Digest(seed.data(), seed.size(), digest, &length, EVP_sha256(), nullptr);
  platform::Uuid id;
  std::copy(digest, digest + id.bytes.size(), id.bytes.begin());
  return id.text();
}

std::string SystemVersionText(const platform::Dictionary& version) {
  auto text = [&](const char* key) {
    const platform::Value* v = platform::Find(version, key);
    return v && v->string() ? *v->string() : std::string();
  };
  std::string out = text("ProductName") + " " + text("ProductVersion");
  if (!text("ProductBuildVersion").empty()) out += " (" + text("ProductBuildVersion") + ")";
  return out;
}

StoreMeta::StoreMeta(Database& db) : db_(db) {
  if (!db_.hasTable("meta")) {
    db_.exec("CREATE TABLE meta (name TEXT PRIMARY KEY, value TEXT NOT NULL)");
  }
}

void StoreMeta::set(std::string_view name, std::string_view value) {
  db_.prepare(
         "INSERT INTO meta (name, value) VALUES (?1, ?2) "
         "ON CONFLICT (name) DO UPDATE SET value = excluded.value")
      .bind(1, name)
      .bind(2, value)
      .run();
}

std::optional<std::string> StoreMeta::get(std::string_view name) {
  Statement find = db_.prepare("SELECT value FROM meta WHERE name = ?1");
  find.bind(1, name);
  if (!find.row()) return std::nullopt;
  std::string value = find.columnText(0);
  find.row();
  return value;
}

std::vector<std::pair<std::string, std::string>> StoreMeta::all() {
  Statement list = db_.prepare("SELECT name, value FROM meta ORDER BY name");
  std::vector<std::pair<std::string, std::string>> values;
  while (list.row()) values.emplace_back(list.columnText(0), list.columnText(1));
  return values;
}

}  // namespace tl::host
