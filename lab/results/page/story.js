// The one that is looked at: what it is, what happened to it, and what can be done to it.
function showState() {
  const channel = mesh.nodes[mesh.chosen].channel;
  by('state').textContent = stateOf(mesh.chosen);
  by('state').title = channel ? `it sent last on channel ${channel}` : '';
}

const isAbout = (entry, name) => entry.unit === name || entry.what === 'unserved' && entry.from === name;
function tellStory() {
  const name = run.units[mesh.chosen].unit, list = by('story'), lines = [];
  for (let k = mesh.at - 1; k >= 0 && lines.length < 120; --k) {
    if (isAbout(run.entries[k], name)) lines.push(run.entries[k]);
  }
  list.textContent = '';
  for (const entry of lines) {
    const item = html('li', list);
    html('time', item, entry.t.toFixed(3));
    item.append((entry.unit === name ? '' : entry.unit + ': ') + words(entry));
    item.className = (entry.what === 'attempt' ? 'end ' : '') + (isBad(entry) ? 'bad' : entry.what === 'unserved' ? 'deaf' : '');
    if (entry.note) item.title = decoded(entry.body);
  }
  tellSettings();
  tellLog();
}

function tellSettings() {
  by('settings').textContent = '';
  for (const [key, value] of Object.entries(mesh.nodes[mesh.chosen].settings).sort()) html('li', by('settings'), `${key}=${value}`);
}

const logLines = 150;
// What the daemon had logged up to the moment that is looked at, the last lines of it.
function tellLog() {
  if (!by('logs').open) return;
  const pieces = logs[mesh.chosen];
  let k = pieces.length, text = '';
  while (k > 0 && pieces[k - 1].t > mesh.view) --k;
  for (let lines = 0; k > 0 && lines < logLines; --k) {
    text = pieces[k - 1].text + text;
    lines = text.split('\n').length;
  }
  const box = by('log');
  if (box.textContent === text) return;
  box.textContent = text || 'Nothing yet.';
  box.scrollTop = box.scrollHeight;
}

function show(i) {
  mesh.nodes[mesh.chosen].group.classList.remove('chosen');
  mesh.chosen = i;
  by('whose').value = i;
  mesh.nodes[i].group.classList.add('chosen');
  showState();
  tellStory();
  tellWhy();
  offerHands();
}

// From a chart or a table: the unit, at that time of the run if one is given.
function lookAt(i, time) {
  mesh.byHand = true;
  if (time !== undefined) { unfollow(); setPlaying(false); goTo(time); }
  hush();
  show(i);
  by('unit').scrollIntoView({block: 'nearest'});
  mesh.nodes[i].group.focus({preventScroll: true});
}

// What a watcher can do to the one that is looked at, as a scenario would have it.
function offerHands() {
  const bar = by('hands');
  bar.textContent = '';
  if (!run.live) return;
  const unit = run.units[mesh.chosen], of = {base: ['window', 'push', 'hold', 'resume', 'freeze', 'thaw', 'kill', 'power-cut', 'power-on'],
    unit: ['power-cut', 'power-on', 'mute', 'unmute', 'kill', 'freeze', 'thaw'], stranger: ['power-on', 'flood 50', 'power-cut']};
  for (const action of of[unit.kind]) html('button', bar, action).addEventListener('click', () => order(`${unit.unit} ${action}`));
  const free = html('input', bar);
  free.type = 'text';
  free.placeholder = 'loss 20%';
  free.setAttribute('aria-label', 'An order in the words of a scenario');
  free.addEventListener('keydown', event => { if (event.key === 'Enter') order(free.value); });
}

async function order(line) {
  by('said').textContent = '';
  try {
    const answer = await fetch('order' + location.search, {method: 'POST', body: line});
    if (!answer.ok) by('said').textContent = `${line}: ${await answer.text()}`;
  } catch { by('said').textContent = 'meshlab does not answer'; }
}
