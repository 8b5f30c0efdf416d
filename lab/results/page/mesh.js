// The mesh as it was at `view`, a time of the run.
const mesh = {nodes: [], view: 0, at: 0, following: !!run.live, playing: !!run.live, chosen: 0, byHand: false, clock: null};
const waits = {1000: "for the base's key", 1002: 'to be told to wait', 1004: 'for its credentials'};

const asAtFirst = i => ({mode: -1, last: 0, off: true, frozen: false, mute: false, there: !newcomers.has(run.units[i].unit),
  channel: 1, settings: {}, changed: true});
function forget() {
  mesh.at = 0;
  mesh.nodes.forEach((node, i) => Object.assign(node, asAtFirst(i)));
}

function apply(entry) {
  const node = mesh.nodes[number[entry.unit]];
  if (!node) return;
  node.changed = true;
  if (entry.what === 'mode') Object.assign(node, {mode: entry.mode, last: 0});
  if (entry.what === 'mode' && node === mesh.nodes[mesh.chosen]) askWhyAnew();
  if (entry.what === 'frame') node.last = entry.operation;
  if (entry.what === 'heard' && entry.operation === 1004) node.last = 1004;
  if (entry.what === 'arrived') node.there = true;
  if (entry.what === 'power') Object.assign(node, /on/.test(entry.text) ? {off: false} : {off: true, frozen: false, mode: -1});
  if (entry.what === 'channel' || entry.what === 'power') node.channel = entry.channel;
  if (entry.what === 'daemon' && /starts|ended/.test(entry.text)) node.frozen = false;
  if (entry.what === 'scenario' && /^(freeze|thaw)/.test(entry.text)) node.frozen = entry.text === 'freeze';
  if (entry.what === 'scenario' && /^(un)?mute/.test(entry.text)) node.mute = entry.text === 'mute';
  if (entry.what === 'nvram') {
    if (entry.text === 'removed') delete node.settings[entry.key]; else node.settings[entry.key] = entry.value;
  }
}

// What it is, and what it waits for.
function stagesOf(i) {
  const node = mesh.nodes[i];
  if (run.units[i].kind === 'stranger') return ['a stranger'];
  if (!node.there) return ['not there yet'];
  if (node.off) return ['switched off'];
  const more = (node.frozen ? ', frozen' : '') + (node.mute ? ', mute' : '');
  if (node.mode === 1) return ['1 handshake', `waits ${waits[node.last] ?? 'for the air'}${more}`];
  if (node.mode === 3) return ['3 temporary satellite', 'waits for its backhaul' + more];
  return [modeNames[node.mode] + more];
}
const stateOf = i => stagesOf(i).join(', ');
const stateNow = i => modeNames[run.units[i].mode];
const channelOf = i => mesh.nodes[i].off || isStranger(i) ? '' : mesh.nodes[i].channel;

// The point at a share of the way around, so that neighbours are as far apart everywhere.
function onEllipse(share, width, height) {
  const at = k => [500 + width * Math.sin(k * Math.PI / 180), 258 - height * Math.cos(k * Math.PI / 180)];
  const steps = Array.from({length: 360}, (_, k) => Math.hypot(at(k + 1)[0] - at(k)[0], at(k + 1)[1] - at(k)[1]));
  let left = share * steps.reduce((sum, step) => sum + step, 0), k = 0;
  while (k < 359 && left > steps[k]) left -= steps[k++];
  return at(k + left / steps[k]);
}

function place(i) {
  const alike = run.units.filter(n => n.kind === run.units[i].kind), k = alike.indexOf(run.units[i]);
  if (isStranger(i)) return [940, 40];
  if (run.units[i].kind === 'base') return [500 + (k - (alike.length - 1) / 2) * (isFew() ? 260 : 160), 270];
  const units = alike.length, inner = units > 24 ? Math.floor(units * .38) : 0;
  const ring = k < inner ? [k / inner, 270, 125] : [(k - inner) / (units - inner), isFew() ? 410 : 450, 222];
  return onEllipse(...ring);
}

