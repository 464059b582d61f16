-- Overnight drain by system version: the mean power drawn over each night (22:00 to 07:00)
-- spent wholly on battery, with the drain while asleep and the wakes an hour.
SELECT m.system_version,
       COUNT(*) AS nights,
       COUNT(DISTINCT n.device_id) AS devices,
       AVG(n.drain_mWh * 3600 / n.recorded_s) AS mean_mW,
       quantile_cont(n.drain_mWh * 3600 / n.recorded_s, 0.1) AS p10_mW,
       quantile_cont(n.drain_mWh * 3600 / n.recorded_s, 0.5) AS median_mW,
       quantile_cont(n.drain_mWh * 3600 / n.recorded_s, 0.9) AS p90_mW,
       AVG(n.asleep_drain_mW) AS mean_asleep_mW,
       AVG(n.wakes_per_h) AS mean_wakes_per_h
FROM nights n
JOIN meta m ON m.device_id = n.device_id AND m.day = n.day
WHERE n.plugged_s = 0 AND n.drain_mWh IS NOT NULL
GROUP BY m.system_version
ORDER BY m.system_version;
