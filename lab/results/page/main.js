// Time goes on, is stopped and moved; what is told is taken and drawn.
let figuresDue = false;
const speed = () => mesh.following ? mesh.clock?.rate ?? 1 : +by('speed').value;
function goTo(time) {
  const to = Math.max(0, Math.min(time, run.seconds));
  if (to < mesh.view) forget();
  if (to !== mesh.view) mesh.moved = true;
  mesh.view = to;
  while (mesh.at < run.entries.length && run.entries[mesh.at].t <= mesh.view) apply(run.entries[mesh.at++]);
}
function unfollow() { mesh.following = false; by('live').setAttribute('aria-pressed', 'false'); }
function setPlaying(on) {
  mesh.playing = on;
  by('play').textContent = on ? 'Pause' : 'Play';
  paintFigures();
}
function stepBy(way) {
  unfollow(); setPlaying(false);
  const times = run.entries.filter(e => e.what !== 'nvram').map(e => e.t);
  const next = way > 0 ? times.find(t => t > mesh.view) : times.filter(t => t < mesh.view).pop();
  goTo(next ?? (way > 0 ? run.seconds : 0));
}

// Nothing is painted where nothing has moved; figures that nobody can read so fast, now and then.
let shownTime = '';
function paintTime() {
  const now = `${mesh.view} ${run.seconds} ${speed()} ${innerWidth}`;
  if (now !== shownTime) paintFlights();
  figuresDue ||= now !== shownTime;
  shownTime = now;
  if (figuresDue && mesh.frames % 6 === 0) paintFigures();
}
function paintFigures() {
  figuresDue = false;
  if (+by('slider').max !== run.seconds) by('slider').max = run.seconds;
  by('slider').value = mesh.view;
  by('now').textContent = `${mesh.view.toFixed(2)} of ${run.seconds.toFixed(0)} s`;
}

let shownEntries = -1, lastFrame = 0;
function frame(now) {
  const passed = Math.min(.2, (now - lastFrame) / 1000);
  lastFrame = now;
  if (mesh.following && mesh.clock) {
    goTo(Math.max(mesh.view, mesh.clock.t + (now - mesh.clock.seen) / 1000 * mesh.clock.rate - .5 * mesh.clock.rate));
  } else if (mesh.playing) {
    goTo(mesh.view + passed * speed());
    if (mesh.view >= run.seconds && !run.live) setPlaying(false);
  }
  mesh.frames = (mesh.frames ?? 0) + 1;
  paintNodes();
  paintTime();
  if (mesh.frames % 15 === 0) everyQuarter();
  if (shownEntries !== mesh.at) { shownEntries = mesh.at; tellStory(); }
  requestAnimationFrame(frame);
}

// What is drawn anew takes a tenth of the time at most, however much there is.
const seldom = draw => {
  let next = 0;
  return () => {
    const begun = performance.now();
    if (begun < next) return false;
    draw();
    next = begun + 11 * (performance.now() - begun);
    return true;
  };
};

const followMoment = seldom(() => {
  showMoment();
  if (by('near').value > 1) drawChosen();
});
function everyQuarter() {
  tellLog();
  if (mesh.moved) mesh.moved = !followMoment();
}

function drawCharts() {
  drawModes();
  drawChosen();
  drawKinds();
}
function drawAll() {
  fillHead();
  drawTable();
  drawCharts();
  listVerdicts();
}

// The whole run is there: the worst is looked at unless the watcher has chosen.
function settle() {
  unfollow();
  setPlaying(false);
  endOfRun();
  goTo(run.seconds);
  drawAll();
  show(mesh.byHand ? mesh.chosen : worstFirst()[0]);
}

// Nobody tells anything any more, and nobody has said how the run ended.
function loseTouch() {
  mesh.clock = null;
  by('title').textContent = `Scenario ${run.name}: meshlab does not answer, what is here goes to ${seconds(run.seconds)}`;
}

function watch() {
  const stream = new EventSource('stream' + location.search);
  let late = 0;
  const drawSeldom = seldom(() => { drawTable(); drawCharts(); });
  const drawLate = () => { late = drawSeldom() ? 0 : setTimeout(drawLate, 1000); };
  stream.onerror = loseTouch;
  stream.onmessage = event => {
    const entry = JSON.parse(event.data);
    if (entry.what === 'now') {
      mesh.clock = {t: entry.t, rate: entry.rate, seen: performance.now()};
      run.seconds = Math.max(run.seconds, entry.t);
      fillHead();
    } else if (entry.what === 'result') {
      Object.assign(run, entry, {live: false});
      stream.close();
      clearTimeout(late);
      settle();
    } else {
      take(entry);
      if (!late) late = setTimeout(drawLate, 1000);
    }
  };
}

function wire() {
  by('live').addEventListener('click', () => {
    mesh.following = !!run.live;
    by('live').setAttribute('aria-pressed', String(mesh.following));
    setPlaying(true);
    if (!run.live) goTo(run.seconds);
  });
  by('play').addEventListener('click', () => {
    unfollow();
    if (!mesh.playing && mesh.view >= run.seconds) goTo(0);
    setPlaying(!mesh.playing);
  });
  by('back').addEventListener('click', () => stepBy(-1));
  by('forth').addEventListener('click', () => stepBy(1));
  by('slider').addEventListener('input', () => { unfollow(); goTo(+by('slider').value); });
  by('reasons').addEventListener('toggle', tellWhy);
  by('logs').addEventListener('toggle', tellLog);
  by('zoom').addEventListener('change', zoomModes);
  by('search').addEventListener('input', () => { table.search = by('search').value.toLowerCase(); drawTable(); drawModes(); });
  const repaint = () => { shownTime = ''; drawCharts(); };
  addEventListener('resize', repaint);
  matchMedia('(prefers-color-scheme: dark)').addEventListener('change', repaint);
  hearHints('story', 'What happened to it');
  hearHints('modes', 'Modes and causes');
  hearHints('sequence', 'Frames');
}

(run.timeline ?? []).forEach(take);
drawMesh();
fillSelect();
wire();
if (run.live) {
  drawAll();
  show(0);
  watch();
} else {
  settle();
}
requestAnimationFrame(frame);
