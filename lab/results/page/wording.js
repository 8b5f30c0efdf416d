// What happened, in words, and what kind of cause it is.
const modeNames = {'-1': 'not running', 0: '0 searching', 1: '1 handshake', 2: '2 temporary router',
  3: '3 temporary satellite', 4: '4 temporary Ethernet satellite', 5: '5 base',
  6: '6 installed satellite'};
const what = {1000: 'asks to join', 1001: "base's key, in clear", 1002: "unit's key, encrypted",
  1003: 'credentials, encrypted', 1004: 'wait up to 15 minutes'};
const seconds = t => t.toFixed(t < 10 ? 2 : 1) + ' s';
const span = t => t >= 120 ? (t / 60).toFixed(1) + ' min' : t.toFixed(0) + ' s';

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
