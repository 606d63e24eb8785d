// Tools that work on the picture: the brush, and the handles of gradients. Which one it is the mask's part decides.
import {edit, flush} from './edits.js';
import {longerSide, place, shareAt} from './geometry.js';
import {askView} from './picture.js';
import {currentComponent, emit, kindOf, on, store} from './store.js';

const canvas = document.getElementById('photograph'), stage = document.getElementById('stage');
const cursor = document.getElementById('cursor');

/** How the next stroke is painted; members of the recipe's strokes. */
export const brush = {diameter: 0.05, hardness: 0.4, opacity: 1, edge: 0, erase: false};

/** While something is drawn its mask is to be seen. */
function show(mask) {
  if (store.showMask === mask)
    return;
  store.showMask = mask;
  askView();
  emit('mask');
}

const kNear = 0.08; // points of a stroke are at least that part of its diameter apart
let shownBefore = false;

const painter = {
  begin(at, time) {
    shownBefore = store.showMask;
    show(true);
    edit(() => currentComponent().brush.strokes.push({points: [at], ...brush}), {at: time});
  },
  add(at) {
    const points = currentComponent().brush.strokes.at(-1).points, last = points.at(-1);
    const {width, height} = store.size, longer = Math.max(width, height);
    if (Math.hypot((at[0] - last[0]) * width, (at[1] - last[1]) * height) >= kNear * brush.diameter * longer)
      points.push(at);
  },
  send: (time) => edit(() => {}, {at: time}),
  end(time) {
    flush(time);
    show(shownBefore);
  },
  cancel() {
    edit(() => currentComponent().brush.strokes.pop(), {rest: true});
    show(shownBefore);
  },
  hover: (event) => moveCursor(event.offsetX, event.offsetY),
  out: () => { cursor.hidden = true; },
};

/** A gradient is drawn from where the pointer went down to where it is. */
function placer(put) {
  let from = null, before = null;
  return {
    begin(at) {
      from = at;
      before = structuredClone(currentComponent());
      shownBefore = store.showMask;
      show(true);
    },
    add(at) { put(currentComponent(), from, at); },
    send: (time) => edit(() => {}, {at: time}),
    end(time) {
      flush(time);
      show(shownBefore);
      emit('recipe');
    },
    cancel() {
      edit(() => Object.assign(currentComponent(), before), {rest: true});
      show(shownBefore);
    },
  };
}

function putRadial(component, from, to) {
  const {width, height} = store.size, longer = Math.max(width, height);
  const radius = (share, side) => Math.min(4, Math.max(0.001, Math.abs(share) * side / longer));
  component.radial.center = from;
  component.radial.radiusX = radius(to[0] - from[0], width);
  component.radial.radiusY = radius(to[1] - from[1], height);
}

const tools = {
  brush: painter,
  linear: placer((component, from, to) => Object.assign(component.linear, {from, to})),
  radial: placer(putRadial),
};

/** The tool at hand; undefined while the picture itself is. */
export const tool = () => tools[kindOf(currentComponent())];

const middle = {x: 0, y: 0}; // of the cursor, in CSS pixels of the canvas

function moveCursor(x, y) {
  Object.assign(middle, {x, y});
  const size = brush.diameter * longerSide() * canvas.clientWidth / place.width;
  Object.assign(cursor.style, {width: `${size}px`, height: `${size}px`,
    transform: `translate(${x - size / 2}px, ${y - size / 2}px)`});
  cursor.hidden = tool() !== painter;
}

export function resizeBrush(factor) {
  brush.diameter = Math.min(2, Math.max(0.002, brush.diameter * factor));
  moveCursor(middle.x, middle.y);
  emit('brush');
}

/** The keyboard's brush: arrow keys move it, space paints where it is. @return whether the key was one of them. */
export function brushKey(event) {
  if (tool() !== painter || !store.size)
    return false;
  const step = (event.shiftKey ? 0.5 : 0.1) * brush.diameter * longerSide() * canvas.clientWidth / place.width;
  const [dx, dy] = {ArrowLeft: [-1, 0], ArrowRight: [1, 0], ArrowUp: [0, -1], ArrowDown: [0, 1]}[event.key] ?? [0, 0];
  if (!dx && !dy && event.key !== ' ')
    return false;
  if (cursor.hidden)
    moveCursor(canvas.clientWidth / 2, canvas.clientHeight / 2);
  moveCursor(middle.x + dx * step, middle.y + dy * step);
  if (event.key === ' ') {
    const ratio = place.width / canvas.clientWidth;
    painter.begin(shareAt(middle.x * ratio, middle.y * ratio), event.timeStamp);
    painter.end(event.timeStamp);
  }
  return true;
}

function dress() {
  stage.classList.toggle('painting', tool() === painter);
  stage.classList.toggle('placing', Boolean(tool()) && tool() !== painter);
  cursor.hidden = true;
}
on('target', dress);
on('recipe', dress);
on('photo', dress);
