// The canvas: frames in, pixels out; and which view the server is asked for.
import {causeOf, sendNumbered} from './link.js';
import {areaOf, fit, place, resized, visible} from './geometry.js';
import {emit, on, store} from './store.js';

const canvas = document.getElementById('photograph');
const context = canvas.getContext('2d', {alpha: false});
const kGround = '#2e2e2e', kRestAfter = 150;

export const look = {wipe: null, clipping: false}; // wipe: share of the canvas's width, or null

let shown = null;  // {head, pixels: VideoFrame, or ImageData with a canvas that holds it once it is scaled}
let before = null;
let asked = '', timer = 0;

/** The photograph without settings belongs to the left of the divider. */
function paint() {
  context.fillStyle = kGround;
  context.fillRect(0, 0, place.width, place.height);
  if (!shown)
    return;
  put(shown, 0, place.width);
  if (look.wipe !== null && before)
    put(before, 0, Math.round(look.wipe * place.width));
}

/** Draws a frame between two columns of the canvas. */
function put(frame, left, right) {
  const area = areaOf(frame.head), {width, height} = frame.head;
  const exact = frame.pixels instanceof ImageData && area.width === width && area.height === height;
  if (exact) {
    const x = Math.max(left, area.x), end = Math.min(right, area.x + width);
    if (end > x)
      context.putImageData(frame.pixels, area.x, area.y, x - area.x, 0, end - x, height);
    return;
  }
  context.save();
  context.beginPath();
  context.rect(left, 0, right - left, place.height);
  context.clip();
  context.imageSmoothingEnabled = area.width < 3 * width;
  context.imageSmoothingQuality = frame.pixels instanceof ImageData && area.width < width ? 'high' : 'low';
  context.drawImage(drawable(frame), 0, 0, width, height, area.x, area.y, area.width, area.height);
  context.restore();
}

function drawable(frame) {
  if (!(frame.pixels instanceof ImageData))
    return frame.pixels;
  if (!frame.copy) {
    frame.copy = new OffscreenCanvas(frame.head.width, frame.head.height);
    frame.copy.getContext('2d').putImageData(frame.pixels, 0, 0);
  }
  return frame.copy;
}

function pixelsOf({head, pixels}) {
  if (head.format === 'RGBA')
    return new ImageData(pixels, head.width, head.height);
  return new VideoFrame(pixels, {format: 'I420', codedWidth: head.width + head.width % 2,
    codedHeight: head.height + head.height % 2, timestamp: 0,
    colorSpace: {primaries: 'bt709', transfer: 'iec61966-2-1', matrix: 'smpte170m', fullRange: true}});
}

function drop(frame) {
  if (frame?.pixels.close)
    frame.pixels.close();
}

on('frame', (message) => {
  const head = message.head, frame = {head, pixels: pixelsOf(message)};
  head.decoded = performance.now();
  if (head.kind === 'before') {
    drop(before);
    before = frame;
  } else {
    drop(shown);
    shown = frame;
  }
  paint();
  head.painted = performance.now();
  told(head);
});

/** For the page's own displays, and for whoever measures: attributes of the canvas, and an event. */
function told(head) {
  head.cause = causeOf(head);
  if (head.kind !== 'before') {
    Object.assign(canvas.dataset, {kind: head.kind, seq: head.seq,
      view: [head.x, head.y, head.width, head.height, head.scale].join(' ')});
    emit('shown', head);
  } else {
    canvas.dataset.before = head.seq;
  }
  canvas.dispatchEvent(new CustomEvent('painted', {detail: head}));
}

/** Whether a view was asked for that will not stay. */
export const isMoving = () => timer !== 0;

/** Asks for the view as it is now. `rest`: it will stay; else it is asked for again when nothing moved for a moment. */
export function askView(rest = true, at) {
  if (!store.size)
    return;
  clearTimeout(timer);
  timer = 0;
  const mask = store.showMask ? store.target : -1;
  const view = {type: 'view', ...visible(), before: look.wipe !== null, clipping: look.clipping, mask};
  const key = JSON.stringify(view) + rest;
  if (key !== asked)
    sendNumbered({...view, rest}, at);
  asked = key;
  if (!rest)
    timer = setTimeout(askView, kRestAfter);
}

/** After a change of place, zoom or divider: the old frame is drawn there at once, a new one is asked for. */
export function moved({rest = false, at} = {}) {
  paint();
  askView(rest, at);
  emit('moved');
}

function measure() {
  const width = Math.max(1, Math.round(canvas.clientWidth * devicePixelRatio));
  const height = Math.max(1, Math.round(canvas.clientHeight * devicePixelRatio));
  if (width === place.width && height === place.height)
    return;
  canvas.width = width;
  canvas.height = height;
  resized(width, height);
  if (store.size)
    moved();
}

new ResizeObserver(measure).observe(canvas);

on('photo', () => {
  drop(shown);
  drop(before);
  shown = before = null;
  asked = '';
  for (const name of ['kind', 'seq', 'view', 'before'])
    delete canvas.dataset[name];
  paint();
});
on('server:opened', (message) => {
  if (message.photo !== store.photo)
    return;
  const again = store.size?.width === message.width && store.size?.height === message.height;
  store.size = {width: message.width, height: message.height};
  asked = '';
  measure();
  if (!again)
    fit();
  moved({rest: true});
});
on('target', () => askView());
