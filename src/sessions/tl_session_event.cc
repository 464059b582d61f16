// TLSessionEvent: its description.
#include "sessions/tl_session_event.h"

#include <cstdio>

std::string TLSessionEvent::description() const {
  char text[32];
  std::snprintf(text, sizeof text, "%X:%u", _appState, _duration);
  return text;
}
