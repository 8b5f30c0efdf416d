// Modes over time, with the causes as marks on the rows.

const shapes = {power: 'M-4-4h8v8h-8z', daemon: 'M0-5.5l5.5 5.5L0 5.5-5.5 0z', owner: 'M0-5l5 9h-10z',
  air: 'M-1.5-5h3v3.5h3.5v3h-3.5v3.5h-3v-3.5h-3.5v-3h3.5z', end: 'M-5-5l10 10m0-10l-10 10', fault: 'M-2-6h4l-1 8h-2zM-1.5 3.5h3v3h-3z'};
function drawMark(parent, kind, bad, x, y) {
  const color = bad ? 'var(--bad)' : 'var(--ink)', open = kind === 'end';
  svg('path', {d: shapes[kind], transform: `translate(${x} ${y})`, fill: open ? 'none' : color,
    stroke: open ? color : 'var(--card)', 'stroke-width': open ? 2.5 : 1}, parent);
}

function drawBars(chart, node, axis, place, used) {
  const changes = run.modes.filter(m => run.units[m.node] === node);
  changes.forEach((change, k) => {
    const to = k + 1 < changes.length ? changes[k + 1].t : run.seconds;
    const x = place.left + axis.at(change.t) * place.width;
    const bar = svg('rect', {x, y: place.y + 3, height: place.row - 6, rx: 3,
      width: Math.max(1.5, place.left + axis.at(to) * place.width - x - 1), fill: `var(--m${change.mode})`}, chart);
    used.add(change.mode);
    hint(bar, change, () => `${node.unit}: mode ${modeNames[change.mode]}, from ${seconds(change.t)} to ${seconds(to)}`,
      () => lookAt(change.node, change.t));
  });
}

// Marks that would cover each other are one, with all their sentences.
function drawMarks(chart, i, axis, place) {
  let last = null;
  for (const cause of run.causes.filter(c => c.node === i)) {
    const x = place.left + axis.at(cause.t) * place.width;
    const sentence = `${run.units[i].unit}, ${seconds(cause.t)}: ${cause.text}`;
    if (last && x - last.x < 7 && last.bad >= cause.bad) { last.sentences.push(sentence); continue; }
    if (last && x - last.x < 7) last.group.remove();
    const group = svg('g', {}, chart);
    svg('rect', {x: x - 9, y: place.y, width: 18, height: place.row, fill: 'transparent'}, group);
    drawMark(group, cause.kind, cause.bad, x, place.y + place.row / 2);
    const mark = {x, bad: cause.bad, group, sentences: last && x - last.x < 7 ? [...last.sentences, sentence] : [sentence]};
    hint(group, cause, () => mark.sentences.join('\n'), () => lookAt(i, cause.t));
    last = mark;
  }
}

function drawLegend(used) {
  by('modes-legend').textContent = '';
  for (const mode of [...used].sort((a, b) => a - b)) {
    const item = html('span', by('modes-legend'));
    html('i', item).style.background = `var(--m${mode})`;
    item.append(modeNames[mode]);
  }
  const seen = new Set(run.causes.map(cause => cause.kind));
  for (const kind in kinds) if (seen.has(kind)) {
    const item = html('span', by('modes-legend'));
    drawMark(svg('svg', {width: 14, height: 14}, item), kind, kind === 'end' || kind === 'fault', 7, 7);
    item.append(kinds[kind]);
  }
}

const drawModes = () => redraw('modes', fillModes);
function fillModes(box) {
  const all = run.live ? run.units.map((unit, i) => i).filter(i => !isStranger(i)) : worstFirst();
  const nodes = all.filter(isSearched);
  if (!table.search && run.units.some(n => n.kind === 'stranger')) nodes.push(run.units.findIndex(n => n.kind === 'stranger'));
  const zoom = +by('zoom').value, axis = makeAxis(), left = 64, width = (roomIn('modes', 300) - left - 24) * zoom;
  const row = nodes.length > 16 ? 18 : 26, height = nodes.length * row;
  box.textContent = '';
  const chart = svg('svg', {width: left + width + 20, height: height + (axis.breaks.length ? 42 : 24)}, box);
  drawTicks(chart, axis, left, width, height);
  const used = new Set();
  nodes.forEach((i, k) => {
    const place = {left, width, row, y: k * row};
    const name = svg('text', {x: 0, y: place.y + row / 2 + 4, class: 'name link'}, chart, run.units[i].unit);
    name.addEventListener('click', () => lookAt(i));
    drawBars(chart, run.units[i], axis, place, used);
  });
  nodes.forEach((i, k) => drawMarks(chart, i, axis, {left, width, row, y: k * row}));
  drawBreaks(chart, axis, left, width, height);
  drawLegend(used);
  Object.assign(modes, {axis, left, width, line: svg('line', {y1: 0, y2: height, stroke: 'var(--ink)', 'stroke-dasharray': '2 2'}, chart)});
  showMoment();
}

// A line where the moment is that is looked at; a change of the zoom leaves it in sight.
const modes = {};
const momentAt = () => modes.left + modes.axis.at(mesh.view) * modes.width;
function showMoment() {
  modes.line.setAttribute('x1', momentAt());
  modes.line.setAttribute('x2', momentAt());
}
function zoomModes() {
  drawModes();
  by('modes').scrollLeft = momentAt() - by('modes').clientWidth / 2;
}
