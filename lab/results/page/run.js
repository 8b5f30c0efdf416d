'use strict';
// The run as it is told, from the file or the stream: the same for both.
const run = JSON.parse(document.getElementById('data').textContent);
Object.assign(run, {frames: [], modes: [], entries: [], causes: []});
run.kinds ??= [];
run.expectations ??= [];
const number = Object.fromEntries(run.units.map((node, i) => [node.unit, i]));
const modeNames = {'-1': 'not running', 0: '0 searching', 1: '1 handshake', 2: '2 temporary router',
  3: '3 temporary satellite', 4: '4 temporary Ethernet satellite', 5: '5 base',
  6: '6 installed satellite'};
const what = {1000: 'asks to join', 1001: "base's key, in clear", 1002: "unit's key, encrypted",
  1003: 'credentials, encrypted', 1004: 'wait up to 15 minutes'};
const isStranger = i => i >= 0 && run.units[i].kind === 'stranger';
const seconds = t => t.toFixed(t < 10 ? 2 : 1) + ' s';
const span = t => t >= 120 ? (t / 60).toFixed(1) + ' min' : t.toFixed(0) + ' s';

const frameOf = new Map(), logs = run.units.map(() => []);
// Who is not there from the beginning.
const newcomers = new Set();

// A unit more: told by the stream, and already among the units of a file.
function welcome({unit, station}) {
  newcomers.add(unit);
  if (unit in number) return;
  number[unit] = run.units.length;
  run.units.push({unit, station, kind: 'unit', outcome: '', mode: -1, frames: 0, resent: 0, peak_kib: 0});
  logs.push([]);
  ways.push(newWay());
  addNode(number[unit]);
  offerFrames(number[unit], unit);
}

// What the file of a run knows at its end is counted as it comes.
function tally(entry) {
  const unit = run.units[number[entry.unit]];
  if (entry.what === 'frame') { unit.frames += 1; unit.resent += entry.resent ? 1 : 0; }
  if (entry.what === 'power' && /on/.test(entry.text)) unit.powered ??= entry.t;
  if (entry.what === 'mode') unit.mode = entry.mode;
  if (entry.what === 'mode' && entry.mode === 6) unit.installed ??= entry.t - unit.powered;
  if (entry.key === 'wl1_wpa_psk' && entry.value && unit.kind === 'unit') unit.credentials ??= entry.t - unit.powered;
}

function take(entry) {
  if (entry.what === 'arrived') welcome(entry);
  if (entry.what === 'log') { logs[number[entry.unit]].push(entry); return; }
  run.entries.push(entry);
  run.seconds = Math.max(run.seconds, entry.t);
  const node = number[entry.unit] ?? -1;
  if (entry.what === 'mode') {
    run.modes.push({t: entry.t, node, mode: entry.mode});
  }
  if (entry.what === 'frame') {
    run.frames.push({t: entry.t, from: node, to: number[entry.to] ?? -1, op: entry.operation,
      resent: !!entry.resent, lost: !!entry.missed, note: entry.note, body: entry.body});
    frameOf.set(entry.frame, run.frames[run.frames.length - 1]);
  }
  if (run.live) tally(entry);
  if (entry.what === 'unserved' && frameOf.has(entry.frame)) frameOf.get(entry.frame).unserved = entry.text;
  const kind = kindOfCause(entry);
  if (kind) run.causes.push({t: entry.t, node, kind, text: words(entry), bad: isBad(entry)});
  follow(entry);
}

// What a scenario or a hand does, in a sentence, and the kind of cause that it is.
const acts = {
  freeze: ['daemon', 'its daemon is frozen', true], thaw: ['daemon', 'its daemon thaws'],
  kill: ['daemon', 'its daemon is killed', true], mute: ['air', 'its radio falls mute', true],
  unmute: ['air', 'its radio is heard again'], loss: ['air', 'the air loses', true],
  signal: ['owner', 'its daemon gets a signal:'], window: ['owner', 'its owner is told about the window'],
  push: ['owner', 'its owner is told to push'], approve: ['owner', 'its owner approves'], hold: ['owner', 'its owner pushes no more by itself'],
  resume: ['owner', 'its owner pushes by itself again'], nvram: ['owner', 'a setting is changed:'],
  flood: ['air', 'it floods the air, frames a second:', true],
};
const kinds = {power: 'power', daemon: 'daemon', owner: 'owner, platform, scenario', air: 'air',
  end: 'an attempt ends without credentials', fault: 'fault'};
const actOf = text => acts[text.split(' ')[0]];

function kindOfCause(entry) {
  const fixed = {power: 'power', arrived: 'power', daemon: 'daemon', platform: 'owner', fault: 'fault'}[entry.what];
  if (entry.what === 'scenario') return actOf(entry.text)?.[0] ?? 'owner';
  return entry.what === 'attempt' && entry.bad ? 'end' : fixed;
}

function isBad(entry) {
  if (entry.what === 'scenario') return !!actOf(entry.text)?.[2];
  if (/table is full/.test(entry.text ?? '')) return true;
  return entry.what === 'fault' || !!entry.bad || /^loses power|ended \(signal/.test(entry.text ?? '');
}

function frameWords(entry) {
  return `sends ${entry.operation} (${what[entry.operation] ?? 'unknown'}) to ${entry.to}` +
    (entry.resent ? ', again' : '') + (entry.missed ? ', lost' : '');
}

function words(entry) {
  const short = text => text.length > 60 ? text.slice(0, 60) + '…' : text;
  switch (entry.what) {
    case 'frame': return frameWords(entry);
    case 'heard': return `is told of ${entry.operation} from ${entry.from}`;
    case 'unserved': return `does not serve ${entry.operation} of ${entry.from}: ${entry.text}`;
    case 'mode': return `is now: ${modeNames[entry.mode]}`;
    case 'command': return `runs ${short(entry.text)}${entry.status ? ', status ' + entry.status : ''}`;
    case 'nvram': return entry.text === 'removed' ? `${entry.key} is removed` : `${entry.key} becomes ${entry.value}`;
    case 'scenario': {
      const act = actOf(entry.text), more = entry.text.split(' ').slice(1).join(' ');
      return `${act ? act[1] + (more ? ' ' + more : '') : entry.text} (scenario, or by hand)`;
    }
    default: return entry.text;
  }
}
