-- How the daily drain spreads, by system version: the days of daily_drain_by_version.sql counted
-- in bins 25 mW wide, each named by its lower edge.
SELECT m.system_version,
       CAST(FLOOR(d.mean_drain_mW / 25) * 25 AS INTEGER) AS bin_mW,
       COUNT(*) AS device_days
FROM days d
JOIN meta m ON m.device_id = d.device_id AND m.day = d.day
WHERE d.recorded_s >= 23 * 3600 AND d.on_battery_s >= 3600
GROUP BY m.system_version, bin_mW
ORDER BY m.system_version, bin_mW;
