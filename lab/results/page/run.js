'use strict';
// The run as it is told, from the file or the stream: the same for both.
const run = JSON.parse(document.getElementById('data').textContent);
Object.assign(run, {frames: [], modes: [], entries: [], causes: []});
run.kinds ??= [];
run.expectations ??= [];
const number = Object.fromEntries(run.units.map((node, i) => [node.unit, i]));
const isStranger = i => i >= 0 && run.units[i].kind === 'stranger';

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
