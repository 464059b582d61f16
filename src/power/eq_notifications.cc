// The values of the exported notification names and user-info keys: each is its own name, but
// the wake reason keys, which drop the trailing "Key".
#include "power/eq_notifications.h"

extern "C" {
const char EQDeviceCanSleepNotification[] = "EQDeviceCanSleepNotification";
const char EQDeviceWillSleepNotification[] = "EQDeviceWillSleepNotification";
const char EQDeviceDidWakeNotification[] = "EQDeviceDidWakeNotification";
const char EQDeviceDidWakeSystemReasonKey[] = "EQDeviceDidWakeSystemReason";
const char EQDeviceDidWakeBasebandReasonKey[] = "EQDeviceDidWakeBasebandReason";
const char EQDeviceDidWakeBasebandDecodedInfoKey[] = "EQDeviceDidWakeBasebandDecodedInfo";
const char EQBatteryStatusDidChangeNotification[] = "EQBatteryStatusDidChangeNotification";
const char EQBatteryStatusPropertiesKey[] = "EQBatteryStatusPropertiesKey";
const char EQDeviceBacklightOnNotification[] = "EQDeviceBacklightOnNotification";
const char EQDeviceBacklightOffNotification[] = "EQDeviceBacklightOffNotification";
const char EQLPMStatusDidChangeNotification[] = "EQLPMStatusDidChangeNotification";
}
