// The charts' axis of time.

// Time with its idle stretches cut: at most `cap` seconds of each are drawn.
function makeAxis() {
  const cap = 8;
  const times = [0, run.seconds, ...run.frames.map(f => f.t), ...run.modes.map(m => m.t), ...run.causes.map(c => c.t)];
  times.sort((a, b) => a - b);
  const knots = [{t: 0, x: 0}];
  const breaks = [];
  for (const t of times) {
    const last = knots[knots.length - 1];
    if (t - last.t > cap * 1.5) breaks.push({x: last.x + cap / 2, from: last.t, skipped: t - last.t});
    if (t > last.t) knots.push({t, x: last.x + (t - last.t > cap * 1.5 ? cap : t - last.t)});
  }
  const length = knots[knots.length - 1].x || 1;
  const at = t => {
    let low = 0, high = knots.length - 1;
    while (low + 1 < high) {
      const middle = (low + high) >> 1;
      if (knots[middle].t <= t) low = middle; else high = middle;
    }
    const a = knots[low], b = knots[high];
    return (a.x + (b.t > a.t ? (t - a.t) / (b.t - a.t) * (b.x - a.x) : 0)) / length;
  };
  return {at, breaks: breaks.map(b => ({...b, x: b.x / length})), length};
}

function drawTicks(chart, axis, left, width, height) {
  let drawn = -99;
  const steps = [.5, 1, 2, 5, 10, 20, 60, 120, 300];
  const step = steps.find(s => axis.length / s <= width / 90) || 600;
  for (let t = 0; t <= run.seconds; t += step) {
    const x = left + axis.at(t) * width;
    const hidden = axis.breaks.some(b => Math.abs(left + b.x * width - x) < 4 / axis.length * width);
    if (x - drawn < 60 || hidden) continue;
    svg('line', {x1: x, x2: x, y1: 0, y2: height, stroke: 'var(--grid)'}, chart);
    svg('text', {x, y: height + 16, 'text-anchor': 'middle'}, chart, t + ' s');
    drawn = x;
  }
}

// Each says how much is left out; below, where there is room for it.
function drawBreaks(chart, axis, left, width, height) {
  let drawn = -99;
  for (const cut of axis.breaks) {
    const x = left + cut.x * width, group = svg('g', {}, chart);
    svg('path', {d: `M${x - 4} 0V${height}M${x + 4} 0V${height}`, stroke: 'var(--card)', 'stroke-width': 2}, group);
    hint(group, cut.from, () => `${span(cut.skipped)} are left out, in which nothing changed`);
    if (x - drawn < 56) continue;
    svg('text', {x, y: height + 32, 'text-anchor': 'middle'}, group, '+' + span(cut.skipped));
    drawn = x;
  }
}
