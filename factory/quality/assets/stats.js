'use strict';
// Draws the charts of the statistics page. The tables are complete without it.
(() => {
  const charts = JSON.parse(document.getElementById('charts').textContent);
  const colour = (name) => getComputedStyle(document.documentElement).getPropertyValue('--' + name).trim();
  const short = (number) => String(Number(number.toPrecision(6)));

  const line = (label, data, name, dash, more) => ({
    type: 'line', label, data, borderColor: colour(name), backgroundColor: colour(name), borderWidth: 1.5,
    borderDash: dash, pointRadius: 0, pointHitRadius: 0, ...more,
  });
  const bars = (label, data, name) => ({type: 'bar', label, data, backgroundColor: colour(name), stack: 'runs', maxBarThickness: 60, order: 1});

  // A limit that is far off would flatten the chart: it is drawn where it is near.
  function near(limit, points) {
    if (limit === undefined) return false;
    const values = points.flatMap(({mean, shown, upper, lower}) => [mean, shown, upper, lower]);
    const low = Math.min(...values), high = Math.max(...values), span = high - low || Math.abs(high) || 1;
    return limit > low - span && limit < high + span;
  }

  const kinds = {
    days: ({points}) => ({
      labels: points.map(({day}) => day),
      datasets: [
        ...['passed', 'failed', 'error', 'aborted'].map((name) => bars(name, points.map((point) => point[name]), name)),
        ...[['first pass', 'text'], ['last', 'muted']].map(([name, look]) =>
          line(name + ', %', points.map((point) => point[name] ?? null), look, [], {yAxisID: 'share', pointRadius: 2, pointHitRadius: 6})),
      ],
    }),
    pareto: ({points}) => ({
      labels: points.map(({name}) => name),
      datasets: [bars('runs', points.map(({runs}) => runs), 'failed'),
                 line('together, %', points.map(({together}) => together), 'accepted', [], {yAxisID: 'share', pointRadius: 3})],
    }),
    drift: ({points, centre, low, high}) => {
      const same = (value) => points.map(() => value);
      const datasets = [
        line('held against the limits', points.map(({shown}) => shown), 'accepted', [], {
          pointRadius: points.map(({rule}) => rule ? 6 : 3), pointHitRadius: 6,
          pointStyle: points.map(({rule}) => rule ? 'triangle' : 'circle'),
          pointBackgroundColor: points.map(({rule}) => colour(rule ? 'failed' : 'accepted')),
        }),
        line('mean', points.map(({mean}) => mean), 'muted', [], {showLine: false, pointRadius: 2}),
        line('centre', same(centre), 'muted', []),
        line('upper limit', points.map(({upper}) => upper), 'restart', [4, 3], {stepped: 'middle'}),
        line('lower limit', points.map(({lower}) => lower), 'restart', [4, 3], {stepped: 'middle'}),
      ];
      for (const limits of [same(low), same(high), points.map((p) => p.low), points.map((p) => p.high)])
        if (limits.some((limit) => near(limit, points))) datasets.push(line('limit', limits, 'limit', [8, 3], {stepped: 'middle'}));
      return {labels: points.map(({day}) => day), datasets};
    },
  };

  // Where an axis of shares begins that ends at 100: high yields would be one line below the top of a whole one.
  function first_share(points) {
    const least = Math.min(100, ...points.flatMap((point) => [point['first pass'] ?? 100, point.last ?? 100]));
    return 100 - [1, 2, 5, 10, 20, 50, 100].find((room) => 100 - least <= room);
  }

  const counts = (kind) => kind === 'days' || kind === 'pareto';
  function options({kind, points}) {
    const axis = (text, more) => ({ticks: {color: colour('muted')}, grid: {color: colour('soft')},
                                   title: {display: text !== '', text, color: colour('muted')}, ...more});
    const scales = {x: axis('', {stacked: kind === 'days'}),
                    y: axis(counts(kind) ? 'runs' : '', {stacked: kind === 'days', beginAtZero: counts(kind)})};
    if (counts(kind)) {
      const min = kind === 'days' ? first_share(points) : 0;
      const of = kind === 'days' ? '% of phones' + (min > 0 ? ', from ' + min + ' % on' : '') : '% of failed runs';
      scales.share = axis(of, {position: 'right', min, max: 100, grid: {display: false}});
    }
    return {
      animation: false, maintainAspectRatio: false, scales,
      plugins: {
        legend: {labels: {color: colour('muted')}, display: kind !== 'drift'},
        tooltip: {callbacks: kind !== 'drift' ? {} : {
          label: ({dataIndex}) => {
            const {mean, count, rule} = points[dataIndex];
            return 'mean ' + short(mean) + ', ' + count + (count === 1 ? ' value' : ' values') + (rule ? ': ' + rule : '');
          },
        }},
      },
    };
  }

  // A click on a column's name sorts by it, and once more the other way; what is typed leaves the rows that have it.
  // Numbers come before words, of which "-" is nothing and stays last.
  function value_of(row, column) {
    const text = row.cells[column].textContent.trim(), number = parseFloat(text);
    return Number.isNaN(number) ? [text === '-' ? 2 : 1, text] : [0, number];
  }
  function sort(table, column) {
    const [body, name] = [table.tBodies[0], table.tHead.rows[0].cells[column]];
    const down = name.ariaSort === 'ascending' ? -1 : 1;
    for (const other of table.tHead.rows[0].cells) other.removeAttribute('aria-sort');
    name.ariaSort = down === 1 ? 'ascending' : 'descending';
    const rows = [...body.rows].map((row) => [value_of(row, column), row]);
    rows.sort(([[x, a]], [[y, b]]) => x !== y ? x - y : (a < b ? -1 : a > b ? 1 : 0) * down);
    body.replaceChildren(...rows.map(([, row]) => row));
  }
  for (const table of document.querySelectorAll('table.measurements')) {
    [...table.tHead.rows[0].cells].forEach((name, column) => {
      const button = document.createElement('button');
      button.textContent = name.textContent;
      button.addEventListener('click', () => sort(table, column));
      name.replaceChildren(button);
    });
    const search = Object.assign(document.createElement('input'), {type: 'search', placeholder: 'find', ariaLabel: 'find'});
    search.addEventListener('input', () => {
      const wanted = search.value.toLowerCase();
      for (const row of table.tBodies[0].rows) row.hidden = !row.textContent.toLowerCase().includes(wanted);
    });
    table.parentElement.before(search);
  }

  const drawn = new Map();
  function draw_new() {
    for (const place of document.querySelectorAll('[data-chart]')) {
      if (drawn.has(place) || place.closest('details:not([open])')) continue;
      const chart = charts[place.dataset.chart];
      place.replaceChildren(document.createElement('canvas'));
      drawn.set(place, new Chart(place.firstChild, {data: kinds[chart.kind](chart), options: options(chart)}));
    }
  }
  for (const fold of document.querySelectorAll('details')) fold.addEventListener('toggle', draw_new);
  matchMedia('(prefers-color-scheme: dark)').addEventListener('change', () => {
    drawn.forEach((chart) => chart.destroy());
    drawn.clear();
    draw_new();
  });
  draw_new();
})();
