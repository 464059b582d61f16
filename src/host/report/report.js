// The report page's script: fills the tables from the embedded data (a day at a time when there
// are many days), draws the charts with uPlot (the timeline as each day's range over long spans
// and in detail when zoomed in), shades the nights by their verdict and makes the CSV and JSON
// downloadable. It records its own health in document.body.dataset (script errors, how much of
// each chart was painted, whether the page is wider than the window), which the browser test
// reads.
(function () {
  "use strict";
  var health = { errors: [], charts: {} };
  window.addEventListener("error", function (e) { health.errors.push(String(e.message)); publish(); });
  function publish() {
    health.pageWidth = document.documentElement.scrollWidth;
    health.windowWidth = window.innerWidth;
    health.ink = ink();
    document.body.dataset.health = JSON.stringify(health);
  }

  var data = JSON.parse(document.getElementById("report-data").textContent);
  // The colours of axes and lines are read at each drawing, so that a switch to dark mode or a
  // printout (black on white) redraws the charts in its own colours.
  var css = getComputedStyle(document.body);
  function ink() { return css.getPropertyValue("--fg").trim() || "#1d232a"; }
  function gridInk() { return css.getPropertyValue("--grid").trim() || "rgba(0,0,0,0.1)"; }
  var charts = [];
  function restyle() { charts.forEach(function (plot) { plot.redraw(false); }); }
  var width = Math.max(240, Math.min(document.body.clientWidth || 1000, 1100) - 32);
  var DAY = 86400, DETAIL_SPAN = 14 * DAY;
  // Told apart by people with any colour vision (Okabe and Ito's palette).
  var COLOURS = ["#0072B2", "#E69F00", "#009E73", "#CC79A7", "#56B4E9", "#D55E00", "#F0E442", "#999999", "#000000"];
  var BITS = [["plugged in", 1], ["charging", 8], ["screen", 4], ["awake", 2], ["low power", 16]];
  var VERDICTS = { "asleep": "#0072B2", "on charger": "#009E73", "kept awake": "#E69F00",
                   "wake loop": "#D55E00", "hot": "#CC79A7" };
  var KIND = { text: 0, day: 1, time: 2, count: 3, duration: 4, energy: 5, power: 6, percent: 7, number: 8 };
  // Texts of the columns of texts and days come as the index of the table's text.
  Object.keys(data.tables).forEach(function (name) {
    var table = data.tables[name];
    var coded = table.columns.map(function (c) { return c[2] === KIND.text || c[2] === KIND.day; });
    table.rows.forEach(function (r) {
      for (var i = 0; i < r.length; i++) if (coded[i] && typeof r[i] === "number") r[i] = table.texts[r[i]];
    });
  });
  function verdictColour(v) { return VERDICTS[String(v).split(",")[0]] || "#999999"; }

  // ---- the timeline: change streams, expanded once --------------------------------------------
  var tl = data.timeline;
  function times(stream) {
    var t = tl.origin, out = [];
    stream.dt.forEach(function (d) { t += d; out.push(t); });
    return out;
  }
  var stateAt = times(tl.state), levelAt = times(tl.level), thermalAt = times(tl.thermal), wakeAt = times(tl.wakes);
  var first = data.midnights[0], last = data.midnights[data.midnights.length - 1];

  // Each day as its range: lowest and highest level, the share of its time in each state, the
  // highest thermal level and its wakes.
  function daily() {
    var days = data.days.map(function (_, i) {
      return { from: data.midnights[i], to: data.midnights[i + 1], low: null, high: null, share: BITS.map(function () { return 0; }),
               thermal: null, wakes: 0 };
    });
    function dayOf(t) {
      var lo = 0, hi = days.length - 1;
      while (lo < hi) { var mid = (lo + hi + 1) >> 1; if (days[mid].from <= t) lo = mid; else hi = mid - 1; }
      return days[lo];
    }
    levelAt.forEach(function (t, i) {
      var d = dayOf(t), v = tl.level.v[i];
      d.low = d.low == null ? v : Math.min(d.low, v); d.high = d.high == null ? v : Math.max(d.high, v);
    });
    thermalAt.forEach(function (t, i) { var d = dayOf(t); d.thermal = Math.max(d.thermal == null ? 0 : d.thermal, tl.thermal.v[i]); });
    wakeAt.forEach(function (t) { dayOf(t).wakes++; });
    for (var i = 0; i < stateAt.length; i++) {
      var s = tl.state.v[i]; if (s < 0) continue;
      var a = stateAt[i], b = i + 1 < stateAt.length ? stateAt[i + 1] : last;
      while (a < b) {
        var d = dayOf(a), end = Math.min(b, d.to);
        if (end <= a) break;
        BITS.forEach(function (bit, k) { if (s & bit[1]) d.share[k] += (end - a) / (d.to - d.from); });
        a = end;
      }
    }
    return days;
  }
  var days = daily();
  function dayX() { return days.map(function (d) { return d.from; }).concat([last]); }
  function padded(values) { return values.concat([values.length ? values[values.length - 1] : null]); }

  function levelData(detail) {
    if (detail) return [levelAt, tl.level.v.slice()];
    return [dayX(), padded(days.map(function (d) { return d.low; })), padded(days.map(function (d) { return d.high; }))];
  }
  function bandData(detail) {
    var xs = detail ? stateAt.concat([last]) : dayX(), columns = [xs];
    BITS.forEach(function (bit, lane) {
      columns.push(xs.map(function (_, i) {
        if (detail) {
          var s = tl.state.v[Math.min(i, tl.state.v.length - 1)];
          return s == null || s < 0 ? null : lane + 0.1 + 0.7 * ((s & bit[1]) ? 1 : 0);
        }
        var d = days[Math.min(i, days.length - 1)];
        return lane + 0.1 + 0.7 * d.share[lane];
      }));
    });
    return columns;
  }
  function thermalData(detail) {
    if (detail) return thermalAt.length ? [thermalAt, tl.thermal.v.slice()] : [[first], [null]];
    return [dayX(), padded(days.map(function (d) { return d.thermal; }))];
  }

  // ---- marks on every row: not recorded, nights, midnights, wakes ------------------------------
  function marks(withWakes) {
    return { hooks: { draw: [function (u) {
      var ctx = u.ctx, top = u.bbox.top, height = u.bbox.height, left = u.bbox.left, right = left + u.bbox.width;
      var min = u.scales.x.min, max = u.scales.x.max, ratio = devicePixelRatio || 1;
      function x(t) { return u.valToPos(t, "x", true); }
      ctx.save();
      ctx.beginPath(); ctx.rect(left, top, u.bbox.width, height); ctx.clip();
      data.nights.forEach(function (n) {
        if (n[2] < min || n[1] > max) return;
        ctx.fillStyle = verdictColour(n[3]) + "2e";
        ctx.fillRect(x(n[1]), top, Math.max(1, x(n[2]) - x(n[1])), height);
      });
      ctx.fillStyle = "rgba(128,128,128,0.3)";
      data.not_recorded.forEach(function (s) { ctx.fillRect(x(s[0]), top, Math.max(1, x(s[1]) - x(s[0])), height); });
      if (max - min <= 62 * DAY) {
        ctx.strokeStyle = ink(); ctx.globalAlpha = 0.5; ctx.setLineDash([2, 3]);
        data.midnights.forEach(function (m) {
          if (m < min || m > max) return;
          ctx.beginPath(); ctx.moveTo(x(m), top); ctx.lineTo(x(m), top + height); ctx.stroke();
        });
        ctx.globalAlpha = 1;
      }
      if (withWakes) {
        var shown = [];
        wakeAt.forEach(function (t, i) { if (t >= min && t <= max) shown.push(i); });
        ctx.fillStyle = ctx.strokeStyle = "#D55E00";
        if (shown.length <= u.bbox.width / ratio / 40) {
          // Few enough to name.
          ctx.setLineDash([6, 4]); ctx.font = Math.round(11 * ratio) + "px sans-serif";
          shown.forEach(function (i) {
            var px = x(wakeAt[i]);
            ctx.beginPath(); ctx.moveTo(px, top); ctx.lineTo(px, top + height); ctx.stroke();
            ctx.fillText(tl.reasons[tl.wakes.v[i]] || "wake", px + 3, top + 12 * ratio);
          });
        } else {
          // Too many to draw one by one: each column of pixels as dark as its wakes are many, so
          // that a loop reads as a cluster and a quiet night as a few ticks.
          var columns = {};
          shown.forEach(function (i) { var c = Math.floor(x(wakeAt[i]) / ratio); columns[c] = (columns[c] || 0) + 1; });
          Object.keys(columns).forEach(function (c) {
            ctx.globalAlpha = Math.min(1, 0.25 + 0.12 * columns[c]);
            ctx.fillRect(c * ratio, top + height * 0.75, ratio, height * 0.25);
          });
          ctx.globalAlpha = 1;
        }
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
      if (charts.indexOf(plot) < 0) charts.push(plot);
      publish();
    }]);
    return opts;
  }
  function axis(extra) {
    var a = { stroke: ink, grid: { stroke: gridInk }, ticks: { stroke: gridInk } };
    for (var k in extra) a[k] = extra[k];
    return a;
  }

  var zone = data.meta.time_zone || "UTC";
  function deviceDate(ts) {
    try { return uPlot.tzDate(new Date(ts * 1e3), zone); } catch (e) { return new Date(ts * 1e3); }
  }

  // Every row of the timeline zooms together, and switches between days as ranges and the
  // detail at the same span.
  var timelineCharts = [], detail = last - first <= DETAIL_SPAN;
  function syncZoom(u) {
    var min = u.scales.x.min, max = u.scales.x.max, wantDetail = max - min <= DETAIL_SPAN;
    timelineCharts.forEach(function (c) {
      if (wantDetail !== detail) c.plot.setData(c.make(wantDetail), false);
      if (c.plot !== u && (c.plot.scales.x.min !== min || c.plot.scales.x.max !== max)) {
        c.plot.setScale("x", { min: min, max: max });
      }
    });
    detail = wantDetail;
    health.zoom = { min: min, max: max };
    publish();
  }
  function zoomTo(from, to) {
    if (timelineCharts.length) timelineCharts[0].plot.setScale("x", { min: from, max: to });
    var chart = document.getElementById("timeline");
    if (chart && chart.scrollIntoView) chart.scrollIntoView();
  }

  function timelineChart(id, title, series, make, height, withWakes, yScale, yAxis) {
    var element = document.getElementById(id);
    if (!element) return;
    var opts = {
      title: title, width: width, height: height, tzDate: deviceDate,
      cursor: { sync: { key: "timeline", setSeries: false } },
      scales: { x: { time: true, min: first, max: last }, y: yScale },
      series: [{ label: "local time" }].concat(series),
      plugins: [marks(withWakes)],
      hooks: { setScale: [function (u, key) { if (key === "x") syncZoom(u); }] },
      // The same width of y axis on every row keeps their times in line.
      axes: [axis({}), axis(yAxis || { size: 80 })]
    };
    var plot = new uPlot(watched(id, opts), make(detail), element);
    timelineCharts.push({ plot: plot, make: make });
  }

  function drawTimeline() {
    var percent = function (u, v) { return v == null ? "" : v.toFixed(1) + " %"; };
    timelineChart("chart-level", "Battery level (%), each day's lowest and highest over long spans",
      [{ label: "battery level % (day's lowest)", stroke: COLOURS[0], width: 2, spanGaps: true, value: percent },
       { label: "day's highest %", stroke: COLOURS[4], width: 1, value: percent, paths: uPlot.paths.stepped({ align: 1 }) }],
      function (d) { var c = levelData(d); if (c.length === 2) c.push(c[1].map(function () { return null; })); return c; },
      220, true, { range: [0, 100] });
    var bandSeries = BITS.map(function (bit, lane) {
      var colour = COLOURS[lane];
      return { label: bit[0], stroke: colour, fill: colour + "66", fillTo: lane + 0.1,
               paths: uPlot.paths.stepped({ align: 1 }),
               value: function (u, v) { return v == null ? "" : detail ? (v - lane > 0.5 ? "yes" : "no") : Math.round((v - lane - 0.1) / 0.7 * 100) + " %"; } };
    });
    timelineChart("chart-bands", "Plugged in, charging, screen, awake, low-power mode (yes/no; share of each day over long spans)",
      bandSeries, bandData, 180, true, { range: [0, BITS.length] },
      { size: 80, splits: function () { return BITS.map(function (_, i) { return i + 0.5; }); },
        values: function (u, ticks) { return ticks.map(function (t) { return BITS[Math.floor(t)][0]; }); } });
    timelineChart("chart-thermal", "Thermal level (0 to 3; each day's highest over long spans)",
      [{ label: "thermal level", stroke: COLOURS[3], width: 2, paths: uPlot.paths.stepped({ align: 1 }) }],
      thermalData, 130, false, { range: [0, 3.5] });
    var legend = document.getElementById("verdicts");
    if (legend) {
      Object.keys(VERDICTS).forEach(function (v) {
        var span = document.createElement("span");
        span.className = "swatch"; span.style.background = VERDICTS[v] + "55"; span.style.borderColor = VERDICTS[v];
        span.textContent = v; legend.appendChild(span);
      });
    }
  }

  // Bars of each day stacked from parts (values[part][day]): each series is drawn as the running
  // total up to it, so the first part sits at the bottom.
  function stackedDayBars(id, title, dayNames, labels, values, shown, height, yScale, yAxis) {
    var totals = [], sum = dayNames.map(function () { return 0; });
    values.forEach(function (v) { sum = sum.map(function (s, i) { return s + v[i]; }); totals.push(sum.slice()); });
    var series = [], columns = [dayNames.map(function (_, i) { return i; })];
    for (var p = labels.length - 1; p >= 0; p--) {
      (function (p) {
        var colour = COLOURS[p % COLOURS.length];
        series.push({ label: labels[p], fill: colour, stroke: colour, paths: uPlot.paths.bars({ size: [0.6, 80] }),
                      value: function (u, v, s, i) { return i == null ? "" : shown(values[p][i]); } });
      })(p);
      columns.push(totals[p]);
    }
    var every = Math.max(1, Math.ceil(dayNames.length / Math.max(1, width / 90)));
    new uPlot(watched(id, {
      title: title, width: width, height: height,
      scales: { x: { time: false, range: [-0.5, dayNames.length - 0.5] }, y: yScale },
      axes: [axis({ values: function (u, ticks) { return ticks.map(function (t) { return dayNames[t] || ""; }); },
                    splits: function () { return dayNames.map(function (_, i) { return i; }).filter(function (i) { return i % every === 0; }); } }),
             axis(yAxis)],
      series: [{ label: "day", value: function (u, v) { return v == null ? "" : dayNames[v]; } }].concat(series)
    }), columns, document.getElementById(id));
  }

  function rowsOf(name) {
    var table = data.tables[name];
    if (!table) return [];
    return table.rows.map(function (r) {
      var o = {};
      table.columns.forEach(function (c, i) { o[c[0]] = r[i]; });
      return o;
    });
  }

  // Bars of each day's hours per state, stacked.
  function drawStates() {
    if (!document.getElementById("chart-states") || !data.tables.states) return;
    var parts = ["unplugged_screen_on", "unplugged_screen_off", "unplugged_asleep", "pluggedin", "unaccounted"];
    var index = {}; data.days.forEach(function (d, i) { index[d] = i; });
    var hours = parts.map(function () { return data.days.map(function () { return 0; }); });
    rowsOf("states").forEach(function (row) {
      var p = parts.indexOf(row.state), d = index[row.day];
      if (p >= 0 && d != null && row.duration_s != null) hours[p][d] = Math.max(0, row.duration_s / 3600);
    });
    stackedDayBars("chart-states", "Hours per power state, by day (h)", data.days,
                   parts.map(function (p) { return p.replace(/_/g, " "); }), hours,
                   function (v) { return v.toFixed(2) + " h"; }, 260, { range: [0, 24] }, {});
  }

  // The brightness histogram: hours at each level, a bar group per daily report's day (the last
  // seven).
  function drawBrightness() {
    var rows = rowsOf("brightness");
    if (!document.getElementById("chart-brightness") || rows.length === 0) return;
    var buckets = [], dayNames = [];
    rows.forEach(function (r) {
      if (buckets.indexOf(r.bucket) < 0) buckets.push(r.bucket);
      if (dayNames.indexOf(r.day) < 0) dayNames.push(r.day);
    });
    dayNames = dayNames.slice(-7);
    var columns = [buckets.map(function (_, i) { return i; })], series = [];
    dayNames.forEach(function (day, d) {
      var hoursOf = {};
      rows.forEach(function (r) { if (r.day === day) hoursOf[r.bucket] = r.duration_s / 3600; });
      columns.push(buckets.map(function (b) { return hoursOf[b] || 0; }));
      series.push({ label: day, fill: COLOURS[d % COLOURS.length], stroke: COLOURS[d % COLOURS.length],
                    paths: uPlot.paths.bars({ size: [0.8 / dayNames.length, 60], align: 0,
                                              disp: { x0: { unit: 2, values: function () {
                                                return buckets.map(function (_, i) { return i - 0.4 + (d + 0.5) * 0.8 / dayNames.length; }); } } } }) });
    });
    new uPlot(watched("chart-brightness", {
      title: "Hours at each brightness, per daily report (h)", width: width, height: 220,
      scales: { x: { time: false, range: [-0.5, buckets.length - 0.5] } },
      axes: [axis({ values: function (u, ticks) { return ticks.map(function (t) { return buckets[t] || ""; }); },
                    splits: function () { return buckets.map(function (_, i) { return i; }); } }), axis({})],
      series: [{ label: "brightness", value: function (u, v) { return v == null ? "" : buckets[v]; } }].concat(series)
    }), columns, document.getElementById("chart-brightness"));
  }

  // Each day's drain as a bar of its parts (estimated): the apps that used the most over the
  // days shown, the rest of the apps together, the device's own parts, and what is unexplained.
  function drawAppEnergy() {
    var rows = rowsOf("app_energy");
    if (!document.getElementById("chart-app-energy") || rows.length === 0) return;
    var byApp = {};
    rows.forEach(function (r) { if (r.app.charAt(0) !== "(") byApp[r.app] = (byApp[r.app] || 0) + (r.energy_mWh || 0); });
    var top = Object.keys(byApp).sort(function (a, b) { return byApp[b] - byApp[a]; }).slice(0, 6);
    var parts = top.concat(["other apps", "device (awake, standby, system CPU, screen)", "unattributed"]);
    function partOf(app) {
      if (top.indexOf(app) >= 0) return app;
      if (app === "(unattributed)") return "unattributed";
      return app.charAt(0) === "(" ? parts[parts.length - 2] : "other apps";
    }
    var index = {}; data.days.forEach(function (d, i) { index[d] = i; });
    var mwh = parts.map(function () { return data.days.map(function () { return 0; }); });
    rows.forEach(function (r) {
      var d = index[r.day];
      if (d != null && r.energy_mWh != null) mwh[parts.indexOf(partOf(r.app))][d] += r.energy_mWh;
    });
    // A day's drain runs to five digits of mWh: room for them beside the chart.
    stackedDayBars("chart-app-energy", "Battery use by app, by day (mWh, estimated)", data.days, parts, mwh,
                   function (v) { return v.toFixed(0) + " mWh"; }, 280, {}, { size: 70 });
  }

  // ---- tables -----------------------------------------------------------------------------
  function shown(kind, v) {
    if (v == null) return "n/a";
    if (typeof v === "string") return v;
    switch (kind) {
      case KIND.duration: { var m = Math.round(Math.abs(v) / 60); return (v < 0 ? "−" : "") + Math.floor(m / 60) + ":" + ("0" + m % 60).slice(-2); }
      case KIND.energy: return v.toFixed(0) + " mWh";
      case KIND.power: return v.toFixed(0) + " mW";
      case KIND.percent: return v.toFixed(Math.abs(v) < 10 ? 1 : 0) + " %";
      case KIND.count: return v.toFixed(0);
      default: return String(v === Math.trunc(v) ? v : v.toFixed(2));
    }
  }
  // Tables by day show one day at a time when there are many days.
  var MANY_DAYS = 14;
  var picked = data.days[data.days.length - 1];
  function fillTable(holder) {
    var name = holder.dataset.table, table = data.tables[name];
    var byDay = table.columns[0][2] === KIND.day && name !== "days" && name !== "nights" && data.days.length > MANY_DAYS;
    var el = document.createElement("table"), head = el.createTHead().insertRow();
    table.columns.forEach(function (c) {
      var th = document.createElement("th"); th.scope = "col"; th.textContent = c[1];
      if (c[2] !== KIND.text && c[2] !== KIND.day) th.className = "num";
      head.appendChild(th);
    });
    var body = el.createTBody();
    table.rows.forEach(function (r) {
      if (byDay && r[0] !== picked) return;
      var tr = body.insertRow();
      if (name === "nights") { tr.dataset.day = r[0]; tr.className = "pickable"; tr.title = "Show this night on the timeline"; }
      r.forEach(function (v, i) {
        var td = tr.insertCell(), kind = table.columns[i][2];
        td.textContent = shown(kind, v);
        if (typeof v === "number") { td.className = "num"; td.dataset.value = v; } else if (v == null) td.className = "na";
        if (name === "nights" && i === 1) { td.className = "verdict"; td.dataset.verdict = v; td.style.borderLeft = "6px solid " + verdictColour(v); }
      });
    });
    holder.textContent = "";
    if (byDay && body.rows.length === 0) { holder.textContent = "None recorded on " + picked + "."; return; }
    holder.appendChild(el);
    sortable(el);
  }
  function fillTables() {
    document.querySelectorAll("div.table").forEach(fillTable);
  }
  function picker() {
    var p = document.getElementById("pick");
    if (!p || data.days.length <= MANY_DAYS) return;
    p.textContent = "The tables below show one day at a time: ";
    var select = document.createElement("select");
    data.days.slice().reverse().forEach(function (d) { var o = document.createElement("option"); o.value = o.textContent = d; select.appendChild(o); });
    select.addEventListener("change", function () { picked = select.value; fillTables(); });
    p.appendChild(select);
  }
  function pickDay(day) {
    picked = day;
    var select = document.querySelector("#pick select");
    if (select) { select.value = day; fillTables(); }
  }
  function sortable(table) {
    table.querySelectorAll("th").forEach(function (th, column) {
      th.addEventListener("click", function () {
        var down = th.dataset.sorted !== " ▼";
        table.querySelectorAll("th").forEach(function (h) { delete h.dataset.sorted; });
        th.dataset.sorted = down ? " ▼" : " ▲";
        var body = table.tBodies[0], rows = Array.prototype.slice.call(body.rows);
        rows.sort(function (a, b) {
          var x = a.cells[column], y = b.cells[column], vx = x.dataset.value, vy = y.dataset.value, c;
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
  }

  // Clicking a day's card or summary shows its night and day; clicking a night shows the night.
  function clicks() {
    var windowOf = {};
    data.nights.forEach(function (n) { windowOf[n[0]] = [n[1], n[2]]; });
    document.addEventListener("click", function (e) {
      var target = e.target.closest && e.target.closest("[data-day]");
      if (!target) return;
      var day = target.dataset.day, i = data.days.indexOf(day);
      if (i < 0) return;
      if (target.tagName === "TR" && windowOf[day]) {
        zoomTo(windowOf[day][0] - 3600, windowOf[day][1] + 3600);
      } else {
        zoomTo(data.midnights[i] - 2 * 3600, data.midnights[i + 1]);
        pickDay(day);
      }
    });
  }

  function csv(table) {
    function field(v) {
      if (v == null) return "";
      var s = String(v);
      return /[",\r\n]/.test(s) ? '"' + s.replace(/"/g, '""') + '"' : s;
    }
    return [table.columns.map(function (c) { return field(c[0]); }).join(",")].concat(
      table.rows.map(function (r) { return r.map(field).join(","); })).join("\n") + "\n";
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
    data.order.forEach(function (name) { link(name + ".csv", "text/csv", csv(data.tables[name])); });
  }

  if (window.matchMedia) {
    window.matchMedia("(prefers-color-scheme: dark)").addEventListener("change", restyle);
  }
  window.addEventListener("beforeprint", restyle);
  window.addEventListener("afterprint", restyle);

  [picker, fillTables, drawTimeline, drawStates, drawAppEnergy, drawBrightness, clicks, downloads].forEach(function (step) {
    try { step(); } catch (e) { health.errors.push(step.name + ": " + e.message); }
  });
  publish();
})();
