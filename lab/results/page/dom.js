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
// Says `text()` of the element; `act`, if any, is done by a double click or Enter.
function hint(element, text, act) {
  element.classList.add('hinted');
  hints.set(element, {text, act});
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
  next.classList.add('seen');
  next.scrollIntoView({block: 'nearest', inline: 'nearest'});
  const box = next.getBoundingClientRect();
  say(next, box.left + Math.min(box.width / 2, 80), box.bottom - 6);
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
// the focus, which hint is told.
function redraw(id, draw) {
  const box = by(id), {scrollLeft, scrollTop} = box, told = '.hinted', buttons = 'button';
  const at = (what, is) => [...box.querySelectorAll(what)].findIndex(is);
  const focus = at(buttons, one => one === document.activeElement), seen = at(told, one => one.classList.contains('seen'));
  const height = box.offsetHeight;
  box.style.minHeight = height + 'px';
  draw(box);
  box.style.minHeight = '';
  Object.assign(box, {scrollLeft, scrollTop});
  if (focus >= 0) box.querySelectorAll(buttons)[focus]?.focus({preventScroll: true});
  if (seen >= 0) box.querySelectorAll(told)[seen]?.classList.add('seen');
}