const isCrowd = () => run.units.length > 24, isSome = () => run.units.length <= 16;
const isFew = () => run.units.length <= 9 && run.units.filter(node => node.kind === 'base').length <= 2;
function addNode(i) {
  const group = svg('g', {class: 'node', role: 'button', tabindex: -1}, by('picture').firstChild);
  const text = style => svg('text', {'text-anchor': 'middle', class: style}, group);
  const node = {group, circle: svg('circle', {}, group), digit: text('digit'), name: text('name'), stage: text('stage')};
  const choose = () => { mesh.byHand = true; show(i); };
  group.addEventListener('click', choose);
  group.addEventListener('keydown', event => { if (event.key === 'Enter' || event.key === ' ') { event.preventDefault(); choose(); } });
  hint(group, i, () => `${run.units[i].unit}: ${stateOf(i)}${channelOf(i) && `\nchannel ${channelOf(i)}`}`);
  mesh.nodes.push(Object.assign(node, asAtFirst(i)));
  html('option', by('whose'), run.units[i].unit).value = i;
  layOut();
}

// Where each of them is, for as many as there are now.
function layOut() {
  const styles = by('picture').firstChild.classList;
  styles.toggle('many', isCrowd());
  styles.toggle('few', isFew());
  mesh.nodes.forEach((node, i) => {
    const [x, y] = place(i), crowd = isCrowd(), radius = crowd ? 16 : 30;
    const put = (text, down) => { text.setAttribute('x', x); text.setAttribute('y', y + down); };
    Object.assign(node, {x, y, changed: true});
    for (const [name, value] of Object.entries({cx: x, cy: y, r: radius})) node.circle.setAttribute(name, value);
    put(node.digit, crowd ? 6 : 7);
    put(node.name, radius + (crowd ? 16 : 19));
    put(node.stage, radius + 38);
  });
}

// The arrow keys go from one to the next; Tab comes to the one that is looked at.
function moveFocus(event) {
  const way = {ArrowRight: 1, ArrowDown: 1, ArrowLeft: -1, ArrowUp: -1}[event.key], count = mesh.nodes.length;
  const at = mesh.nodes.findIndex(node => node.group === document.activeElement);
  if (!way || at < 0) return;
  event.preventDefault();
  const next = mesh.nodes[(at + way + count) % count].group, box = next.getBoundingClientRect();
  next.focus();
  say(next, box.right, box.bottom);
}

function drawMesh() {
  by('picture').prepend(svg('svg', {viewBox: '0 0 1000 560', role: 'group', 'aria-label': 'The mesh: the arrow keys go from one to the next'}));
  run.units.forEach((unit, i) => addNode(i));
  by('whose').addEventListener('change', () => { mesh.byHand = true; show(+by('whose').value); });
  by('picture').addEventListener('keydown', moveFocus);
  by('picture').addEventListener('focusout', hush);
  hearPointer(by('picture'));
  for (const mode of [0, 1, 3, 5, 6, -1]) {
    const item = html('span', by('mesh-legend'));
    html('i', item).style.background = `var(--m${mode})`;
    item.append(mode < 0 ? '– ' + modeNames[mode] : modeNames[mode]);
  }
  html('span', by('mesh-legend'), '‖ frozen, with a red ring, as is who is mute');
  html('span', by('mesh-legend'), 'with each name: its channel');
}

function paintNode(node, i) {
  const stranger = isStranger(i), channel = channelOf(i), [stage, waiting = ''] = stagesOf(i), {unit} = run.units[i];
  node.group.classList.toggle('off', node.off && !stranger);
  node.group.classList.toggle('frozen', node.frozen || node.mute);
  node.circle.setAttribute('fill', stranger ? 'var(--bad)' : `var(--m${node.mode})`);
  node.digit.textContent = stranger ? '!' : node.frozen ? '‖' : node.mode < 0 ? '–' : node.mode;
  node.name.textContent = isFew() ? unit + (channel && `, ch ${channel}`) : isSome() ? unit :
    unit.replace('unit-', '') + (channel && `·${channel}`);
  node.stage.textContent = isFew() ? waiting || stage.replace(/^\d /, '') : isSome() && channel ? `ch ${channel}` : '';
  node.group.setAttribute('aria-label', `${unit}: ${stateOf(i)}${channel && `, channel ${channel}`}`);
  if (i === mesh.chosen) showState();
}
function paintNodes() {
  mesh.nodes.forEach((node, i) => {
    if (node.changed) paintNode(node, i);
    node.changed = false;
  });
}
