// Draws the run that the page's data describes. All texts of the data become text nodes, never markup.
'use strict';
(() => {
  const data = JSON.parse(document.getElementById('data').textContent);
  const main = document.querySelector('main');
  const COLOURS = ['#1f6fb2', '#d9822b', '#2e8b57', '#b03a48', '#7a5195', '#8a6d3b', '#2a9d9d', '#c2569a'];
  const OUTAGE = 'rgba(192, 57, 43, 0.16)';
  const PAPER_WIDTH = 680;
  const LABEL_WIDTH = 46;
  // For uPlot: the smallest step, the text of a tick, and what is added where a year or a day begins.
  const DAY = '\n{YYYY}-{MM}-{DD}';
  const TIME_TEXTS = [[86400, '{YYYY}-{MM}-{DD}', null], [60, '{HH}:{mm}', DAY], [1, '{HH}:{mm}:{ss}', DAY],
                      [0.001, '{HH}:{mm}:{ss}.{fff}', DAY]]
    .map(row => [...row, null, row[2], null, null, null, 1]);
  const charts = [];

  // Seconds for the plots, whose clock shows the hours of the machine that made the run.
  const local = ms => (data.start + ms) / 1000 + data.offset * 60;
  const clock = ms => new Date(local(ms) * 1000).toISOString().replace('T', ' ').slice(0, 23);
  const figure = value => Math.abs(value) >= 1e6 || (value !== 0 && Math.abs(value) < 1e-3)
    ? value.toExponential(3) : String(Number(value.toPrecision(6)));

  function add(parent, name, text, className) {
    const element = document.createElement(name);
    if (text !== undefined)
      element.textContent = text;
    if (className)
      element.className = className;
    return parent.appendChild(element);
  }

  function addTable(titles, rows, more) {
    const table = add(main, 'table');
    const kind = value => typeof value === 'number' ? 'number' : '';
    const cell = value => typeof value === 'number' ? figure(value) : value;
    if (titles) {
      const row = add(table, 'tr');
      titles.forEach((title, i) => add(row, 'th', title, kind(rows[0][i])));
    }
    for (const values of rows) {
      const row = add(table, 'tr');
      values.forEach((value, i) =>
        add(row, titles || i > 0 ? 'td' : 'th', cell(value), kind(value)));
    }
    if (more > 0)
      add(main, 'p', `and ${more} more`, 'hint');
  }

  const width = () => main.clientWidth - 40;

  function addChart(options, columns) {
    const element = add(main, 'div', undefined, 'plot');
    charts.push(new uPlot(Object.assign({width: width(), height: 260}, options), columns, element));
  }

  function shadeOutages(plot) {
    plot.ctx.save();
    plot.ctx.fillStyle = OUTAGE;
    for (const outage of data.outages) {
      const edge = ms => Math.min(Math.max(plot.valToPos(local(ms), 'x', true), plot.bbox.left),
                                  plot.bbox.left + plot.bbox.width);
      const from = edge(outage.from);
      plot.ctx.fillRect(from, plot.bbox.top, Math.max(edge(outage.to) - from, 2), plot.bbox.height);
    }
    plot.ctx.restore();
  }

  // The series of a plot share their times; none of them crosses an outage.
  function joined(lists) {
    const gaps = [].concat(...data.outages.map(outage => [local(outage.from), local(outage.to - 0.01)]));
    return uPlot.join(lists.map(points => {
      const rows = points.map(point => [local(point[0]), point[1]]);
      for (const at of gaps)
        rows.push([at, null]);
      rows.sort((a, b) => a[0] - b[0]);
      const unique = rows.filter((row, i) => i + 1 === rows.length || rows[i + 1][0] > row[0]);
      return [unique.map(row => row[0]), unique.map(row => row[1])];
    }), lists.map(() => lists.map(() => 2)));
  }

  function addTimeChart(lists, unit, isLog, isLine) {
    const series = lists.map((list, i) => ({
      label: list.label,
      stroke: COLOURS[i % COLOURS.length],
      width: isLine ? 1.5 : 0,
      paths: isLine ? undefined : () => null,
      points: isLine ? {size: 4} : {show: true, size: 3.5, fill: COLOURS[i % COLOURS.length]},
      value: (plot, value) => value === null || value === undefined ? '' : figure(value) + unit,
    }));
    const span = Math.max(data.end / 1000, 0.001);
    addChart({
      tzDate: seconds => uPlot.tzDate(new Date(seconds * 1000), 'Etc/UTC'),
      cursor: {sync: {key: 'run'}},
      scales: {
        x: {range: (plot, from, to) => from === to ? [local(0), local(0) + span] : [from, to]},
        y: isLog ? {distr: 3} : {},
      },
      series: [{label: 'time', value: (plot, seconds) => seconds === null || seconds === undefined ? ''
        : new Date(seconds * 1000).toISOString().slice(11, 23)}, ...series],
      axes: [
        {values: TIME_TEXTS, space: 90},
        {size: 76, label: unit.trim(), values: (plot, ticks) => ticks.map(i => i === null ? '' : figure(i))},
      ],
      hooks: {drawClear: [shadeOutages]},
    }, joined(lists.map(list => list.points)));
  }

  function addHistogram(bins) {
    const start = bin => figure(Number(bin[0].toPrecision(3)));
    const label = bin => bin === undefined ? '' : `${start(bin)} to ${figure(Number(bin[1].toPrecision(3)))}`;
    addChart({
      cursor: {drag: {x: false, y: false}},
      scales: {
        x: {time: false, range: () => [-0.6, bins.length - 0.4]},
        y: {range: (plot, from, to) => [0, to * 1.08]},
      },
      series: [
        {label: 'ms', value: (plot, i) => label(bins[i])},
        {
          label: 'requests', stroke: COLOURS[0], fill: COLOURS[0] + '55',
          paths: uPlot.paths.bars({size: [0.9]}), points: {show: false},
        },
      ],
      axes: [
        {
          label: 'from, in ms', size: 32, grid: {show: false},
          splits: plot => bins.map((bin, i) => i)
            .filter(i => i % Math.ceil(bins.length * LABEL_WIDTH / plot.width) === 0),
          values: (plot, ticks) => ticks.map(i => start(bins[i])),
        },
        {
          label: 'requests', size: 76,
          values: (plot, ticks) => ticks.map(n => Number.isInteger(n) ? n : ''),
        },
      ],
    }, [bins.map((bin, i) => i), bins.map(bin => bin[2])]);
  }

  function addCauses() {
    add(main, 'h2', 'Diagnosis');
    for (const cause of data.causes) {
      const box = add(main, 'div', undefined, 'cause');
      add(box, 'b', cause.text);
      add(box, 'span', 'Check: ' + cause.check);
    }
    if (data.causes.length === 0)
      add(main, 'div', 'No errors.', 'good');
    addTable(['count', 'what'], data.counts);
  }

  function addValues() {
    const readings = [].concat(...data.values.map(item => item.series));
    if (readings.length === 0)
      return;
    add(main, 'h2', 'Values');
    for (const item of data.values) {
      const lists = item.series.filter(list => list.points.length > 0);
      if (lists.length > 0)
        addTimeChart(lists, item.unit ? ' ' + item.unit : '', false, true);
    }
    addTable(['item', 'least', 'most', 'latest'], readings.map(list => list.points.length > 0
      ? [list.label, list.least, list.most, list.latest] : [list.label, '', '', list.latest]), data.moreValues);
  }

  document.title = data.title;
  add(main, 'h1', data.title);
  addTable(null, data.facts);
  if (data.causes)
    addCauses();
  if (data.times.length > 0) {
    add(main, 'h2', 'Times of requests');
    add(main, 'p', 'Drag over a plot to zoom in on a time, double-click to zoom out. Outages are shaded.',
        'hint screen');
    addTimeChart(data.times, ' ms', true, false);
    add(main, 'h2', 'How the times are spread');
    addHistogram(data.histogram);
  }
  addValues();
  if (data.outages.length > 0) {
    add(main, 'h2', 'Outages');
    addTable(['from', 'seconds', 'reason'], data.outages.map(outage =>
      [clock(outage.from), Math.round(outage.to - outage.from) / 1000, outage.text]), data.moreOutages);
  }
  if (data.failures.length > 0) {
    add(main, 'h2', 'Other failures');
    addTable(['time', 'reason'], data.failures.map(failure => [clock(failure.at), failure.text]),
             data.moreFailures);
  }

  const resize = to => charts.forEach(chart => chart.setSize({width: to, height: chart.height}));
  window.addEventListener('resize', () => resize(width()));
  window.addEventListener('beforeprint', () => resize(PAPER_WIDTH));
  window.addEventListener('afterprint', () => resize(width()));
})();
