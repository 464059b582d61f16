-- Daily drain by system version: the mean power drawn from the battery while on battery, over
-- the days recorded whole (23 hours or more, so that the day the clocks change counts) with an
-- hour or more on battery.
SELECT m.system_version,
       COUNT(*) AS device_days,
       COUNT(DISTINCT d.device_id) AS devices,
       AVG(d.mean_drain_mW) AS mean_mW,
       quantile_cont(d.mean_drain_mW, 0.1) AS p10_mW,
       quantile_cont(d.mean_drain_mW, 0.5) AS median_mW,
       quantile_cont(d.mean_drain_mW, 0.9) AS p90_mW,
       AVG(d.drain_pct_of_capacity) AS mean_pct_of_capacity
FROM days d
JOIN meta m ON m.device_id = d.device_id AND m.day = d.day
WHERE d.recorded_s >= 23 * 3600 AND d.on_battery_s >= 3600
GROUP BY m.system_version
ORDER BY m.system_version;
