// The values of the exported notification names and user-info keys: each is its own name, but
// the wake reason keys, which drop the trailing "Key".
#include "power/eq_notifications.h"

#include "platform/power_notification_names.h"

extern "C" {
const char EQDeviceCanSleepNotification[] = TL_DEVICE_CAN_SLEEP_NOTIFICATION;
const char EQDeviceWillSleepNotification[] = TL_DEVICE_WILL_SLEEP_NOTIFICATION;
const char EQDeviceDidWakeNotification[] = TL_DEVICE_DID_WAKE_NOTIFICATION;
const char EQDeviceDidWakeSystemReasonKey[] = TL_DEVICE_DID_WAKE_SYSTEM_REASON_KEY;
const char EQDeviceDidWakeBasebandReasonKey[] = "EQDeviceDidWakeBasebandReason";
const char EQDeviceDidWakeBasebandDecodedInfoKey[] = "EQDeviceDidWakeBasebandDecodedInfo";
const char EQBatteryStatusDidChangeNotification[] = TL_BATTERY_STATUS_DID_CHANGE_NOTIFICATION;
const char EQBatteryStatusPropertiesKey[] = TL_BATTERY_STATUS_PROPERTIES_KEY;
const char EQDeviceBacklightOnNotification[] = TL_DEVICE_BACKLIGHT_ON_NOTIFICATION;
const char EQDeviceBacklightOffNotification[] = TL_DEVICE_BACKLIGHT_OFF_NOTIFICATION;
const char EQLPMStatusDidChangeNotification[] = TL_LPM_STATUS_DID_CHANGE_NOTIFICATION;
}
