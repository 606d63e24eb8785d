// Where the picture lies on the canvas. All lengths are device pixels of the canvas; the picture's origin is kept on whole
// ones, so that at 1:1, 1:2, ... a pixel of a frame is a pixel of the screen.
import {store} from './store.js';

export const place = {width: 1, height: 1, zoom: 1, x: 0, y: 0, fitted: true};

const kLeast = 1 / 64, kMost = 16;
const kSteps = [1 / 32, 1 / 16, 1 / 8, 1 / 6, 1 / 4, 1 / 3, 1 / 2, 1, 2, 4, 8, 16];

export function fit() {
  const {width, height} = store.size;
  const zoom = Math.min(1, place.width / width, place.height / height);
  Object.assign(place, {zoom, fitted: true, x: Math.round((place.width - width * zoom) / 2),
    y: Math.round((place.height - height * zoom) / 2)});
}

/** Zooms so that what lies under (x, y) stays there. */
export function zoomTo(zoom, x = place.width / 2, y = place.height / 2) {
  const to = Math.min(kMost, Math.max(kLeast, zoom)), factor = to / place.zoom;
  Object.assign(place, {zoom: to, fitted: false, x: Math.round(x - (x - place.x) * factor),
    y: Math.round(y - (y - place.y) * factor)});
  keepInSight();
}

/** The next step of the zoom that the picture's pixels fit. */
export function stepFrom(zoom, direction) {
  const steps = direction > 0 ? kSteps : [...kSteps].reverse();
  return steps.find((step) => direction > 0 ? step > zoom * 1.001 : step < zoom * 0.999) ?? zoom;
}

export function moveBy(dx, dy) {
  place.x += Math.round(dx);
  place.y += Math.round(dy);
  place.fitted = false;
  keepInSight();
}

function keepInSight() {
  const limit = (at, length, room) =>
    length <= room ? Math.round((room - length) / 2) : Math.min(0, Math.max(room - length, at));
  place.x = limit(place.x, Math.round(store.size.width * place.zoom), place.width);
  place.y = limit(place.y, Math.round(store.size.height * place.zoom), place.height);
}

export function resized(width, height) {
  const dx = (width - place.width) / 2, dy = (height - place.height) / 2;
  Object.assign(place, {width, height});
  if (!store.size)
    return;
  if (place.fitted)
    fit();
  else
    moveBy(dx, dy);
}

/** Pixels of the photograph that a pixel of a frame takes the mean of: the least that gives hardly more pixels than the
    screen has, but none that the screen would enlarge by more than a fifth. */
export function scaleFor(zoom) {
  const reduced = Math.min(64, 1 / zoom), enough = Math.ceil(reduced / 1.14 - 1e-9);
  return Math.max(1, enough > 1.2 * reduced ? enough - 1 : enough);
}

/** The part of the picture, reduced by the scale, that is to be seen. */
export function visible() {
  const scale = scaleFor(place.zoom), unit = scale * place.zoom;
  const within = (at, room, length) => {
    const whole = Math.ceil(length / scale);
    const from = Math.min(whole - 1, Math.max(0, Math.floor(-at / unit)));
    return [from, Math.max(1, Math.min(whole, Math.ceil((room - at) / unit)) - from)];
  };
  const [x, width] = within(place.x, place.width, store.size.width);
  const [y, height] = within(place.y, place.height, store.size.height);
  return {x, y, width, height, scale};
}

/** Where a frame lies on the canvas. */
export function areaOf(head) {
  const unit = head.scale * place.zoom;
  return {x: place.x + head.x * unit, y: place.y + head.y * unit, width: head.width * unit, height: head.height * unit};
}

/** A place on the canvas as shares of the photograph's sides. */
export const shareAt = (x, y) =>
  [(x - place.x) / (place.zoom * store.size.width), (y - place.y) / (place.zoom * store.size.height)];

export const longerSide = () => Math.max(store.size.width, store.size.height) * place.zoom;
