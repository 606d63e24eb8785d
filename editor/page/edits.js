// Every change of the recipe goes through here: sent while it moves, put to rest soon after.
import {emit, on, putAt, store, valueAt} from './store.js';
import {isOnline, send, sendNumbered} from './link.js';

const kRestAfter = 250;
let timer = 0, waiting = false, unsaved = false;

/** Changes the recipe by `change(recipe)`. `rest`: at once; else it rests when nothing has moved for a moment. */
export function edit(change, {rest = false, at} = {}) {
  if (!store.recipe)
    return;
  change(store.recipe);
  unsaved = true;
  waiting = true;
  clearTimeout(timer);
  if (rest)
    return flush(at);
  sendNumbered({type: 'recipe', recipe: store.recipe, rest: false}, at);
  timer = setTimeout(flush, kRestAfter);
  emit('edited');
}

/** Puts to rest what is still moving. */
export function flush(at) {
  clearTimeout(timer);
  if (!waiting || !isOnline())
    return;
  waiting = false;
  sendNumbered({type: 'recipe', recipe: store.recipe, rest: true}, typeof at === 'number' ? at : undefined);
  emit('edited');
}

/** Whether everything that was changed was put to rest. */
export const isSettled = () => !waiting;

export function setValue(path, value, options) {
  if (valueAt(path) !== value || options?.rest)
    edit((recipe) => putAt(path, value, recipe), options);
}

export function undo() {
  flush();
  sendNumbered({type: 'undo'});
}

export function redo() {
  flush();
  sendNumbered({type: 'redo'});
}

export function openPhoto(name) {
  flush();
  Object.assign(store, {photo: name, size: null, recipe: null, again: false});
  unsaved = waiting = false;
  store.target = -1;
  store.showMask = false;
  location.hash = encodeURIComponent(name);
  emit('photo');
  send({type: 'open', photo: name});
}

/** Settings as the server has them. What was changed while the line was down wins. */
function take(message) {
  if (message.photo !== store.photo)
    return;
  store.undos = message.undos;
  store.redos = message.redos;
  if (message.type === 'photo' && unsaved && store.recipe && store.again) {
    waiting = true;
    flush();
  } else {
    store.recipe = message.recipe;
    unsaved = false;
    waiting = false;
    clearTimeout(timer);
  }
  store.target = Math.min(store.target, store.recipe.locals.length - 1);
  emit('recipe');
}

on('server:photo', take);
on('server:recipe', take);
on('server:steps', (message) => {
  unsaved = waiting;
  store.undos = message.undos;
  store.redos = message.redos;
  emit('steps');
});
window.addEventListener('pagehide', flush);
