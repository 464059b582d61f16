-- The fleet: devices and device-days by model and system version, and how many of the devices
-- had a wake loop on at least one night.
SELECT m.machine,
       m.system_version,
       COUNT(DISTINCT m.device_id) AS devices,
       COUNT(*) AS device_days,
       COUNT(DISTINCT CASE WHEN n.verdict LIKE '%wake loop%' THEN n.device_id END)
         AS devices_with_a_wake_loop
FROM meta m
LEFT JOIN nights n ON n.device_id = m.device_id AND n.day = m.day
GROUP BY m.machine, m.system_version
ORDER BY m.machine, m.system_version;
