/* The module's in-process power notifications and their user-info keys, exported by name. */
#ifndef TALLYLINE_EQ_NOTIFICATIONS_H_
#define TALLYLINE_EQ_NOTIFICATIONS_H_

#include "base/export.h"

#ifdef __cplusplus
extern "C" {
#endif

/* Posted by the power listener on the host's queue; the object is the listener. */
TL_EXPORT extern const char EQDeviceCanSleepNotification[];
TL_EXPORT extern const char EQDeviceWillSleepNotification[];
/* User info: EQDeviceDidWakeSystemReasonKey -> the kernel's wake reason, or "<unknown>". */
TL_EXPORT extern const char EQDeviceDidWakeNotification[];
TL_EXPORT extern const char EQDeviceDidWakeSystemReasonKey[];
/* For observers; the module never puts these two into a user info. */
TL_EXPORT extern const char EQDeviceDidWakeBasebandReasonKey[];
TL_EXPORT extern const char EQDeviceDidWakeBasebandDecodedInfoKey[];
/* User info: EQBatteryStatusPropertiesKey -> a new EQBatteryProperties of the battery. */
TL_EXPORT extern const char EQBatteryStatusDidChangeNotification[];
TL_EXPORT extern const char EQBatteryStatusPropertiesKey[];
/* Posted on the logging queue with no object and no user info. */
TL_EXPORT extern const char EQDeviceBacklightOnNotification[];
TL_EXPORT extern const char EQDeviceBacklightOffNotification[];
/* Posted on the low-power-mode queue. User info: the notification's own name ->
   {"mode": the named notification's name, "value": its 64-bit state}. */
TL_EXPORT extern const char EQLPMStatusDidChangeNotification[];

#ifdef __cplusplus
}
#endif

#endif /* TALLYLINE_EQ_NOTIFICATIONS_H_ */
