// What vorlent-why says of the one that is looked at: from its own log, and from the bases' logs.
async function verdictOf(name) {
  if (run.why) return run.why.trouble ? {trouble: run.why.trouble} : run.why.units?.[name];
  try {
    return await (await fetch(`why${location.search}&unit=${name}`)).json();
  } catch { return {trouble: 'meshlab does not answer'}; }
}

function addAttempts(station, parent) {
  const folded = html('details', parent);
  html('summary', folded, `${station.attempts.length} ${station.attempts.length === 1 ? 'attempt' : 'attempts'}, step by step`);
  station.attempts.forEach((attempt, k) => {
    html('h3', folded, `${k + 1}: ${attempt.reason}`);
    const list = html('ul', folded);
    for (const note of attempt.notes) html('li', list, note);
    for (const {place, text, times: often} of attempt.steps) {
      html('li', list, `${text}${often > 1 ? `, ${often} times` : ''} (${place})`);
    }
  });
}

function addVerdict(title, station, parent) {
  html('h3', parent, `${title}: ${station.reason}`);
  html('p', parent, station.happened);
  html('p', parent, 'To do: ' + station.todo);
  addAttempts(station, parent);
}

function addRecord(name, record, parent) {
  const chosen = run.units[mesh.chosen], own = name === chosen.unit;
  if (!record) return;
  if (record.trouble && !record.units) { if (own) html('p', parent, record.trouble + '.'); return; }
  if (record.error) { html('p', parent, record.error + '.'); return; }
  const nameOf = station => run.units.find(unit => unit.station === station)?.unit ?? station;
  for (const station of record.units) {
    if (own) addVerdict(chosen.kind === 'base' ? nameOf(station.station) : 'its own log', station, parent);
    else if (station.station === chosen.station) addVerdict(`the log of ${name}`, station, parent);
  }
  for (const remark of own ? [...record.trouble ?? [], ...record.remarks ?? []] : []) html('p', parent, remark + '.');
}

// A live unit's log is judged when it is asked for; an answer that comes late, for another, is dropped.
let asked = 0, due = 0;
function askWhyAnew() {
  if (run.live && !due) due = setTimeout(() => { due = 0; tellWhy(); }, 1500);
}
async function tellWhy() {
  const mine = ++asked, chosen = run.units[mesh.chosen];
  by('until').textContent = run.live ? 'so far' : "up to the run's end";
  if (!by('reasons').open || chosen.kind === 'stranger') { by('why').textContent = ''; return; }
  const bases = chosen.kind === 'unit' ? run.units.filter(unit => unit.kind === 'base').map(unit => unit.unit) : [];
  const names = [chosen.unit, ...bases], records = await Promise.all(names.map(verdictOf));
  if (mine !== asked) return;
  by('why').textContent = '';
  names.forEach((name, k) => addRecord(name, records[k], by('why')));
  if (!by('why').textContent) html('p', by('why'), 'vorlent-why finds no way of a unit in the log.');
}
