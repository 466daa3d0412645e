'use strict';
// Draws the sample windows, one chart an axis. The page is complete without it but for the charts.
(() => {
  const windows = JSON.parse(document.getElementById('windows').textContent);
  const root = document.documentElement;

  // A state is told by its shape as well as by its colour; the legend in the page shows the same shapes.
  const states = [
    {name: 'settling', pointStyle: 'triangle', radius: 4, hollow: true},
    {name: 'discarded', pointStyle: 'crossRot', radius: 3.5, hollow: true},
    {name: 'accepted', pointStyle: 'circle', radius: 2.5},
  ];

  const colour = (name) => getComputedStyle(root).getPropertyValue('--' + name).trim();
  const short = (number) => String(Number(number.toPrecision(6)));

  function extent(points) {
    let low = Infinity, high = -Infinity;
    for (const {y} of points) {
      low = Math.min(low, y);
      high = Math.max(high, y);
    }
    return low <= high ? [low, high] : [-1, 1];
  }

  // The samples fill the chart; a limit widens it when it is near, or when the reader wants to see it.
  function vertical_range(points, limit, withLimits) {
    let [low, high] = extent(points);
    const span = high - low || Math.abs(high) / 100 || 1;
    for (const line of limit === null ? [] : [-limit, limit]) {
      if (withLimits || (line > low - span && line < high + span)) {
        low = Math.min(low, line);
        high = Math.max(high, line);
      }
    }
    const margin = (high - low || span) * 0.1;
    return {min: low - margin, max: high + margin};
  }

  const straight = (name, from, to, dash) => ({
    type: 'line', data: [from, to], borderColor: colour(name), borderWidth: 1.5, borderDash: dash, pointRadius: 0,
    pointHitRadius: 0,
  });

  // The cause above the line of a restart, in one of two rows; where both are taken, the list in the page has it.
  const causes = (restarts) => ({
    id: 'causes',
    afterDraw({ctx, chartArea, scales}) {
      ctx.save();
      ctx.font = '11px sans-serif';
      ctx.fillStyle = colour('restart');
      const ends = [-Infinity, -Infinity];
      for (const {event, cause} of restarts) {
        const text = cause.replace('_', ' ');
        const width = ctx.measureText(text).width;
        const left = Math.min(scales.x.getPixelForValue(event + 0.5) - width / 2, chartArea.right - width);
        const row = ends.findIndex((end) => end < left);
        if (row < 0) continue;
        ctx.fillText(text, left, chartArea.top - 4 - row * 12);
        ends[row] = left + width + 4;
      }
      ctx.restore();
    },
  });

  function datasets(view) {
    const {points, samples, limit, restarts, events, range} = view;
    const all = states.map(({name, pointStyle, radius, hollow}) => ({
      label: name, data: points.filter((point) => point.state === name), pointStyle, radius,
      borderColor: colour(name), backgroundColor: hollow ? 'transparent' : colour(name), borderWidth: hollow ? 1.5 : 0,
    }));
    // A gap stays where a value is no number.
    all.push({type: 'line', data: samples, borderColor: colour('line'), borderWidth: 1, pointRadius: 0,
              pointHitRadius: 0, order: 1});
    for (const {event} of restarts) {
      all.push(straight('restart', {x: event + 0.5, y: range.min}, {x: event + 0.5, y: range.max}, [4, 3]));
    }
    for (const y of limit === null ? [] : [-limit, limit]) {
      all.push(straight('limit', {x: events.min, y}, {x: events.max, y}, [8, 3]));
    }
    return all;
  }

  function options({range, events, unit, restarts}) {
    const axis = (title) => ({
      title: {display: true, text: title, color: colour('muted')},
      ticks: {color: colour('muted'), maxRotation: 0, includeBounds: false},
      grid: {color: colour('soft'), borderColor: colour('line')},
    });
    return {
      animation: false, maintainAspectRatio: false, normalized: true, parsing: false,
      layout: {padding: {top: restarts.length ? 30 : 4}},
      interaction: {mode: 'nearest', intersect: false},
      scales: {x: {type: 'linear', ...events, ...axis('event')}, y: {...range, ...axis(unit)}},
      plugins: {
        legend: {display: false},
        tooltip: {
          displayColors: false, filter: (item) => item.dataset.label !== undefined,
          callbacks: {
            title: () => '',
            label: ({raw, dataset}) => 'event ' + raw.x + ': ' + short(raw.y) + ' ' + unit + ' (' + dataset.label + ')',
          },
        },
      },
    };
  }

  function view_of(window, axis, withLimits) {
    const samples = window.samples.map(({event, values, state}) => ({
      x: event, y: Number.isFinite(values[axis]) ? values[axis] : NaN, state,
    }));
    const points = samples.filter(({y}) => Number.isFinite(y));
    const limit = Number.isFinite((window.bias_limit || [])[axis]) ? window.bias_limit[axis] : null;
    return {
      samples, points, limit, unit: window.unit || '', restarts: window.restarts || [],
      range: vertical_range(points, limit, withLimits),
      events: {min: samples[0].x - 1, max: samples[samples.length - 1].x + 1},
    };
  }

  function element(name, parent, text) {
    const made = document.createElement(name);
    if (text) made.textContent = text;
    return parent.appendChild(made);
  }

  function draw_axis(place, window, axis, withLimits) {
    const view = view_of(window, axis, withLimits);
    const plot = element('div', place);
    plot.className = 'plot';
    const name = window.axes[axis];
    const title = element('p', plot, name);
    const hidden = view.limit !== null && view.limit > view.range.max && -view.limit < view.range.min;
    if (hidden) element('small', title, 'limit \u00b1' + short(view.limit) + ' ' + view.unit + ' lies outside');
    if (!view.points.length) element('small', title, 'no sample has a number here');
    const frame = element('div', plot);
    frame.className = 'canvas';
    const canvas = element('canvas', frame);
    canvas.setAttribute('role', 'img');
    canvas.setAttribute('aria-label', name + ': ' + view.samples.length + ' samples in ' + view.unit);
    const chart = new Chart(canvas, {type: 'scatter', data: {datasets: datasets(view)}, options: options(view),
                                     plugins: [causes(view.restarts)]});
    return {chart, hidden};
  }

  const drawn = new Map();  // place -> its charts

  function draw(place, withLimits = false) {
    for (const {chart} of drawn.get(place) || []) chart.destroy();
    place.replaceChildren();
    const window = windows[place.dataset.window];
    const charts = window.axes.map((_, axis) => draw_axis(place, window, axis, withLimits));
    drawn.set(place, charts);
    if (!withLimits && !charts.some(({hidden}) => hidden)) return;
    const button = element('button', place, withLimits ? 'Scale to the samples' : 'Scale to the limits');
    button.type = 'button';
    button.addEventListener('click', () => draw(place, !withLimits));
  }

  // A chart inside a closed fold may have no size: it waits until the fold opens.
  const is_shown = (place) => !place.closest('details:not([open])');
  function draw_new() {
    for (const place of document.querySelectorAll('[data-window]')) {
      if (is_shown(place) && !drawn.has(place)) draw(place);
    }
  }
  function draw_all() {
    drawn.forEach((_, place) => draw(place));
    draw_new();
  }

  const folds = [...document.querySelectorAll('details')];
  for (const fold of folds) fold.addEventListener('toggle', draw_new);
  document.getElementById('unfold')?.addEventListener('click', () => folds.forEach((fold) => { fold.open = true; }));
  matchMedia('(prefers-color-scheme: dark)').addEventListener('change', draw_all);

  let closed = [];
  addEventListener('beforeprint', () => {
    closed = folds.filter((fold) => !fold.open);
    folds.forEach((fold) => { fold.open = true; });
    root.classList.add('printing');
    draw_all();
  });
  addEventListener('afterprint', () => {
    closed.forEach((fold) => { fold.open = false; });
    root.classList.remove('printing');
    draw_all();
  });

  draw_new();
})();
