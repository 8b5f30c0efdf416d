// Elements, and what is said of them by pointer, touch and keyboard.
const by = id => document.getElementById(id);
const roomIn = (id, least) => Math.max(least, by(id).clientWidth);

function svg(tag, attributes, parent, text) {
  const made = document.createElementNS('http://www.w3.org/2000/svg', tag);
  for (const name in attributes) made.setAttribute(name, attributes[name]);
  if (text !== undefined) made.textContent = text;
  if (parent) parent.appendChild(made);
  return made;
}
function html(tag, parent, text, style) {
  const made = document.createElement(tag);
  if (text !== undefined) made.textContent = text;
  if (style) made.className = style;
  parent.appendChild(made);
  return made;
}

const hints = new WeakMap();
// Says `text()` of the element; `act`, if any, is done by a double click or Enter. By what it is about it
// is known again when it is drawn anew.
function hint(element, about, text, act) {
  element.classList.add('hinted');
  hints.set(element, {about, text, act});
}

function say(element, x, y) {
  const box = by('tip');
  box.textContent = hints.get(element).text();
  box.style.display = 'block';
  box.style.left = Math.max(8, Math.min(x + 14, innerWidth - box.offsetWidth - 8)) + 'px';
  box.style.top = Math.max(8, Math.min(y + 14, innerHeight - box.offsetHeight - 8)) + 'px';
}
function hush() {
  by('tip').style.display = 'none';
  document.querySelectorAll('.seen').forEach(element => element.classList.remove('seen'));
}

function sayOf(element, chart) {
  const box = element.getBoundingClientRect();
  element.classList.add('seen');
  say(element, box.left + Math.min(box.width / 2, 80), Math.min(box.bottom, chart.getBoundingClientRect().bottom) - 6);
}

// The arrow keys go from one hint of the chart to the next, Enter acts, Escape ends.
function moveHint(chart, event) {
  const way = {ArrowRight: 1, ArrowDown: 1, ArrowLeft: -1, ArrowUp: -1}[event.key];
  const all = [...chart.querySelectorAll('.hinted')], at = all.findIndex(one => one.classList.contains('seen'));
  if (event.key === 'Escape') hush();
  if (event.key === 'Enter' && at >= 0) hints.get(all[at]).act?.();
  if (!way || !all.length) return;
  event.preventDefault();
  hush();
  const next = all[Math.max(0, Math.min(all.length - 1, at < 0 && way < 0 ? all.length - 1 : at + way))];
  next.scrollIntoView({block: 'nearest', inline: 'nearest'});
  sayOf(next, chart);
}

function hearPointer(chart) {
  const target = event => event.target.closest('.hinted');
  const point = event => { const one = target(event); if (one) say(one, event.clientX, event.clientY); else hush(); };
  chart.addEventListener('pointermove', event => { if (event.pointerType !== 'touch') point(event); });
  chart.addEventListener('pointerleave', event => { if (event.pointerType !== 'touch') hush(); });
  chart.addEventListener('click', point);
  chart.addEventListener('dblclick', event => { const one = target(event); if (one) hints.get(one).act?.(); });
}

function hearHints(id, name) {
  const chart = by(id);
  chart.tabIndex = 0;
  chart.setAttribute('role', 'group');
  chart.setAttribute('aria-label', `${name}: the arrow keys go from one to the next`);
  hearPointer(chart);
  chart.addEventListener('keydown', event => moveHint(chart, event));
  chart.addEventListener('blur', hush);
}
// What a touch has brought goes with the next touch elsewhere.
document.addEventListener('pointerdown', event => { if (!event.target.closest('.hinted')) hush(); });

// Draws it anew and leaves the watcher where he was: how far it is scrolled, which of its buttons has
// the focus, which hint is told; though what is drawn may stand elsewhere now.
function redraw(id, draw) {
  const box = by(id), {scrollLeft, scrollTop} = box;
  const focus = box.querySelector('button:focus')?.textContent, seen = hints.get(box.querySelector('.seen'))?.about;
  box.style.minHeight = box.offsetHeight + 'px';
  draw(box);
  box.style.minHeight = '';
  Object.assign(box, {scrollLeft, scrollTop});
  const again = (what, is) => [...box.querySelectorAll(what)].find(is);
  if (focus) again('button', one => one.textContent === focus)?.focus({preventScroll: true});
  if (seen === undefined) return;
  const told = again('.hinted', one => hints.get(one).about === seen);
  if (told) sayOf(told, box); else hush();
}
