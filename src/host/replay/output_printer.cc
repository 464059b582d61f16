// OutputPrinter: one JSON line per output.
#include "host/replay/output_printer.h"

#include <cmath>

#include "host/json/json_line.h"

namespace tl::host {

using OrderedJson = nlohmann::ordered_json;

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

OutputPrinter::~OutputPrinter() { flush(); }

void OutputPrinter::emit() {
  if (pending_.size() >= kFlushAt) flush();
}

void OutputPrinter::flush() {
  if (pending_.empty()) return;
  std::fwrite(pending_.data(), 1, pending_.size(), out_);
  pending_.clear();
}

void OutputPrinter::scalar(const platform::DeviceMoment& moment, std::string_view key,
                           int64_t value) {
  JsonLine line(pending_);
  line.key("at").seconds(moment.at).key("scalar").string(key).key("value").integer(value).finish();
  emit();
}

void OutputPrinter::distribution(const platform::DeviceMoment& moment, std::string_view key,
                                 double value) {
  JsonLine line(pending_);
  line.key("at")
      .seconds(moment.at)
      .key("distribution")
      .string(key)
      .key("value")
      .number(value)
      .finish();
  emit();
}

void OutputPrinter::batch(const platform::DeviceMoment& moment, const platform::KeyValues* first,
                          const platform::KeyValues* second) {
  JsonLine line(pending_, &names_);
  line.key("at").seconds(moment.at).key("batch").beginObject();
  line.key("first").dictionary(first).key("second").dictionary(second).endObject().finish();
  emit();
}

void OutputPrinter::log(const platform::DeviceMoment& moment, std::string_view text) {
  JsonLine line(pending_);
  line.key("at").seconds(moment.at).key("log").string(text).finish();
  emit();
}

void OutputPrinter::ipc(const platform::DeviceMoment& moment, const std::string& service,
                        const platform::WispObject& message) {
  JsonLine line(pending_);
  line.key("at").seconds(moment.at).key("ipc").beginObject().key("service").string(service);
  line.key("message").json(WispToJson(message)).endObject().finish();
  emit();
}

void OutputPrinter::powerAck(const platform::DeviceMoment& moment, intptr_t id) {
  JsonLine line(pending_);
  line.key("at").seconds(moment.at).key("power_ack").integer(static_cast<int64_t>(id)).finish();
  emit();
}

void OutputPrinter::simCrash(const platform::DeviceMoment& moment, uint32_t code,
                             const std::string& reason) {
  JsonLine line(pending_);
  line.key("at").seconds(moment.at).key("simcrash").beginObject().key("code").integer(code);
  line.key("reason").string(reason).endObject().finish();
  emit();
}

void OutputPrinter::notification(double at, const platform::Notification& notification) {
  JsonLine line(pending_);
  line.key("at").seconds(at).key("notification").string(notification.name);
  line.key("user_info").dictionary(&notification.userInfo).finish();
  emit();
}

}  // namespace tl::host
