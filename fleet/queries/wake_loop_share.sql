-- The share of devices with a wake loop (more than 10 wakes an hour overnight), day by day and
-- by system version, among the devices that recorded that night.
SELECT n.day,
       m.system_version,
       COUNT(DISTINCT n.device_id) AS devices,
       COUNT(DISTINCT CASE WHEN n.verdict LIKE '%wake loop%' THEN n.device_id END)
         AS devices_with_a_wake_loop,
       100.0 * COUNT(DISTINCT CASE WHEN n.verdict LIKE '%wake loop%' THEN n.device_id END)
         / COUNT(DISTINCT n.device_id) AS share_pct
FROM nights n
JOIN meta m ON m.device_id = n.device_id AND m.day = n.day
GROUP BY n.day, m.system_version
ORDER BY n.day, m.system_version;
