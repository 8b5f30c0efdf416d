// The handshakes: a row for each frame, an arrow from its sender to its receiver.
const mostFrames = 2000;

function frameStyle(frame) {
  if (frame.lost) return {name: 'bad', color: 'var(--bad)'};
  return frame.unserved ? {name: 'deaf', color: 'var(--deaf)'} : {name: '', color: 'var(--m1)'};
}

function drawArrow(frame, lines, parent) {
  const picture = svg('svg', {width: lines.width}, parent), {color} = frameStyle(frame);
  const from = lines.at.get(frame.from), to = lines.at.get(frame.to) ?? from + 40, way = Math.sign(to - from), y = 10;
  const tip = frame.lost ? from + (to - from) * .6 : to - way * (frame.unserved ? 8 : 2);
  svg('line', {x1: from, x2: tip, y1: y, y2: y, stroke: color, 'stroke-width': 2,
    'stroke-dasharray': frame.lost ? '5 4' : 'none'}, picture);
  const cross = `M${tip - 4} ${y - 4}l8 8m0 -8l-8 8`, bar = `M${tip} ${y - 6}v12`;
  const head = `M${tip - way * 5} ${y - 4}L${tip} ${y}L${tip - way * 5} ${y + 4}`;
  svg('path', {d: frame.lost ? cross : frame.unserved ? head + bar : head, fill: 'none', stroke: color, 'stroke-width': 2}, picture);
}

function drawFrame(frame, lines, parent) {
  const line = html('div', parent, undefined, frameStyle(frame).name);
  html('time', line, frame.t.toFixed(3));
  drawArrow(frame, lines, line);
  html('span', line, `${frame.op} ${isStranger(frame.from) ? 'forged' : what[frame.op]}` +
    (frame.resent ? ', sent again' : '') + (frame.lost ? ', lost' : '') +
    (frame.unserved ? `, heard but not served: ${frame.unserved}` : ''));
  hint(line, frame, () => `${frame.t.toFixed(6)} s: ${frame.note}${frame.unserved ? '\nNot served: ' + frame.unserved : ''}\n` +
    decoded(frame.body), () => lookAt(frame.from, frame.t));
}

// Where each station's line stands, in the columns that have room.
function placeLines(shown, room) {
  const gap = Math.max(60, Math.min(230, Math.floor((room - 62 - 280) / Math.max(1, shown.length - 1))));
  return {gap, at: new Map(shown.map((i, k) => [i, 30 + k * gap])), width: 60 + (shown.length - 1) * gap};
}

function drawSequence(all, box) {
  const frames = all.slice(0, mostFrames);
  const shown = run.units.map((n, i) => i).filter(i =>
    frames.some(f => f.from === i || f.to === i) || run.units[i].kind === 'base');
  const lines = placeLines(shown, roomIn('sequence', 300));
  box.textContent = '';
  const list = html('div', box, undefined, 'frames');
  list.style.setProperty('--arrows', lines.width + 'px');
  list.style.setProperty('--gap', lines.gap + 'px');
  const heads = html('div', list, undefined, 'heads');
  html('time', heads, 's');
  const names = svg('svg', {width: lines.width}, heads);
  for (const [i, x] of lines.at) svg('text', {x, y: 14, 'text-anchor': 'middle', class: 'name'}, names, run.units[i].unit);
  if (frames.length === 0) html('p', box, 'None was sent.');
  for (const frame of frames) drawFrame(frame, lines, list);
  if (all.length > mostFrames) html('p', box, `These are the first ${mostFrames} of ${all.length}; all are in air.pcapng.`);
}

// The part of the run that a zoom leaves, around the moment that is looked at, in the time of the
// charts, whose idle stretches are cut.
function partInView() {
  const zoom = +by('near').value, axis = makeAxis(), half = .5 / zoom;
  const middle = Math.max(half, Math.min(1 - half, axis.at(mesh.view)));
  return t => zoom === 1 || Math.abs(axis.at(t) - middle) <= half;
}

function drawChosen() {
  const who = by('who').value, which = +by('which').value, isNear = partInView();
  const about = f => (who === 'all' || f.from === +who || f.to === +who) && (!which || f.op === which);
  const all = run.frames.filter(f => about(f) && (isStranger(+who) || !isStranger(f.from)));
  const frames = all.filter(f => isNear(f.t));
  by('part').textContent = frames.length === all.length ? '' : `${frames.length} of ${all.length}` +
    (frames.length ? `, from ${seconds(frames[0].t)} to ${seconds(frames[frames.length - 1].t)}` : '');
  redraw('sequence', box => drawSequence(frames, box));
}

const offerFrames = (value, text) => { html('option', by('who'), text).value = value; };
function fillSelect() {
  const select = by('who');
  offerFrames('all', 'all units');
  run.units.forEach((node, i) => { if (node.kind !== 'base') offerFrames(i, node.unit); });
  const ours = run.frames.filter(f => !isStranger(f.from)).length;
  const few = run.units.length <= 9 && ours <= 400 && innerWidth >= 700;
  select.value = few ? 'all' : worstFirst().find(i => run.units[i].kind === 'unit');
  for (const id of ['who', 'which', 'near']) by(id).addEventListener('change', drawChosen);
}
