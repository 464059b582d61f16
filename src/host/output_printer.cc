// OutputPrinter: one JSON line per output.
#include "host/output_printer.h"

#include <cmath>

#include "host/json_values.h"

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
  return OrderedJson(ToJson(platform::Value(*values)));
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

void OutputPrinter::emit(const OrderedJson& line) {
  std::string text = line.dump(-1, ' ', false, OrderedJson::error_handler_t::replace);
  text.push_back('\n');
  std::fwrite(text.data(), 1, text.size(), out_);
}

void OutputPrinter::scalar(double at, std::string_view key, int64_t value) {
  OrderedJson line = Start(at);
  line["scalar"] = key;
  line["value"] = value;
  emit(line);
}

void OutputPrinter::distribution(double at, std::string_view key, double value) {
  OrderedJson line = Start(at);
  line["distribution"] = key;
  line["value"] = value;
  emit(line);
}

void OutputPrinter::batch(double at, const platform::KeyValues* first,
                          const platform::KeyValues* second) {
  OrderedJson line = Start(at);
  line["batch"] = {{"first", KeyValuesJson(first)}, {"second", KeyValuesJson(second)}};
  emit(line);
}

void OutputPrinter::log(double at, std::string_view text) {
  OrderedJson line = Start(at);
  line["log"] = text;
  emit(line);
}

void OutputPrinter::ipc(double at, const std::string& service,
                        const platform::WispObject& message) {
  OrderedJson line = Start(at);
  line["ipc"] = {{"service", service}, {"message", WispToJson(message)}};
  emit(line);
}

void OutputPrinter::powerAck(double at, intptr_t id) {
  OrderedJson line = Start(at);
  line["power_ack"] = static_cast<int64_t>(id);
  emit(line);
}

void OutputPrinter::simCrash(double at, uint32_t code, const std::string& reason) {
  OrderedJson line = Start(at);
  line["simcrash"] = {{"code", code}, {"reason", reason}};
  emit(line);
}

void OutputPrinter::notification(double at, const platform::Notification& notification) {
  OrderedJson line = Start(at);
  line["notification"] = notification.name;
  line["user_info"] = OrderedJson(ToJson(platform::Value(notification.userInfo)));
  emit(line);
}

}  // namespace tl::host
