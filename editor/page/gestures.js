// Hands on the picture: wheel, pinch, drag, double click. What a tool of the mask wants for itself it takes first.
import {fit, moveBy, place, shareAt, zoomTo} from './geometry.js';
import {look, moved} from './picture.js';
import {tool} from './tools.js';
import {store} from './store.js';

const canvas = document.getElementById('photograph'), divider = document.getElementById('divider');
const pointers = new Map();
let painting = false;

/** An event's place on the canvas, in device pixels. */
function placeOf(event) {
  const box = canvas.getBoundingClientRect(), ratio = place.width / box.width;
  return [(event.clientX - box.left) * ratio, (event.clientY - box.top) * ratio];
}

canvas.addEventListener('wheel', (event) => {
  event.preventDefault();
  if (!store.size)
    return;
  const lines = event.deltaMode === 1 ? 30 : 1;
  zoomTo(place.zoom * Math.exp(-event.deltaY * lines * 0.0016), ...placeOf(event));
  moved({at: event.timeStamp});
}, {passive: false});

canvas.addEventListener('pointerdown', (event) => {
  if (!store.size || event.button > 1)
    return;
  canvas.setPointerCapture(event.pointerId);
  pointers.set(event.pointerId, placeOf(event));
  if (pointers.size === 2 && painting) {
    tool().cancel();
    painting = false;
  } else if (pointers.size === 1 && event.button === 0 && !event.shiftKey && tool()) {
    painting = true;
    tool().begin(shareAt(...placeOf(event)), event.timeStamp);
  }
});

canvas.addEventListener('pointermove', (event) => {
  if (store.size && tool()?.hover)
    tool().hover(event);
  const from = pointers.get(event.pointerId), to = placeOf(event);
  if (!from)
    return;
  if (painting) {
    for (const one of event.getCoalescedEvents?.() ?? [event])
      tool()?.add(shareAt(...placeOf(one)));
    tool()?.send(event.timeStamp);
  } else {
    drag(event.pointerId, from, to);
    moved({at: event.timeStamp});
  }
  pointers.set(event.pointerId, to);
});

/** One pointer moves the picture, two zoom it as well. */
function drag(id, from, to) {
  const share = 1 / pointers.size;
  moveBy((to[0] - from[0]) * share, (to[1] - from[1]) * share);
  if (pointers.size !== 2)
    return;
  const [, other] = [...pointers].find(([key]) => key !== id);
  const apart = (a) => Math.hypot(a[0] - other[0], a[1] - other[1]);
  zoomTo(place.zoom * apart(to) / Math.max(1, apart(from)), (to[0] + other[0]) / 2, (to[1] + other[1]) / 2);
}

function lifted(event) {
  if (!pointers.delete(event.pointerId))
    return;
  if (painting)
    tool()?.end(event.timeStamp);
  else
    moved({rest: pointers.size === 0});
  painting = false;
}
canvas.addEventListener('pointerup', lifted);
canvas.addEventListener('pointercancel', lifted);
canvas.addEventListener('pointerleave', () => tool()?.out?.());

canvas.addEventListener('dblclick', (event) => {
  if (!store.size || tool())
    return;
  if (Math.abs(place.zoom - 1) < 1e-6)
    fit();
  else
    zoomTo(1, ...placeOf(event));
  moved({rest: true});
});

/** The divider of before and after. */
export function divideAt(share) {
  look.wipe = Math.min(1, Math.max(0, share));
  divider.style.left = `${look.wipe * 100}%`;
  divider.ariaValueNow = Math.round(look.wipe * 100);
  moved({rest: true});
}
divider.addEventListener('pointerdown', (event) => divider.setPointerCapture(event.pointerId));
divider.addEventListener('pointermove', (event) => {
  if (divider.hasPointerCapture(event.pointerId))
    divideAt(placeOf(event)[0] / place.width);
});
divider.addEventListener('keydown', (event) => {
  const step = {ArrowLeft: -0.02, ArrowRight: 0.02, Home: -1, End: 1}[event.key];
  if (step)
    divideAt(look.wipe + step);
  if (step)
    event.preventDefault();
});
