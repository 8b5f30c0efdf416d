// Each unit's attempts to come in: from its handshake's beginning to the reason of its end, read off
// what is told. The end of one is an entry of its story like any other.
const newCounts = () => ({sent: {}, lost: {}, answers: {}, answersLost: {}, deaf: {}, heard: 0});
const newWay = () => ({attempt: 0, open: false, stored: false, gaveUp: 0, ends: [], ...newCounts()});
const ways = run.units.map(newWay);
const times = count => count === 1 ? 'once' : count + ' times';

function follow(entry) {
  const mine = ways[number[entry.unit]];
  if (entry.what === 'frame') {
    count(mine, 'sent', 'lost', entry);
    count(ways[number[entry.to]], 'answers', 'answersLost', entry);
  }
  if (entry.what === 'heard') mine.heard = entry.operation;
  if (entry.what === 'unserved') {
    const way = ways[number[entry.from]];
    way.deaf[entry.text] = (way.deaf[entry.text] ?? 0) + 1;
  }
  if (run.units[number[entry.unit]]?.kind !== 'unit') return;
  if (entry.what === 'mode') followMode(mine, entry);
  if (entry.what === 'power' && !/on/.test(entry.text)) end(mine, entry, `it lost its power, ${stage(mine)}`, true);
  if (entry.what === 'daemon' && /ended/.test(entry.text) && !mine.stored) {
    end(mine, entry, `${entry.text}, ${stage(mine)}`, true);
  }
}

function count(way, all, lost, entry) {
  if (!way) return;
  way[all][entry.operation] = (way[all][entry.operation] ?? 0) + 1;
  if (entry.missed) way[lost][entry.operation] = (way[lost][entry.operation] ?? 0) + 1;
}

function followMode(way, entry) {
  const {mode, before} = entry;
  if (mode === 1) {
    if (!way.open) Object.assign(way, newCounts(), {open: true, stored: false, attempt: way.attempt + 1});
  } else if (mode === 0 && before === 1) {
    way.gaveUp += 1;
    end(way, entry, `it gave up, ${whyGivenUp(way)}`, true);
  } else if (mode === 0 && before > 1) {
    end(way, entry, 'its backhaul did not come up, and it searches again', true);
  } else if (mode === 3) {
    way.stored = true;
  } else if (mode === 6) {
    end(way, entry, 'it is installed');
  } else if (mode > 1) {
    end(way, entry, `it became: ${modeNames[mode]}`);
  }
}

function end(way, {t, unit}, reason, bad) {
  if (!way.open) return;
  way.open = false;
  way.ends.push(reason);
  take({t, unit, what: 'attempt', text: `attempt ${way.attempt} ends: ${reason}`, bad: !!bad});
}

const awaited = way => way.stored ? 0 : way.heard === 1004 ? 1003 : way.sent[1002] ? 1004 : 1001;
function stage(way) {
  return way.stored ? 'with its credentials stored' : `while it waited for ${awaited(way)}`;
}

// What stood in the way, as far as the air and the base's daemon show it.
function whyGivenUp(way) {
  const answer = awaited(way), request = {1001: 1000, 1004: 1002}[answer];
  const parts = [];
  if (request) {
    const sent = way.sent[request] ?? 0, lost = way.lost[request] ?? 0;
    parts.push(`sent ${request} ${times(sent)}`);
    if (lost) parts.push(`${lost} of them lost`);
    for (const [why, often] of Object.entries(way.deaf)) parts.push(`${often} not served: ${why}`);
  }
  const came = way.answers[answer] ?? 0, lost = way.answersLost[answer] ?? 0;
  parts.push(came === 0 ? `${answer} was never sent` : lost === came
    ? `${answer} was sent ${times(came)} and lost` : `${answer} was sent ${times(came)}, ${lost} lost`);
  return `no ${answer} came: ${parts.join(', ')}`;
}

// At the run's end: whose attempt has not ended, and where it stands.
function endOfRun() {
  run.units.forEach((unit, i) => {
    const way = ways[i];
    if (unit.kind !== 'unit' || !way.open) return;
    way.open = false;
    way.ends.push(`${run.interrupted ? 'the run was interrupted' : 'the run was over'} ${stage(way)}`);
    take({t: run.seconds, unit: unit.unit, what: 'attempt', bad: true,
      text: `attempt ${way.attempt} has not ended: ${way.ends[way.attempt - 1]}`});
  });
}

// The worst first: who is not in, then who gave up most, then who took longest.
function badness(i) {
  const unit = run.units[i];
  if (unit.kind !== 'unit') return unit.mode === 5 ? -1 : 1e12;
  return (unit.mode === 6 ? 0 : 1e9) + ways[i].gaveUp * 1e6 + (unit.installed ?? 0);
}
const worstFirst = () => run.units.map((unit, i) => i).filter(i => !isStranger(i)).sort((a, b) => badness(b) - badness(a));

// How each attempt ended; those that ended alike together.
function endings(i) {
  const way = ways[i], groups = new Map();
  way.ends.forEach((reason, k) => groups.set(reason, [...groups.get(reason) ?? [], k + 1]));
  const told = [...groups].map(([reason, which]) => way.attempt > 1 ? `${which.join(', ')}: ${reason}` : reason);
  return told.join('; ') + (way.open ? `${told.length ? '; ' : ''}goes on, ${stage(way)}` : '');
}
