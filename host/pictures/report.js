// Draws the charts of a report: one time axis for all of them, which can be zoomed, panned and read off by mouse and keyboard.
(function () {
  "use strict";
  var data = JSON.parse(document.getElementById("data").textContent);
  var colours = ["#0072b2", "#d55e00", "#009e73", "#cc79a7", "#e69f00", "#56b4e9", "#4d4d4d", "#8c6bb1"];
  var dashes = [null, [7, 3], [2, 2], [9, 2, 2, 2]];
  var dark = window.matchMedia("(prefers-color-scheme: dark)");
  var printing = false;
  var charts = [], all = null;

  function colour(index) {
    var c = colours[index % colours.length];
    return !dark.matches || printing ? c : c === "#0072b2" ? "#3b9fe0" : c === "#4d4d4d" ? "#b8bec6" : c;
  }
  function dash(index) { return dashes[Math.floor(index / colours.length) % dashes.length]; }
  function css(name) { return getComputedStyle(document.documentElement).getPropertyValue(name).trim(); }
  function two(n) { return (n < 10 ? "0" : "") + n; }
  function clock(ms) {
    var d = new Date(Math.round(ms / 100) * 100), s = d.getUTCSeconds(), tenth = Math.floor(d.getUTCMilliseconds() / 100);
    var text = two(d.getUTCHours()) + ":" + two(d.getUTCMinutes()) + ":" + two(s) + (tenth ? "." + tenth : "");
    return data.dated ? d.toISOString().slice(0, 10) + " " + text : text;
  }

  // Times are steps in milliseconds; values are pieces, each its first place, its first value, and steps.
  var grids = data.grids.map(function (steps) {
    var t = data.origin;
    return steps.map(function (step) { return (t += step); });
  });
  function union(used) {
    if (used.length === 1) return grids[used[0]];
    var seen = new Set();
    used.forEach(function (g) { grids[g].forEach(function (t) { seen.add(t); }); });
    return Array.from(seen).sort(function (a, b) { return a - b; });
  }
  function rows(chart) {
    var used = chart.series.map(function (s) { return s.grid; }).filter(function (g, i, list) { return list.indexOf(g) === i; });
    var times = union(used), width = chart.series.length + 1, place = new Map();
    if (used.length > 1) times.forEach(function (t, i) { place.set(t, i); });
    var table = times.map(function (t) {
      var row = new Array(width).fill(null);
      row[0] = t;
      return row;
    });
    chart.series.forEach(function (s, k) {
      s.points = 0;
      s.pieces.forEach(function (piece) {
        var value = 0, at = 0;
        for (var i = 1; i < piece.length; ++i) {
          value += piece[i];
          at = used.length > 1 ? place.get(grids[s.grid][piece[0] + i - 1]) : piece[0] + i - 1;
          table[at][k + 1] = value * chart.unit;
          ++s.points;
        }
        if (at + 1 < table.length && table[at + 1][k + 1] === null) table[at + 1][k + 1] = NaN;  // the line ends
      });
    });
    return table;
  }

  function colouring(chart) {
    var style = {};
    chart.series.forEach(function (s) { style[s.name] = { color: colour(s.mark), strokePattern: dash(s.mark) }; });
    return { series: style, gridLineColor: css("--grid"), gridLineWidth: 1, axisLineColor: css("--soft") };
  }

  // The names of the series: they say the values under the cursor, and switch the lines on and off.
  function keys(chart, box) {
    chart.buttons = chart.series.map(function (s, k) {
      var button = document.createElement("button"), pattern = dash(s.mark);
      button.type = "button";
      button.setAttribute("aria-pressed", "true");
      button.innerHTML = '<svg width="18" height="6" aria-hidden="true"><line x1="0" y1="3" x2="18" y2="3" stroke-width="3" stroke="' +
        colour(s.mark) + '"' + (pattern ? ' stroke-dasharray="' + pattern.join(" ") + '"' : "") + "/></svg>";
      button.appendChild(document.createTextNode(s.name + " "));
      s.value = button.appendChild(document.createElement("b"));
      button.addEventListener("click", function () {
        var shown = button.getAttribute("aria-pressed") !== "true";
        button.setAttribute("aria-pressed", String(shown));
        chart.graph.setVisibility(k, shown);
      });
      return box.appendChild(button);
    });
  }
  function tell(chart, row) {
    chart.series.forEach(function (s, k) {
      var v = row === null ? null : chart.graph.getValue(row, k + 1);
      s.value.textContent = v === null || isNaN(v) ? "" : v.toFixed(chart.digits);
    });
  }

  var reading = document.getElementById("reading");
  function span() { return charts[0].graph.xAxisRange(); }
  function show(from, to) {
    var width = Math.min(to - from, all[1] - all[0]);
    from = Math.max(all[0], Math.min(from, all[1] - width));
    var whole = width >= all[1] - all[0];
    charts[0].graph.updateOptions({ dateWindow: whole ? all.slice() : [from, from + width] });
  }
  function zoom(factor) {
    var s = span(), middle = cursor !== null ? cursor : (s[0] + s[1]) / 2, share = (middle - s[0]) / (s[1] - s[0]);
    if (!(share >= 0 && share <= 1)) { share = 0.5; middle = (s[0] + s[1]) / 2; }
    var width = Math.max(10, (s[1] - s[0]) * factor);
    show(middle - share * width, middle + (1 - share) * width);
  }
  function pan(share) {
    var s = span(), step = share * (s[1] - s[0]);
    show(s[0] + step, s[1] + step);
  }

  // Charts of one group can share their heights; where that would flatten one they begin without.
  var level = document.getElementById("level");
  function extremes(chart) {
    var low = 0, high = 0;
    for (var row = 0; row < chart.graph.numRows(); ++row) {
      for (var k = 1; k <= chart.series.length; ++k) {
        var v = chart.graph.getValue(row, k);
        if (v < low) low = v;
        if (v > high) high = v;
      }
    }
    return [low, high];
  }
  function share(on) {
    var groups = {};
    charts.forEach(function (c) { if (c.group) (groups[c.group] = groups[c.group] || []).push(c); });
    Object.keys(groups).forEach(function (name) {
      var all = groups[name].map(extremes);
      var low = Math.min.apply(null, all.map(function (e) { return e[0]; }));
      var high = Math.max.apply(null, all.map(function (e) { return e[1]; }));
      var least = Math.min.apply(null, all.map(function (e) { return e[1] - e[0]; }));
      var yes = on === undefined ? high - low <= 6 * least : on;
      var margin = 0.06 * (high - low);
      groups[name].forEach(function (c) {
        c.graph.updateOptions({ valueRange: yes ? [low - margin, high + margin] : null });
      });
      level.setAttribute("aria-pressed", String(yes));
    });
    level.hidden = Object.keys(groups).length === 0;
  }

  // The time that is read off, and the row of each chart next to it.
  var cursor = null;
  function nearest(graph, t) {
    var low = 0, high = graph.numRows() - 1;
    while (low < high) {
      var middle = (low + high) >> 1;
      if (graph.getValue(middle, 0) < t) low = middle + 1; else high = middle;
    }
    return low > 0 && t - graph.getValue(low - 1, 0) < graph.getValue(low, 0) - t ? low - 1 : low;
  }
  function read(t) {
    cursor = t;
    reading.textContent = t === null ? "" : clock(t) + " GPST";
    charts.forEach(function (chart) {
      if (t === null) {
        chart.graph.clearSelection();
        tell(chart, null);
      } else {
        var row = nearest(chart.graph, t);
        chart.graph.setSelection(row);
        tell(chart, row);
      }
    });
  }
  function step(chart, by) {
    var g = chart.graph, s = span();
    var row = cursor === null ? nearest(g, (s[0] + s[1]) / 2) : nearest(g, cursor) + by;
    var t = g.getValue(Math.max(0, Math.min(g.numRows() - 1, row)), 0);
    if (t < s[0] || t > s[1]) pan(by < 0 ? -0.5 : 0.5);
    read(t);
  }
  function key(chart, event) {
    if (event.ctrlKey || event.altKey || event.metaKey) return;
    var act = {
      "+": function () { zoom(0.5); }, "=": function () { zoom(0.5); }, "-": function () { zoom(2); },
      "0": function () { show(all[0], all[1]); }, Escape: function () { read(null); },
      ArrowLeft: function () { if (event.shiftKey) pan(-0.25); else step(chart, -1); },
      ArrowRight: function () { if (event.shiftKey) pan(0.25); else step(chart, 1); }
    }[event.key];
    if (!act) return;
    event.preventDefault();
    act();
  }

  function draw(chart) {
    var box = document.getElementById(chart.id), plot = box.querySelector(".plot"), table = rows(chart);
    keys(chart, box.querySelector(".keys"));
    var options = Object.assign(colouring(chart), {
      labels: ["GPST"].concat(chart.series.map(function (s) { return s.name; })),
      labelsUTC: true, legend: "never", ylabel: chart.axis, yLabelWidth: 16, connectSeparatedPoints: true, dateWindow: all,
      axes: { x: { ticker: Dygraph.dateTicker, axisLabelFormatter: Dygraph.dateAxisLabelFormatter, valueFormatter: clock },
              y: { axisLabelWidth: 46, pixelsPerLabel: 26 } },
      strokeWidth: chart.series.length > 6 ? 1 : 1.3, stepPlot: chart.steps, logscale: chart.log, drawGapEdgePoints: true,
      pointSize: 1.5, highlightCircleSize: 3, includeZero: chart.zero, animatedZooms: false, rightGap: 8, panEdgeFraction: 0,
      highlightCallback: function (event, x) { if (event) read(x); },
      unhighlightCallback: function () { if (cursor !== null) read(null); }
    });
    chart.graph = new Dygraph(plot, table, options);
    plot.tabIndex = 0;
    plot.addEventListener("keydown", function (event) { key(chart, event); });
  }
  function recolour() {
    charts.forEach(function (chart) {
      chart.graph.updateOptions(colouring(chart));
      chart.buttons.forEach(function (button, k) { button.querySelector("line").setAttribute("stroke", colour(chart.series[k].mark)); });
    });
  }

  grids.forEach(function (t) {
    if (t.length) all = all ? [Math.min(all[0], t[0]), Math.max(all[1], t[t.length - 1])] : [t[0], t[t.length - 1]];
  });
  if (all && all[0] === all[1]) all = [all[0] - 30000, all[1] + 30000];
  charts = data.charts;
  charts.forEach(draw);
  if (charts.length > 1)
    Dygraph.synchronize(charts.map(function (c) { return c.graph; }), { zoom: true, selection: false, range: false });
  document.querySelectorAll("[data-act]").forEach(function (button) {
    button.addEventListener("click", function () {
      ({ "in": function () { zoom(0.5); }, out: function () { zoom(2); }, left: function () { pan(-0.5); },
         right: function () { pan(0.5); }, all: function () { show(all[0], all[1]); } })[button.dataset.act]();
    });
  });
  share();
  level.addEventListener("click", function () { share(level.getAttribute("aria-pressed") !== "true"); });
  dark.addEventListener("change", recolour);
  window.addEventListener("beforeprint", function () { printing = true; recolour(); });
  window.matchMedia("print").addEventListener("change", function () { charts.forEach(function (c) { c.graph.resize(); }); });
  window.addEventListener("afterprint", function () { printing = false; recolour(); });
  window.leopod = { charts: charts };
})();
