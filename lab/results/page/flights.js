// Where a lost frame breaks off, and how far one goes that is heard.
function paintFlight(pen, frame, way, color) {
  const from = mesh.nodes[frame.from], to = mesh.nodes[frame.to];
  if (!from || !to) return;
  const gone = frame.lost ? Math.min(way, .55) : way;
  const x = from.x + (to.x - from.x) * gone, y = from.y + (to.y - from.y) * gone;
  pen.fillStyle = pen.strokeStyle = color(frame.lost ? '--bad' : frame.unserved ? '--deaf' : '--m1');
  pen.lineWidth = 2;
  pen.beginPath();
  if (frame.lost && way > .55) {
    pen.moveTo(x - 6, y - 6); pen.lineTo(x + 6, y + 6); pen.moveTo(x + 6, y - 6); pen.lineTo(x - 6, y + 6);
    pen.stroke();
  } else {
    pen.arc(x, y, 8, 0, 7);
    pen.fill();
  }
  pen.fillStyle = color('--ink');
  pen.font = '20px system-ui, sans-serif';
  pen.fillText(frame.op, x + 9, y - 6);
}

// Frames in flight: each takes 0.6 s of the watcher's time from sender to receiver.
function framesInFlight(flight) {
  const found = [];
  let k = run.frames.length - 1;
  while (k >= 0 && run.frames[k].t > mesh.view) --k;
  for (; k >= 0 && run.frames[k].t > mesh.view - flight; --k) found.push(run.frames[k]);
  return found;
}

let flew = false;
function paintFlights() {
  const flight = .6 * Math.max(speed(), .2), frames = framesInFlight(flight);
  if (!frames.length && !flew) return;  // the canvas, which is dear to paint, is empty
  flew = frames.length > 0;
  const canvas = by('flights'), picture = by('picture').firstChild.getBoundingClientRect();
  const scale = picture.width / 1000, dots = devicePixelRatio || 1;
  const size = [picture.width, picture.height].map(length => Math.round(length * dots));
  if (canvas.width !== size[0]) [canvas.width, canvas.height] = size;
  const pen = canvas.getContext('2d'), styles = getComputedStyle(document.documentElement);
  pen.setTransform(dots * scale, 0, 0, dots * scale, 0, 0);
  pen.clearRect(0, 0, 1000, 560);
  for (const frame of frames) paintFlight(pen, frame, (mesh.view - frame.t) / flight, name => styles.getPropertyValue(name));
}
