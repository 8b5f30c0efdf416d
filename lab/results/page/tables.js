// What a run comes to: its head, frames by kind, units, expectations.
function fillHead() {
  by('tiles').textContent = '';
  by('title').textContent = `Scenario ${run.name}: ` + (run.live ? 'goes on' :
    run.interrupted ? 'was interrupted' : run.ok ? 'ended as it must' : 'did not end as it must');
  document.title = `meshlab: ${run.name}`;
  by('about').textContent = run.about;
  const units = run.units.filter(n => n.kind === 'unit');
  const all = run.live ? run.frames.length : run.kinds.reduce((sum, k) => sum + k.sent, 0);
  const gaveUp = ways.reduce((sum, way) => sum + way.gaveUp, 0);
  const tiles = [[units.filter(n => n.mode === 6).length + ' of ' + units.length, 'units installed'],
    [gaveUp, gaveUp === 1 ? 'attempt given up' : 'attempts given up'],
    [span(run.seconds), 'of the mesh\'s time'], [all, run.live ? 'handshake frames' : 'frames on the air'],
    [run.loss + ' %', 'loss asked for'], [run.seed, 'seed'], [run.keys, 'key pairs']];
  for (const [value, name] of tiles) {
    const tile = html('div', by('tiles'), undefined, 'tile');
    html('b', tile, value);
    html('span', tile, name);
  }
}

function drawKinds() {
  by('kinds').textContent = '';
  const kinds = run.kinds, row = 26, left = 130, most = Math.max(1, ...kinds.map(k => k.sent));
  const width = Math.min(700, roomIn('kinds', 300) - left - 126);
  const chart = svg('svg', {width: left + width + 122, height: kinds.length * row}, by('kinds'));
  kinds.forEach((kind, i) => {
    const y = i * row, bar = Math.max(2, kind.sent / most * width);
    svg('text', {x: 0, y: y + 17, class: 'name'}, chart, kind.kind);
    svg('rect', {x: left, y: y + 5, height: 16, rx: 3, width: bar, fill: 'var(--m1)'}, chart);
    if (kind.lost) svg('rect', {x: left, y: y + 16, height: 5, rx: 2,
      width: Math.max(2, kind.lost / most * width), fill: 'var(--bad)'}, chart);
    svg('text', {x: left + bar + 8, y: y + 17}, chart, kind.sent + (kind.lost ? `, ${kind.lost} missed` : ''));
  });
}

const after = t => t >= 0 ? seconds(t) : '–';
// Name, what is shown, what is sorted by, and whether it is a number.
const columns = [
  ['unit', i => run.units[i].unit, i => i],
  ['outcome', i => run.live ? stateNow(i) : run.units[i].outcome],
  ['gave up', i => ways[i].gaveUp, i => -ways[i].gaveUp, true],
  ['attempts', i => ways[i].attempt, i => -ways[i].attempt, true],
  ['how they ended', endings],
  ['credentials after', i => after(run.units[i].credentials), i => -(run.units[i].credentials ?? 1e9), true],
  ['installed after', i => after(run.units[i].installed), i => -(run.units[i].installed ?? 1e9), true],
  ['frames', i => run.units[i].frames, i => -run.units[i].frames, true],
  ['resent', i => run.units[i].resent, i => -run.units[i].resent, true],
  ['memory', i => run.live ? '–' : (run.units[i].peak_kib / 1024).toFixed(1) + ' MiB', i => -run.units[i].peak_kib, true],
];
const table = {by: -1, up: true, search: ''};

const isSearched = i => columns.some(([, shown]) => String(shown(i)).toLowerCase().includes(table.search));
function sortedUnits() {
  const rows = worstFirst().filter(isSearched);
  if (table.by < 0) return rows;
  const [, shown, key = shown] = columns[table.by], way = table.up ? 1 : -1;
  return rows.sort((a, b) => way * (key(a) < key(b) ? -1 : key(a) > key(b) ? 1 : 0));
}

function sortBy(k) {
  Object.assign(table, {by: k, up: table.by === k ? !table.up : true});
  drawTable();
  by('units').querySelectorAll('th button')[k].focus();
}

const drawTable = () => redraw('units', fillTable);
function fillTable(box) {
  box.textContent = '';
  const list = html('table', box), heads = html('tr', list, undefined, 'heads');
  columns.forEach(([name, , , isNumber], k) => {
    const head = html('th', heads, undefined, isNumber ? 'n' : '');
    head.setAttribute('aria-sort', table.by !== k ? 'none' : table.up ? 'ascending' : 'descending');
    html('button', head, name + (table.by !== k ? '' : table.up ? ' ▲' : ' ▼')).addEventListener('click', () => sortBy(k));
  });
  for (const i of sortedUnits()) {
    const bad = run.units[i].kind === 'unit' && run.units[i].mode !== 6 && !run.live;
    const line = html('tr', list, undefined, bad ? 'bad' : '');
    columns.forEach(([name, shown, , isNumber], k) => {
      const cell = html('td', line, undefined, isNumber ? 'n' : k === 1 || k === 4 ? 'wide' : '');
      cell.dataset.name = name;
      if (k) cell.append(shown(i)); else html('button', cell, shown(i)).addEventListener('click', () => lookAt(i));
    });
  }
}

// What does not hold stands first and open, what holds is folded away where it is much.
function listVerdicts() {
  by('verdicts').textContent = '';
  if (run.live) { html('p', by('verdicts'), "Judged at the run's end."); return; }
  const held = run.expectations.filter(v => v.holds), failed = html('ul', by('verdicts'));
  if (run.interrupted) html('p', by('verdicts'), 'The run was interrupted: what does not hold yet might have come.');
  for (const verdict of run.expectations.filter(v => !v.holds)) {
    html('li', failed, (run.interrupted ? 'not yet: ' : 'NOT SO: ') + verdict.text, run.interrupted ? '' : 'bad');
  }
  const details = html('details', by('verdicts'));
  details.open = held.length <= 8;
  html('summary', details, `${held.length} of ${run.expectations.length} hold`);
  const list = html('ul', details);
  for (const verdict of held) html('li', list, verdict.text);
}
