-- How the overnight drain spreads, by system version: the nights of
-- overnight_drain_by_version.sql counted in bins 10 mW wide, each named by its lower edge.
SELECT m.system_version,
       CAST(FLOOR(n.drain_mWh * 3600 / n.recorded_s / 10) * 10 AS INTEGER) AS bin_mW,
       COUNT(*) AS nights
FROM nights n
JOIN meta m ON m.device_id = n.device_id AND m.day = n.day
WHERE n.plugged_s = 0 AND n.drain_mWh IS NOT NULL
GROUP BY m.system_version, bin_mW
ORDER BY m.system_version, bin_mW;
