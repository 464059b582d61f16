// TLSessionEvent: one finished interval of a run state, or one install event, of a bundle; and
// the codes of the events.
#pragma once

#include <cstdint>
#include <string>

// An event's appState: a run-state interval holds its TLAppState code; an install event holds its
// kind in bits 16-19, the update and re-download flags, and the platform's install type in bits
// 0-7.
inline constexpr uint32_t kTLEventClassMask = 0xF0000;
inline constexpr uint32_t kTLEventInstalled = 0x10000;
inline constexpr uint32_t kTLEventUninstalled = 0x20000;
inline constexpr uint32_t kTLEventInstallStarted = 0x30000;
inline constexpr uint32_t kTLEventInstallFailed = 0x40000;
inline constexpr uint32_t kTLEventInstallCancelled = 0x50000;
inline constexpr uint32_t kTLEventUpdate = 0x8000;
inline constexpr uint32_t kTLEventRedownload = 0x4000;
inline constexpr uint32_t kTLEventInstallTypeMask = 0xFF;

class TLSessionEvent {
 public:
  // init:duration:at:
  TLSessionEvent(uint32_t appState, uint32_t duration, uint32_t endtime)
      : _appState(appState), _duration(duration), _endtime(endtime) {}

  // "%X:%u" of the state and the duration; the end time is not shown.
  std::string description() const;

  // The run-state code of the interval, or an install event code.
  uint32_t appState() const { return _appState; }
  void setAppState(uint32_t v) { _appState = v; }
  // Seconds.
  uint32_t duration() const { return _duration; }
  void setDuration(uint32_t v) { _duration = v; }
  // Seconds since 1970-01-01 UTC at which the interval ended.
  uint32_t endtime() const { return _endtime; }
  void setEndtime(uint32_t v) { _endtime = v; }

 private:
  uint32_t _appState;
  uint32_t _duration;
  uint32_t _endtime;
};
