// What a watcher can do to the one that is looked at, as a scenario would have it.
const deeds = {base: ['window', 'window off', 'push', 'hold', 'resume', 'freeze', 'thaw', 'kill', 'power-cut', 'power-on'],
  unit: ['power-cut', 'power-on', 'mute', 'unmute', 'kill', 'freeze', 'thaw'], stranger: ['power-on', 'flood 50', 'power-cut']};

function button(text, ...lines) {
  html('button', by('hands'), text).addEventListener('click', () => lines.flat().forEach(line => order(line)));
}
function field(style, value, label) {
  const made = html('input', by('hands'));
  Object.assign(made, {type: style, value});
  made.setAttribute('aria-label', label);
  return made;
}

function offerHands() {
  by('hands').textContent = '';
  by('said').textContent = '';
  if (!run.live) return;
  const {unit, kind} = run.units[mesh.chosen], bases = run.units.filter(node => node.kind === 'base');
  for (const action of deeds[kind]) button(action, `${unit} ${action}`);
  if (kind === 'unit') for (const base of bases) button(`${base.unit} approve`, `${base.unit} approve ${unit}`);
  const share = field('number', 30, 'Loss in per cent'), lose = html('button', by('hands'), '% loss');
  lose.addEventListener('click', () => { for (const way of ['from', 'to']) order(`loss ${share.value}% ${way} ${unit}`); });
  html('button', by('hands'), 'add a unit').addEventListener('click', () => order(`${nextUnit()} arrive`));
  const free = field('text', '', 'An order in the words of a scenario');
  free.placeholder = 'base nvram KEY=VALUE';
  free.addEventListener('keydown', event => { if (event.key === 'Enter') order(free.value); });
}
const nextUnit = () => 'unit-' + (1 + Math.max(...run.units.map(node => +(/^unit-(\d+)$/.exec(node.unit)?.[1] ?? 0))));

// A scenario has it as it was done here: by-hand.scenario.
async function order(line) {
  const tell = (text, bad) => { by('said').textContent = text; by('said').className = bad ? 'bad' : ''; };
  try {
    const answer = await fetch('order' + location.search, {method: 'POST', body: line});
    tell(answer.ok ? `${line}: done, and written to by-hand.scenario` : `${line}: ${await answer.text()}`, !answer.ok);
  } catch { tell('meshlab does not answer', true); }
}
