// The one that is looked at: what it is, what happened to it, and what can be done to it.
function showState() {
  const channel = channelOf(mesh.chosen);
  by('state').textContent = stateOf(mesh.chosen);
  by('channel').textContent = channel && `channel ${channel}`;
}

const isAbout = (entry, name) => entry.unit === name || entry.what === 'unserved' && entry.from === name;
function tellStory() {
  redraw('story', fillStory);
  tellSettings();
  tellLog();
}
function fillStory(list) {
  const name = run.units[mesh.chosen].unit, lines = [];
  for (let k = mesh.at - 1; k >= 0 && lines.length < 120; --k) {
    if (isAbout(run.entries[k], name)) lines.push(run.entries[k]);
  }
  list.textContent = '';
  for (const entry of lines) {
    const item = html('li', list);
    html('time', item, entry.t.toFixed(3));
    item.append((entry.unit === name ? '' : entry.unit + ': ') + words(entry));
    item.className = (entry.what === 'attempt' ? 'end ' : '') + (isBad(entry) ? 'bad' : entry.what === 'unserved' ? 'deaf' : '');
    if (entry.note) hint(item, entry, () => `${entry.note}\n${decoded(entry.body)}`);
  }
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
  const before = mesh.nodes[mesh.chosen].group, now = mesh.nodes[i].group;
  before.classList.remove('chosen');
  before.setAttribute('tabindex', -1);
  mesh.chosen = i;
  by('whose').value = i;
  now.classList.add('chosen');
  now.setAttribute('tabindex', 0);
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
