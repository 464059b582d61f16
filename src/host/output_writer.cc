// OutputWriter: JSON lines and the daemon's handling of each statistics call.
#include "host/output_writer.h"

#include <cmath>

namespace tl::host {

namespace {

using OrderedJson = nlohmann::ordered_json;

// Whole seconds print as integers, fractions as doubles.
OrderedJson At(double at) {
  if (at == std::trunc(at) && std::fabs(at) < 9e15) return static_cast<int64_t>(at);
  return at;
}

OrderedJson Start(double at) {
  OrderedJson line;
  line["at"] = At(at);
  return line;
}

OrderedJson KeyValuesJson(const platform::KeyValues* values) {
  if (!values) return nullptr;
  return OrderedJson(sim::ToJson(platform::Value(*values)));
}

}  // namespace

OrderedJson WispToJson(const platform::WispObject& object) {
  using Type = platform::WispObject::Type;
  switch (object.type()) {
    case Type::kDictionary: {
      OrderedJson d = OrderedJson::object();
      for (const auto& [key, value] : object.entries()) d[key] = WispToJson(*value);
      return d;
    }
    case Type::kArray: {
      OrderedJson a = OrderedJson::array();
      for (const auto& value : object.elements()) a.push_back(WispToJson(*value));
      return a;
    }
    case Type::kInt64:
      return object.int64Value();
    case Type::kString:
      return object.stringValue();
    case Type::kUuid:
      return object.uuidValue().text();
    case Type::kError:
      return OrderedJson{{"error", object.stringValue()}};
  }
  return nullptr;
}

OutputWriter::OutputWriter(std::FILE* out, StatsStore& store, std::function<std::string()> localDay)
    : out_(out), store_(store), localDay_(std::move(localDay)) {}

void OutputWriter::emit(const OrderedJson& line) {
  std::string text = line.dump(-1, ' ', false, OrderedJson::error_handler_t::replace);
  text.push_back('\n');
  std::fwrite(text.data(), 1, text.size(), out_);
}

void OutputWriter::scalar(double at, std::string_view key, int64_t value) {
  store_.addScalar(localDay_(), key, value);
  OrderedJson line = Start(at);
  line["scalar"] = key;
  line["value"] = value;
  emit(line);
}

void OutputWriter::distribution(double at, std::string_view key, double value) {
  store_.pushSample(localDay_(), key, value);
  OrderedJson line = Start(at);
  line["distribution"] = key;
  line["value"] = value;
  emit(line);
}

void OutputWriter::batch(double at, const platform::KeyValues* first,
                         const platform::KeyValues* second) {
  // The daemon adds the first dictionary's values as scalars and samples the second's.
  std::string day = localDay_();
  if (first) {
    for (const auto& [key, value] : *first) {
      if (value.isInteger() || value.isBool()) {
        store_.addScalar(day, key, value.longLongValue());
      } else {
        store_.addScalar(day, key, value.doubleValue());
      }
    }
  }
  if (second) {
    for (const auto& [key, value] : *second) store_.pushSample(day, key, value.doubleValue());
  }
  OrderedJson line = Start(at);
  line["batch"] = {{"first", KeyValuesJson(first)}, {"second", KeyValuesJson(second)}};
  emit(line);
}

void OutputWriter::log(double at, std::string_view text) {
  OrderedJson line = Start(at);
  line["log"] = std::string(text);
  emit(line);
}

void OutputWriter::ipc(double at, const std::string& service, const platform::WispObject& message) {
  // The daily-report service is the daemon's own: it keeps which applications were active.
  if (service == "com.veltro.tallyd.tldaily") {
    std::vector<StatsStore::ActivatedApp> apps;
    if (const platform::WispObject* list = message.get("app_data")) {
      for (const auto& entry : list->elements()) {
        StatsStore::ActivatedApp app;
        if (auto* v = entry->get("bundle_id")) app.bundle = v->stringValue();
        if (auto* v = entry->get("version")) app.version = v->stringValue();
        if (auto* v = entry->get("adam_id")) app.adamId = v->int64Value();
        if (auto* v = entry->get("uuid")) app.uuid = v->uuidValue().text();
        if (auto* v = entry->get("arch")) app.arch = v->int64Value();
        apps.push_back(std::move(app));
      }
    }
    store_.addActivatedReport(localDay_(), at, apps);
  }
  OrderedJson line = Start(at);
  line["ipc"] = {{"service", service}, {"message", WispToJson(message)}};
  emit(line);
}

void OutputWriter::powerAck(double at, intptr_t id) {
  OrderedJson line = Start(at);
  line["power_ack"] = static_cast<int64_t>(id);
  emit(line);
}

void OutputWriter::simCrash(double at, uint32_t code, const std::string& reason) {
  OrderedJson line = Start(at);
  line["simcrash"] = {{"code", code}, {"reason", reason}};
  emit(line);
}

void OutputWriter::notification(double at, const platform::Notification& notification) {
  OrderedJson line = Start(at);
  line["notification"] = notification.name;
  line["user_info"] = OrderedJson(sim::ToJson(platform::Value(notification.userInfo)));
  emit(line);
}

}  // namespace tl::host
