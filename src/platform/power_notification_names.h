/* The texts of the module's in-process power notifications and of their user-info keys: one
   each, for the module that exports and posts them and the daemon's timeline that observes them.
   Plain macros, so that the module's exported C arrays are defined from the same text. */
#ifndef TALLYLINE_PLATFORM_POWER_NOTIFICATION_NAMES_H_
#define TALLYLINE_PLATFORM_POWER_NOTIFICATION_NAMES_H_

#define TL_DEVICE_CAN_SLEEP_NOTIFICATION "EQDeviceCanSleepNotification"
#define TL_DEVICE_WILL_SLEEP_NOTIFICATION "EQDeviceWillSleepNotification"
#define TL_DEVICE_DID_WAKE_NOTIFICATION "EQDeviceDidWakeNotification"
#define TL_DEVICE_DID_WAKE_SYSTEM_REASON_KEY "EQDeviceDidWakeSystemReason"
#define TL_BATTERY_STATUS_DID_CHANGE_NOTIFICATION "EQBatteryStatusDidChangeNotification"
#define TL_BATTERY_STATUS_PROPERTIES_KEY "EQBatteryStatusPropertiesKey"
#define TL_DEVICE_BACKLIGHT_ON_NOTIFICATION "EQDeviceBacklightOnNotification"
#define TL_DEVICE_BACKLIGHT_OFF_NOTIFICATION "EQDeviceBacklightOffNotification"
#define TL_LPM_STATUS_DID_CHANGE_NOTIFICATION "EQLPMStatusDidChangeNotification"

#endif /* TALLYLINE_PLATFORM_POWER_NOTIFICATION_NAMES_H_ */
