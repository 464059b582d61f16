// TLBundleSession::getInfoWithFormatter and appendInfoWithFormatter: a session's object in the
// session log, as a JSON value or written straight in the log's layout.
#include <charconv>
#include <cstdio>

#include "platform/platform.h"
#include "sessions/chunked_writer.h"
#include "sessions/pretty_json.h"
#include "sessions/record_values.h"
#include "sessions/session_event_members.h"
#include "sessions/tl_bundle_session.h"
#include "sessions/tl_date_formatter.h"

using nlohmann::json;
using tl::sessions::JsonOf;

namespace tl::sessions {

std::string_view NameOf(const TLBundleSession::NameTable& table, int64_t code, UnnamedCode& spare) {
  if (code >= 0 && code <= UINT32_MAX) {
    auto it = table.find(static_cast<uint32_t>(code));
    if (it != table.end()) return it->second;
  }
  const int length =
      std::snprintf(spare.text, sizeof spare.text, "<unknown-%lld>", static_cast<long long>(code));
  return {spare.text, static_cast<size_t>(length)};
}

}  // namespace tl::sessions

namespace {

constexpr std::string_view kEventsKey = "app_events";

// Builds an event's object as a JSON value.
class JsonEventSink {
 public:
  JsonEventSink(json& object, const TLDateFormatter& formatter)
      : object_(object), formatter_(formatter) {}
  void date(int64_t at) { object_["date"] = formatter_.stringFromDate(at); }
  void text(const char* key, std::string_view value) { object_[key] = value; }
  void number(const char* key, uint32_t value) { object_[key] = value; }
  void flag(const char* key, bool value) { object_[key] = value; }

 private:
  json& object_;
  const TLDateFormatter& formatter_;
};

// Writes an event's object in the log's layout, as an element of "app_events".
class PrettyEventSink {
 public:
  static constexpr int kMemberIndent = 6;
  PrettyEventSink(std::string& out, const TLDateFormatter& formatter)
      : out_(out), formatter_(formatter) {}
  void date(int64_t at) {
    start("date");
    // A date is digits and the pattern's separators: nothing to escape.
    out_ += '"';
    formatter_.appendDate(out_, at);
    out_ += '"';
  }
  void text(const char* key, std::string_view value) {
    start(key);
    tl::sessions::AppendQuoted(out_, value);
  }
  void number(const char* key, uint32_t value) {
    start(key);
    char digits[16];
    out_.append(digits, std::to_chars(digits, digits + sizeof digits, value).ptr);
  }
  void flag(const char* key, bool value) {
    start(key);
    out_ += value ? "true" : "false";
  }
  // Closes the object; an event always has members.
  void finish() {
    out_ += '\n';
    out_.append(kMemberIndent - 2, ' ');
    out_ += '}';
  }

 private:
  void start(std::string_view key) {
    out_ += first_ ? "{\n" : ",\n";
    first_ = false;
    tl::sessions::AppendMemberStart(out_, key, kMemberIndent);
  }
  std::string& out_;
  const TLDateFormatter& formatter_;
  bool first_ = true;
};

}  // namespace

json TLBundleSession::infoWithoutEvents() const {
  TLLog("processing %s with %d events", TextOrNull(_bundleID), static_cast<int>(events.size()));
  json info;
  info["app_bundleid"] = _bundleID.value_or("");
  // Absent values are written as empty strings, also where a number stands otherwise.
  info["app_cohort"] = _cohort.value_or("");
  info["app_storefront"] = _storeFront ? JsonOf(*_storeFront).value_or("") : json("");
  info["app_build_version"] = _bundleVers.value_or("");
  info["app_version"] = _shortVers.value_or("");
  info["app_sessionreporter_key"] = _vendorID ? _vendorID->text() : "";
  info["app_adamid"] = _adamID ? JsonOf(*_adamID).value_or("") : json("");
  info["app_is_beta"] = _isBeta;
  if (appstate.arch != 0) {
    info["slice_uuid"] = appstate.uuid.text();
    tl::sessions::UnnamedCode spare;
    info["app_arch"] = tl::sessions::NameOf(archNames(), appstate.arch, spare);
  }
  return info;
}

void TLBundleSession::giveUpEvents(std::vector<TLSessionEvent>* removedEvents) {
  if (removedEvents) {
    // Handed over, not copied: the log costs no second copy of the events.
    *removedEvents = std::move(events);
  }
  events = {};
}

json TLBundleSession::getInfoWithFormatter(const TLDateFormatter& formatter,
                                           std::vector<TLSessionEvent>* removedEvents) {
  json info = infoWithoutEvents();
  json list = json::array();
  for (const TLSessionEvent& event : events) {
    json object;
    JsonEventSink sink(object, formatter);
    if (tl::sessions::ForEachEventMember(event, sink)) list.push_back(std::move(object));
  }
  info[kEventsKey] = std::move(list);
  giveUpEvents(removedEvents);
  return info;
}

void TLBundleSession::appendInfoWithFormatter(tl::sessions::ChunkedWriter& out,
                                              const TLDateFormatter& formatter,
                                              std::vector<TLSessionEvent>* removedEvents) {
  json info = infoWithoutEvents();
  info[kEventsKey] = nullptr;  // holds the member's place; its value is written below
  tl::sessions::AppendPrettyWith(out.text(), info, kEventsKey, [&](std::string& text, int indent) {
    bool any = false;
    for (const TLSessionEvent& event : events) {
      const size_t mark = text.size();
      text += any ? ",\n" : "[\n";
      text.append(static_cast<size_t>(indent) + 2, ' ');
      PrettyEventSink sink(text, formatter);
      if (!tl::sessions::ForEachEventMember(event, sink)) {
        text.resize(mark);
        continue;
      }
      sink.finish();
      any = true;
      out.drain();  // after a whole event: the text may move to the file
    }
    if (any) {
      text += '\n';
    } else {
      text += '[';
      text += tl::sessions::kEmptyContainerBreak;
      text += tl::sessions::kEmptyContainerBreak;
    }
    text.append(static_cast<size_t>(indent), ' ');
    text += ']';
  });
  giveUpEvents(removedEvents);
}
