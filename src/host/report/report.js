// The report page's script: draws the charts from the embedded data with uPlot, makes the
// application tables sortable and the CSV blocks downloadable. It records its own health in
// document.body.dataset (script errors and how much of each chart was painted), which the
// browser test reads.
(function () {
  "use strict";
  var health = { errors: [], charts: {} };
  window.addEventListener("error", function (e) { health.errors.push(String(e.message)); publish(); });
  function publish() { document.body.dataset.health = JSON.stringify(health); }

  var data = JSON.parse(document.getElementById("report-data").textContent);
  var width = Math.min(document.body.clientWidth || 1000, 1100) - 32;
  var BITS = [["plugged in", 1], ["charging", 8], ["screen", 4], ["awake", 2], ["low-power mode", 16]];
  var COLOURS = ["#2f7ed8", "#8bbc21", "#f28f43", "#77a1e5", "#c42525", "#a6c96a", "#492970", "#0d233a"];

  // Shading of the stretches nobody recorded, local midnights and wakes, on every timeline row.
  function marks(withWakes) {
    return { hooks: { draw: [function (u) {
      var ctx = u.ctx, top = u.bbox.top, height = u.bbox.height;
      ctx.save();
      ctx.fillStyle = "rgba(120,120,120,0.18)";
      data.not_recorded.forEach(function (s) {
        var a = u.valToPos(s.from, "x", true), b = u.valToPos(s.to, "x", true);
        ctx.fillRect(a, top, Math.max(1, b - a), height);
      });
      ctx.strokeStyle = "#555"; ctx.setLineDash([2, 3]);
      data.midnights.forEach(function (m) {
        var x = u.valToPos(m, "x", true);
        ctx.beginPath(); ctx.moveTo(x, top); ctx.lineTo(x, top + height); ctx.stroke();
      });
      if (withWakes) {
        ctx.strokeStyle = "#c42525"; ctx.setLineDash([6, 4]); ctx.fillStyle = "#c42525";
        ctx.font = Math.round(11 * devicePixelRatio) + "px sans-serif";
        data.timeline.forEach(function (p) {
          if (p.event !== "wake") return;
          var x = u.valToPos(p.at, "x", true);
          ctx.beginPath(); ctx.moveTo(x, top); ctx.lineTo(x, top + height); ctx.stroke();
          ctx.fillText(p.wake_reason || "wake", x + 3, top + 12 * devicePixelRatio);
        });
      }
      ctx.restore();
    }] } };
  }

  // After each drawing of a chart, how many of its canvas's pixels (one in four) are painted.
  function watched(id, opts) {
    opts.hooks = opts.hooks || {};
    opts.hooks.draw = (opts.hooks.draw || []).concat([function (plot) {
      var canvas = plot.ctx.canvas, count = 0;
      var pixels = plot.ctx.getImageData(0, 0, canvas.width, canvas.height).data;
      for (var i = 3; i < pixels.length; i += 16) if (pixels[i] > 0) count++;
      health.charts[id] = { points: plot.data[0].length, painted: count };
      publish();
    }]);
    return opts;
  }

  // Times on the axes and in the legends are the device's local times.
  var zone = data.meta.time_zone || "UTC";
  function deviceDate(ts) {
    try { return uPlot.tzDate(new Date(ts * 1e3), zone); } catch (e) { return new Date(ts * 1e3); }
  }

  var timelineCharts = [];
  // Zoom on one row zooms them all.
  function syncZoom(u) {
    var min = u.scales.x.min, max = u.scales.x.max;
    timelineCharts.forEach(function (other) {
      if (other !== u && (other.scales.x.min !== min || other.scales.x.max !== max)) {
        other.setScale("x", { min: min, max: max });
      }
    });
  }

  function timelineChart(id, title, series, columns, height, withWakes, yScale) {
    var element = document.getElementById(id);
    if (!element) return;
    var opts = {
      title: title, width: width, height: height, tzDate: deviceDate,
      cursor: { sync: { key: "timeline", setSeries: false } },
      scales: { x: { time: true, min: data.midnights[0], max: data.midnights[data.midnights.length - 1] },
                y: yScale || {} },
      series: [{ label: "local time" }].concat(series),
      plugins: [marks(withWakes)],
      hooks: { setScale: [function (u, key) { if (key === "x") syncZoom(u); }] },
      // The same width of y axis on every row keeps their times in line.
      axes: [{}, yScale && yScale.lanes
        ? { size: 110, splits: function () { return BITS.map(function (_, i) { return i + 0.5; }); },
            values: function (u, ticks) { return ticks.map(function (t) { return BITS[Math.floor(t)][0]; }); } }
        : { size: 110 }]
    };
    timelineCharts.push(new uPlot(watched(id, opts), columns, element));
  }

  function drawTimeline() {
    var points = data.timeline;
    var xs = points.map(function (p) { return p.at; });
    timelineChart("chart-level", "Battery level (%)",
      [{ label: "battery level %", stroke: COLOURS[0], width: 2, spanGaps: true,
         value: function (u, v) { return v == null ? "" : v.toFixed(1) + " %"; } }],
      [xs, points.map(function (p) { return p.level_pct; })], 220, true, { range: [0, 100] });

    var bandSeries = [], bandColumns = [xs];
    BITS.forEach(function (bit, lane) {
      var last = null;
      bandColumns.push(points.map(function (p) {
        if (p.state != null) last = (p.state & bit[1]) ? 1 : 0;
        if (p.event === "stop") { var v = last; last = null; return v == null ? null : lane + 0.1 + 0.7 * v; }
        return last == null ? null : lane + 0.1 + 0.7 * last;
      }));
      bandSeries.push({ label: bit[0], stroke: COLOURS[lane + 1], fill: COLOURS[lane + 1] + "55", fillTo: lane + 0.1,
                        paths: uPlot.paths.stepped({ align: 1 }),
                        value: function (u, v) { return v == null ? "" : (v - lane > 0.5 ? "yes" : "no"); } });
    });
    timelineChart("chart-bands", "Plugged in, charging, screen, awake, low-power mode", bandSeries,
                  bandColumns, 180, true, { range: [0, BITS.length], lanes: true });

    var thermal = points.filter(function (p) { return p.thermal != null; });
    var txs = thermal.map(function (p) { return p.at; });
    if (thermal.length === 0) { txs = [data.midnights[0]]; }
    timelineChart("chart-thermal", "Thermal level",
      [{ label: "thermal level", stroke: COLOURS[4], width: 2, paths: uPlot.paths.stepped({ align: 1 }) }],
      [txs, thermal.length ? thermal.map(function (p) { return p.thermal; }) : [null]], 130, false,
      { range: [0, 3.5] });
  }

  // Bars of each day stacked from parts (values[part][day]): each series is drawn as the running
  // total up to it, so the first part sits at the bottom.
  function stackedDayBars(id, title, days, labels, values, shown, height, yScale, yAxis) {
    var totals = [], sum = days.map(function () { return 0; });
    values.forEach(function (v) { sum = sum.map(function (s, i) { return s + v[i]; }); totals.push(sum.slice()); });
    var series = [], columns = [days.map(function (_, i) { return i; })];
    for (var p = labels.length - 1; p >= 0; p--) {
      (function (p) {
        var colour = COLOURS[p % COLOURS.length];
        series.push({ label: labels[p], fill: colour, stroke: colour, paths: uPlot.paths.bars({ size: [0.6, 80] }),
                      value: function (u, v, s, i) { return i == null ? "" : shown(values[p][i]); } });
      })(p);
      columns.push(totals[p]);
    }
    new uPlot(watched(id, {
      title: title, width: width, height: height,
      scales: { x: { time: false, range: [-0.5, days.length - 0.5] }, y: yScale },
      axes: [{ values: function (u, ticks) { return ticks.map(function (t) { return days[t] || ""; }); },
               splits: function () { return days.map(function (_, i) { return i; }); } }, yAxis],
      series: [{ label: "day", value: function (u, v) { return v == null ? "" : days[v]; } }].concat(series)
    }), columns, document.getElementById(id));
  }

  // Bars of each day's hours per state, stacked: screen on, screen off and asleep on battery,
  // plugged in, and what nobody accounted for.
  function drawStates() {
    var element = document.getElementById("chart-states");
    var table = data.tables.states;
    if (!element || !table) return;
    var parts = ["unplugged_screen_on", "unplugged_screen_off", "unplugged_asleep", "pluggedin", "unaccounted"];
    var days = data.days, hours = parts.map(function () { return days.map(function () { return 0; }); });
    table.rows.forEach(function (row) {
      var p = parts.indexOf(row.state), d = days.indexOf(row.day);
      if (p >= 0 && d >= 0 && row.duration_s != null) hours[p][d] = Math.max(0, row.duration_s / 3600);
    });
    stackedDayBars("chart-states", "Hours per power state, by day", days,
                   parts.map(function (p) { return p.replace(/_/g, " "); }), hours,
                   function (v) { return v.toFixed(2) + " h"; }, 260, { range: [0, 24] }, {});
  }

  // The brightness histogram: hours at each level, a bar group per daily report's day.
  function drawBrightness() {
    var element = document.getElementById("chart-brightness");
    var table = data.tables.brightness;
    if (!element || !table || table.rows.length === 0) return;
    var buckets = [], days = [];
    table.rows.forEach(function (r) {
      if (buckets.indexOf(r.bucket) < 0) buckets.push(r.bucket);
      if (days.indexOf(r.day) < 0) days.push(r.day);
    });
    var columns = [buckets.map(function (_, i) { return i; })], series = [];
    days.forEach(function (day, d) {
      columns.push(buckets.map(function (b) {
        var row = table.rows.find(function (r) { return r.day === day && r.bucket === b; });
        return row ? row.duration_s / 3600 : 0;
      }));
      series.push({ label: day, fill: COLOURS[d % COLOURS.length], stroke: COLOURS[d % COLOURS.length],
                    paths: uPlot.paths.bars({ size: [0.8 / days.length, 60], align: 0,
                                              disp: { x0: { unit: 2, values: function () {
                                                return buckets.map(function (_, i) { return i - 0.4 + (d + 0.5) * 0.8 / days.length; }); } } } }) });
    });
    new uPlot(watched("chart-brightness", {
      title: "Hours at each brightness, per daily report", width: width, height: 220,
      scales: { x: { time: false, range: [-0.5, buckets.length - 0.5] } },
      axes: [{ values: function (u, ticks) { return ticks.map(function (t) { return buckets[t] || ""; }); },
               splits: function () { return buckets.map(function (_, i) { return i; }); } }, {}],
      series: [{ label: "brightness", value: function (u, v) { return v == null ? "" : buckets[v]; } }].concat(series)
    }), columns, element);
  }

  // Each day's drain as a bar of its parts (estimated): the apps that used the most over the
  // days shown, the rest of the apps together, the device's own parts, and what is unexplained.
  function drawAppEnergy() {
    var element = document.getElementById("chart-app-energy");
    var table = data.tables.app_energy;
    if (!element || !table || table.rows.length === 0) return;
    var days = data.days, byApp = {};
    table.rows.forEach(function (r) {
      if (r.app.charAt(0) !== "(") byApp[r.app] = (byApp[r.app] || 0) + (r.energy_mWh || 0);
    });
    var top = Object.keys(byApp).sort(function (a, b) { return byApp[b] - byApp[a]; }).slice(0, 6);
    var parts = top.concat(["other apps", "device (awake, standby, system CPU, screen)", "unattributed"]);
    function partOf(app) {
      if (top.indexOf(app) >= 0) return app;
      if (app === "(unattributed)") return "unattributed";
      return app.charAt(0) === "(" ? parts[parts.length - 2] : "other apps";
    }
    var mwh = parts.map(function () { return days.map(function () { return 0; }); });
    table.rows.forEach(function (r) {
      var d = days.indexOf(r.day);
      if (d >= 0 && r.energy_mWh != null) mwh[parts.indexOf(partOf(r.app))][d] += r.energy_mWh;
    });
    // A day's drain runs to five digits of mWh: room for them beside the chart.
    stackedDayBars("chart-app-energy", "Battery use by app, by day (mWh, estimated)", days, parts, mwh,
                   function (v) { return v.toFixed(0) + " mWh"; }, 280, {}, { size: 70 });
  }

  function sortable() {
    document.querySelectorAll("table.sortable").forEach(function (table) {
      table.querySelectorAll("th").forEach(function (th, column) {
        th.addEventListener("click", function () {
          var down = th.dataset.sorted !== " ▼";
          table.querySelectorAll("th").forEach(function (h) { delete h.dataset.sorted; });
          th.dataset.sorted = down ? " ▼" : " ▲";
          var body = table.tBodies[0], rows = Array.prototype.slice.call(body.rows);
          rows.sort(function (a, b) {
            var x = a.cells[column], y = b.cells[column];
            var vx = x.dataset.value, vy = y.dataset.value, c;
            if (vx !== undefined || vy !== undefined) {
              c = (vx === undefined ? -Infinity : +vx) - (vy === undefined ? -Infinity : +vy);
            } else {
              c = x.textContent.localeCompare(y.textContent);
            }
            return down ? -c : c;
          });
          rows.forEach(function (r) { body.appendChild(r); });
        });
      });
    });
  }

  function downloads() {
    var list = document.getElementById("downloads");
    if (!list) return;
    function link(name, type, text) {
      var a = document.createElement("a");
      a.href = URL.createObjectURL(new Blob([text], { type: type }));
      a.download = name; a.textContent = name;
      var li = document.createElement("li"); li.appendChild(a); list.appendChild(li);
    }
    link("report.json", "application/json", document.getElementById("report-data").textContent);
    document.querySelectorAll("pre.csv").forEach(function (pre) {
      link(pre.dataset.name + ".csv", "text/csv", pre.textContent);
    });
  }

  [drawTimeline, drawStates, drawAppEnergy, drawBrightness, sortable, downloads].forEach(function (step) {
    try { step(); } catch (e) { health.errors.push(step.name + ": " + e.message); }
  });
  publish();
})();
