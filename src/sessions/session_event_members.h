// ForEachEventMember: the members of an event's object in the session log, in the order the log
// writes them.
#pragma once

#include <string_view>

#include "sessions/tl_bundle_session.h"
#include "sessions/tl_session_event.h"

namespace tl::sessions {

// Room for the name written for a code that a name table lacks: "<unknown--9223372036854775808>".
struct UnnamedCode {
  char text[32];
};
// The name of code in table, or "<unknown-CODE>" written into spare.
std::string_view NameOf(const TLBundleSession::NameTable& table, int64_t code, UnnamedCode& spare);

// Hands sink the members of event's object in ascending key order, which is the order of the
// log's layout: sink.date(at) for "date", and sink.text(key, view), sink.number(key, unsigned)
// and sink.flag(key, bool) for the others. False, with nothing handed, for a kind of event that
// is never written.
template <typename Sink>
bool ForEachEventMember(const TLSessionEvent& event, Sink& sink) {
  const uint32_t code = event.appState();
  const uint32_t kind = code & kTLEventClassMask;
  UnnamedCode spare;
  switch (kind >> 16) {
    case 0x0:
      // The start of the interval, in 32-bit unsigned arithmetic like the record itself.
      sink.date(static_cast<uint32_t>(event.endtime() - event.duration()));
      sink.number("duration", event.duration());
      sink.text("state", NameOf(TLBundleSession::appStateNames(), code, spare));
      sink.text("type", "app_session");
      return true;
    case 0x1:
    case 0x3:
      sink.date(event.endtime());
      sink.text("install_type",
                NameOf(TLBundleSession::installTypeNames(), code & kTLEventInstallTypeMask, spare));
      sink.flag("is_redownload", (code & kTLEventRedownload) != 0);
      sink.flag("is_update", (code & kTLEventUpdate) != 0);
      sink.text("type", kind == kTLEventInstalled ? "app_install" : "app_start_install");
      return true;
    case 0x2:
    case 0x4:
    case 0x5:
      sink.date(event.endtime());
      sink.text("type", kind == kTLEventUninstalled     ? "app_uninstall"
                        : kind == kTLEventInstallFailed ? "app_install_fail"
                                                        : "app_install_cancel");
      return true;
    default:
      return false;
  }
}

}  // namespace tl::sessions
