// The mesh as it was at `view`, a time of the run.
const mesh = {nodes: [], view: 0, at: 0, following: !!run.live, playing: !!run.live, chosen: 0, byHand: false, clock: null};
const waits = {1000: "for the base's key", 1002: 'to be told to wait', 1004: 'for its credentials'};

function forget() {
  mesh.at = 0;
  mesh.nodes.forEach(node => Object.assign(node, {mode: -1, last: 0, off: true, frozen: false, mute: false, channel: 0,
    settings: {}, changed: true}));
}

function apply(entry) {
  const node = mesh.nodes[number[entry.unit]];
  if (!node) return;
  node.changed = true;
  if (entry.what === 'mode') Object.assign(node, {mode: entry.mode, last: 0});
  if (entry.what === 'frame') Object.assign(node, {last: entry.operation, channel: entry.channel});
  if (entry.what === 'heard' && entry.operation === 1004) node.last = 1004;
  if (entry.what === 'power') Object.assign(node, /on/.test(entry.text) ? {off: false} : {off: true, frozen: false, mode: -1});
  if (entry.what === 'daemon' && /starts|ended/.test(entry.text)) node.frozen = false;
  if (entry.what === 'scenario' && /^(freeze|thaw)/.test(entry.text)) node.frozen = entry.text === 'freeze';
  if (entry.what === 'scenario' && /^(un)?mute/.test(entry.text)) node.mute = entry.text === 'mute';
  if (entry.what === 'nvram') {
    if (entry.text === 'removed') delete node.settings[entry.key]; else node.settings[entry.key] = entry.value;
  }
}

function stateOf(i) {
  const node = mesh.nodes[i], kind = run.units[i].kind;
  if (kind === 'stranger') return 'a stranger';
  if (node.off) return 'switched off';
  const more = (node.frozen ? ', frozen' : '') + (node.mute ? ', mute' : '');
  if (node.mode === 1) return `1 handshake, waits ${waits[node.last] ?? 'for the air'}${more}`;
  if (node.mode === 3) return '3 temporary satellite, waits for its backhaul' + more;
  return modeNames[node.mode] + more;
}
const stateNow = i => modeNames[run.units[i].mode];

// The point at a share of the way around, so that neighbours are as far apart everywhere.
function onEllipse(share, width, height) {
  const at = k => [500 + width * Math.sin(k * Math.PI / 180), 258 - height * Math.cos(k * Math.PI / 180)];
  const steps = Array.from({length: 360}, (_, k) => Math.hypot(at(k + 1)[0] - at(k)[0], at(k + 1)[1] - at(k)[1]));
  let left = share * steps.reduce((sum, step) => sum + step, 0), k = 0;
  while (k < 359 && left > steps[k]) left -= steps[k++];
  return at(k + left / steps[k]);
}

function place(i) {
  const bases = run.units.filter(n => n.kind === 'base').length, kind = run.units[i].kind;
  if (kind === 'stranger') return [940, 40];
  if (kind === 'base') return [500 + (i - (bases - 1) / 2) * 160, 270];
  const units = run.units.filter(n => n.kind === 'unit').length, k = i - bases;
  const inner = units > 24 ? Math.floor(units * .38) : 0;
  const ring = k < inner ? [k / inner, 270, 125] : [(k - inner) / (units - inner), 450, 222];
  return onEllipse(...ring);
}

function drawMesh() {
  const chart = svg('svg', {viewBox: '0 0 1000 540', role: 'group', 'aria-label': 'The mesh'});
  by('picture').prepend(chart);
  const many = run.units.length > 24;
  chart.classList.toggle('many', many);
  run.units.forEach((unit, i) => {
    const [x, y] = place(i), radius = many ? 20 : 30;
    const group = svg('g', {class: 'node', tabindex: 0, role: 'button', 'aria-label': unit.unit}, chart);
    const circle = svg('circle', {cx: x, cy: y, r: radius}, group);
    const digit = svg('text', {x, y: y + 7, 'text-anchor': 'middle', class: 'digit'}, group);
    svg('text', {x, y: y + radius + 19, 'text-anchor': 'middle', class: 'name'}, group, many ? unit.unit.replace('unit-', '') : unit.unit);
    const choose = () => { mesh.byHand = true; show(i); };
    group.addEventListener('click', choose);
    group.addEventListener('keydown', event => { if (event.key === 'Enter' || event.key === ' ') { event.preventDefault(); choose(); } });
    mesh.nodes.push({group, circle, digit, x, y});
    html('option', by('whose'), unit.unit).value = i;
  });
  by('whose').addEventListener('change', () => { mesh.byHand = true; show(+by('whose').value); });
  forget();
}

function paintNodes() {
  mesh.nodes.forEach((node, i) => {
    if (!node.changed) return;
    node.changed = false;
    const stranger = run.units[i].kind === 'stranger';
    node.group.classList.toggle('off', node.off && !stranger);
    node.group.classList.toggle('frozen', node.frozen || node.mute);
    node.circle.setAttribute('fill', stranger ? 'var(--bad)' : `var(--m${node.mode})`);
    node.digit.textContent = stranger ? '!' : node.frozen ? '‖' : node.mode < 0 ? '–' : node.mode;
    node.group.setAttribute('aria-label', `${run.units[i].unit}: ${stateOf(i)}`);
    if (i === mesh.chosen) showState();
  });
}

// Where a lost frame breaks off, and how far one goes that is heard.
function paintFlight(pen, frame, way, color) {
  const from = mesh.nodes[frame.from], to = mesh.nodes[frame.to];
  if (!from || !to) return;
  const gone = frame.lost ? Math.min(way, .55) : way;
  const x = from.x + (to.x - from.x) * gone, y = from.y + (to.y - from.y) * gone;
  pen.fillStyle = pen.strokeStyle = color(frame.lost ? '--bad' : frame.unserved ? '--deaf' : '--m1');
  pen.lineWidth = 2;
  pen.beginPath();
  if (frame.lost && way > .55) {
    pen.moveTo(x - 6, y - 6); pen.lineTo(x + 6, y + 6); pen.moveTo(x + 6, y - 6); pen.lineTo(x - 6, y + 6);
    pen.stroke();
  } else {
    pen.arc(x, y, 8, 0, 7);
    pen.fill();
  }
  pen.fillStyle = color('--ink');
  pen.font = '20px system-ui, sans-serif';
  pen.fillText(frame.op, x + 9, y - 6);
}

// Frames in flight: each takes 0.6 s of the watcher's time from sender to receiver.
function paintFlights() {
  const canvas = by('flights'), picture = by('picture').firstChild.getBoundingClientRect();
  const scale = picture.width / 1000, dots = devicePixelRatio || 1;
  const size = [picture.width, picture.height].map(length => Math.round(length * dots));
  if (canvas.width !== size[0]) [canvas.width, canvas.height] = size;
  const pen = canvas.getContext('2d'), styles = getComputedStyle(document.documentElement);
  pen.setTransform(dots * scale, 0, 0, dots * scale, 0, 0);
  pen.clearRect(0, 0, 1000, 540);
  const flight = .6 * Math.max(speed(), .2);
  let k = run.frames.length - 1;
  while (k >= 0 && run.frames[k].t > mesh.view) --k;
  for (; k >= 0 && run.frames[k].t > mesh.view - flight; --k) {
    paintFlight(pen, run.frames[k], (mesh.view - run.frames[k].t) / flight, name => styles.getPropertyValue(name));
  }
}
