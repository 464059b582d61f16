-- The applications that used the most energy across the fleet (estimated, as each device's
-- report estimates it), with the share of all the energy estimated, the device itself included.
SELECT e.app,
       COUNT(DISTINCT e.device_id) AS devices,
       COUNT(*) AS device_days,
       SUM(e.energy_mWh) AS energy_mWh,
       SUM(e.energy_mWh) / COUNT(*) AS mWh_per_device_day,
       SUM(e.background_s) AS background_s,
       100 * SUM(e.energy_mWh) / (SELECT SUM(energy_mWh) FROM app_energy) AS share_pct
FROM app_energy e
WHERE e.app NOT LIKE '(%'
GROUP BY e.app
ORDER BY energy_mWh DESC, e.app
LIMIT 20;
