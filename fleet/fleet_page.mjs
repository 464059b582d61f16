// The fleet's page: the answers of the fleet queries as tables and charts, in one HTML file that
// opens offline (the chart library, uPlot, is inside it).
import { readFileSync } from "node:fs";
import { dirname, join } from "node:path";
import { fileURLToPath } from "node:url";

const uplot = join(dirname(fileURLToPath(import.meta.url)), "..", "web", "node_modules", "uplot", "dist");

function escape(text) {
  return String(text).replace(/[&<>"]/g, (c) => ({ "&": "&amp;", "<": "&lt;", ">": "&gt;", '"': "&quot;" })[c]);
}

function table(result) {
  const number = (v) => typeof v === "number";
  const cell = (v) => v === null ? "<td>n/a</td>" : number(v)
    ? "<td class=num>" + (Number.isInteger(v) ? v : v.toFixed(2)) + "</td>" : "<td>" + escape(v) + "</td>";
  return "<div class=table><table><tr>" + result.columns.map((c) => "<th>" + escape(c) + "</th>").join("") +
    "</tr>" + result.rows.map((r) => "<tr>" + r.map(cell).join("") + "</tr>").join("\n") + "</table></div>";
}

// Each chart's data is worked out here from the answers; the page's script only draws.
const script = String.raw`
(function () {
  "use strict";
  var data = JSON.parse(document.getElementById("fleet-data").textContent);
  var COLOURS = ["#0072B2", "#E69F00", "#009E73", "#CC79A7", "#56B4E9", "#D55E00"];
  var width = Math.max(300, Math.min(document.body.clientWidth || 900, 1000) - 32);
  var drawn = {};
  function series(names, options) {
    return [{}].concat(names.map(function (n, i) {
      var s = { label: n, stroke: COLOURS[i % COLOURS.length], width: 2 };
      for (var k in options) s[k] = options[k];
      if (options && options.fill) s.fill = COLOURS[i % COLOURS.length] + "44";
      return s;
    }));
  }
  // Counts per bin and version, from rows of [version, bin, count].
  function histogram(id, title, rows, unit, binWidth) {
    var versions = [], bins = [], low = Infinity, high = -Infinity;
    rows.forEach(function (r) {
      if (versions.indexOf(r[0]) < 0) versions.push(r[0]);
      low = Math.min(low, r[1]); high = Math.max(high, r[1]);
    });
    // Every bin from the lowest to the highest, the empty ones too, and the last one's right edge
    // so that its step is drawn as wide as the others.
    for (var b = low; b <= high + binWidth; b += binWidth) bins.push(b);
    var columns = [bins].concat(versions.map(function (v) {
      return bins.map(function (b) {
        var row = rows.find(function (r) { return r[0] === v && r[1] === b; });
        return row ? row[2] : 0;
      });
    }));
    plot(id, { title: title, width: width, height: 240, scales: { x: { time: false } },
               series: series(versions, { paths: uPlot.paths.stepped({ align: 1 }), fill: true }),
               axes: [{ label: unit }, { label: "count" }] }, columns);
  }
  function plot(id, options, columns) {
    var element = document.getElementById(id);
    if (!element || !columns[0].length) return;
    new uPlot(options, columns, element);
    drawn[id] = columns[0].length;
  }
  var r = data;
  histogram("chart-daily", "Daily drain on battery by system version (device-days per 25 mW)",
            r.daily_drain_histogram.rows, "mean drain on battery, mW", 25);
  histogram("chart-nightly", "Overnight drain by system version (nights per 10 mW)",
            r.overnight_drain_histogram.rows, "mean drain 22:00-07:00, mW", 10);
  var apps = r.top_apps.rows;
  plot("chart-apps", { title: "Energy by application across the fleet (mWh, estimated)", width: width, height: 260,
                       scales: { x: { time: false, range: [-0.5, apps.length - 0.5] } },
                       series: series(["energy mWh"], { paths: uPlot.paths.bars({ size: [0.6, 60] }), fill: true }),
                       axes: [{ values: function (u, ticks) { return ticks.map(function (t) { return apps[t] ? apps[t][0].replace(/^com\.example\./, "") : ""; }); },
                                splits: function () { return apps.map(function (a, i) { return i; }); } },
                              { size: 70 }] },
       [apps.map(function (a, i) { return i; }), apps.map(function (a) { return a[3]; })]);
  var share = r.wake_loop_share.rows, versions = [], days = [];
  share.forEach(function (row) {
    if (versions.indexOf(row[1]) < 0) versions.push(row[1]);
    if (days.indexOf(row[0]) < 0) days.push(row[0]);
  });
  plot("chart-loops", { title: "Devices with a wake loop, % of those recording the night, by system version",
                        width: width, height: 240, series: series(versions, {}),
                        scales: { y: { range: [0, 100] } }, axes: [{}, { label: "%" }] },
       [days.map(function (d) { return Date.parse(d + "T12:00:00Z") / 1000; })].concat(versions.map(function (v) {
         return days.map(function (d) {
           var row = share.find(function (x) { return x[0] === d && x[1] === v; });
           return row ? row[4] : null;
         });
       })));
  document.body.dataset.drawn = JSON.stringify(drawn);
})();`;

const css = `body{font:14px/1.4 system-ui,sans-serif;margin:0 auto;max-width:1000px;padding:0 16px;color:#1d232a;background:#fff}
@media (prefers-color-scheme: dark){body{color:#e3e6ea;background:#15181c}}
h2{font-size:18px;border-bottom:1px solid #ccd;margin-top:28px} .note{color:#667;font-size:13px}
div.table{overflow-x:auto} table{border-collapse:collapse;font-size:13px} th,td{padding:2px 8px;border-bottom:1px solid #ccd;text-align:left}
td.num{text-align:right;font-variant-numeric:tabular-nums}`;

const SECTIONS = [
  ["fleet_overview", "The fleet", null],
  ["daily_drain_by_version", "Daily drain by system version", "chart-daily"],
  ["overnight_drain_by_version", "Overnight drain by system version", "chart-nightly"],
  ["top_apps", "Applications by energy", "chart-apps"],
  ["wake_loop_share", "Wake loops, day by day", "chart-loops"],
];

export function page(results) {
  let body = "";
  for (const [name, title, chart] of SECTIONS) {
    const result = results[name];
    if (!result) continue;
    body += "<section id=" + name + "><h2>" + escape(title) + "</h2><p class=note>" + escape(result.about) +
      " (fleet/queries/" + name + ".sql)</p>" + (chart ? "<div id=" + chart + "></div>" : "") + table(result) + "</section>\n";
  }
  const data = JSON.stringify(results).replace(/</g, "\\u003c");
  return "<!DOCTYPE html>\n<html lang=en><head><meta charset=utf-8><meta name=viewport content=\"width=device-width\">" +
    "<title>tallyd fleet</title><style>" + readFileSync(join(uplot, "uPlot.min.css"), "utf8") + css + "</style></head><body>" +
    "<h1>The fleet</h1><p class=note>Every figure is a query of fleet/queries/ run by DuckDB on the devices' exports. " +
    "Energy by application is estimated on each device from its power model (docs/ATTRIBUTION.md).</p>\n" + body +
    "<footer class=note><p>Charts drawn with uPlot; its licence:</p><pre>" +
    escape(readFileSync(join(uplot, "..", "LICENSE"), "utf8")) + "</pre></footer>\n" +
    "<script type=application/json id=fleet-data>" + data + "</script><script>" +
    readFileSync(join(uplot, "uPlot.iife.min.js"), "utf8") + "</script><script>" + script + "</script></body></html>\n";
}
