// The page: what the bar's buttons and the keyboard do, and what the server says of the whole.
import './controls.js';
import './histogram.js';
import './presets.js';
import {openCopy, openExport} from './dialogs.js';
import {openPhoto, redo, undo} from './edits.js';
import {fit, moveBy, place, stepFrom, zoomTo} from './geometry.js';
import {divideAt} from './gestures.js';
import {connect, send} from './link.js';
import {showMask} from './locals.js';
import {askView, look, moved} from './picture.js';
import {step} from './strip.js';
import {brushKey, resizeBrush} from './tools.js';
import {emit, on, store} from './store.js';

const at = (id) => document.getElementById(id);
const canvas = at('photograph');

function say(text, bad = false) {
  at('state').textContent = text;
  at('state').classList.toggle('bad', bad);
}

const withPicture = (act) => () => store.size && act();
const zoomBy = (direction) => withPicture(() => {
  zoomTo(stepFrom(place.zoom, direction));
  moved({rest: true});
});

const acts = {
  undo, redo,
  zoomIn: zoomBy(1),
  zoomOut: zoomBy(-1),
  fit: withPicture(() => { fit(); moved({rest: true}); }),
  whole: withPicture(() => { zoomTo(1); moved({rest: true}); }),
  wipe: () => toggleWipe(look.wipe === null),
  clipping: () => toggleClipping(!look.clipping),
  copy: () => store.recipe && openCopy(),
  export: () => store.recipe && openExport(),
};
for (const [id, act] of Object.entries(acts))
  at(id).addEventListener('click', () => act());

function toggleWipe(on) {
  at('wipe').ariaPressed = String(on);
  at('divider').hidden = !on;
  look.wipe = null;
  if (on)
    divideAt(0.5);
  else
    moved({rest: true});
}

function toggleClipping(on) {
  look.clipping = on;
  at('clipping').ariaPressed = String(on);
  askView();
}

const keys = {
  '+': acts.zoomIn, '=': acts.zoomIn, '-': acts.zoomOut, '0': acts.fit, '1': acts.whole, 'b': acts.wipe,
  'j': acts.clipping, 'o': () => showMask(!store.showMask), '[': () => resizeBrush(1 / 1.15),
  ']': () => resizeBrush(1.15), 'PageUp': () => step(-1), 'PageDown': () => step(1),
};
const withControl = {
  'z': undo, 'Z': redo, 'y': redo, 'e': acts.export, 'C': acts.copy,
};

/** Keys that a field or a list takes for itself are left to it. */
function isTyping({target}) {
  return target.matches('input[type="number"], input[type="text"], select') || at('dialog').open;
}

document.addEventListener('keydown', (event) => {
  if (isTyping(event) || event.altKey || event.key.startsWith('Page') && event.target.matches('input[type="range"]'))
    return;
  const act = event.ctrlKey || event.metaKey ? withControl[event.key] : keys[event.key];
  if (act)
    event.preventDefault();
  act?.();
});

canvas.addEventListener('keydown', (event) => {
  if (event.ctrlKey || event.metaKey || !store.size)
    return;
  const far = 80 * devicePixelRatio;
  const way = {ArrowLeft: [far, 0], ArrowRight: [-far, 0], ArrowUp: [0, far], ArrowDown: [0, -far]}[event.key];
  const taken = brushKey(event) || way;
  if (taken)
    event.preventDefault();
  if (taken === way && way) {
    moveBy(...way);
    moved({at: event.timeStamp});
  }
});

function steps() {
  at('undo').disabled = !store.undos;
  at('redo').disabled = !store.redos;
}
on('recipe', steps);
on('steps', steps);
on('edited', () => { at('undo').disabled = false; });
on('moved', () => { at('zoom').textContent = `${Math.round(place.zoom * 100)} %`; });

on('photo', () => {
  at('name').textContent = store.photo;
  document.title = store.photo;
  at('preview').hidden = true;
  say('Opening');
});
on('server:preview', ({photo}) => {
  at('preview').src = `thumb/${encodeURIComponent(photo)}?preview`;
  at('preview').hidden = Boolean(store.size) || photo !== store.photo;
});
on('server:opening', ({photo, share}) => photo === store.photo && say(`Opening, ${Math.round(share * 100)} %`));
on('shown', () => {
  if (!at('preview').hidden || at('state').textContent.startsWith('Opening'))
    say('');
  at('preview').hidden = true;
});
on('server:saved', ({file}) => file.startsWith(store.photo) && say('Saved'));
on('edited', () => say(''));
on('server:error', ({text}) => say(text, true));
on('offline', () => say('The editor is not there; waiting for it', true));

on('server:welcome', (message) => {
  Object.assign(store, {photos: message.photos, tables: message.tables, presets: message.presets, out: message.out});
  emit('built');
  emit('welcome');
  const wanted = store.photo || decodeURIComponent(location.hash.slice(1));
  const photo = store.photos.find(({name}) => name === wanted)?.name ?? store.photos[0].name;
  store.again = Boolean(store.recipe) && photo === store.photo;
  if (store.again)
    send({type: 'open', photo});
  else
    openPhoto(photo);
});
window.addEventListener('hashchange', () => {
  const wanted = decodeURIComponent(location.hash.slice(1));
  if (wanted !== store.photo && store.photos.some(({name}) => name === wanted))
    openPhoto(wanted);
});

const table = await (await fetch('keys.json')).json();
Object.assign(store, {keys: table.keys, neutral: table.neutral});
connect();
