// Local adjustments: the list of them, and the parts of the chosen one's mask.
import {button, check, choice, element} from './elements.js';
import {edit, flush, setValue} from './edits.js';
import {askView} from './picture.js';
import {rangeOf, sliderRow, words} from './sliders.js';
import {brush} from './tools.js';
import {currentComponent, currentLocal, emit, kindOf, on, store} from './store.js';

const list = document.getElementById('locals'), box = document.getElementById('mask');
const kShapes = {brush: 'Brush', linear: 'Linear gradient', radial: 'Radial gradient', luma: 'Luma range'};
const kPart = 'locals[].mask.components[].';
let refreshers = [];

export function choose(target, component = 0) {
  Object.assign(store, {target, component});
  if (target < 0)
    store.showMask = false;
  emit('target');
}

/** A shape as it is when nothing of it is set, by the table. */
function newShape(kind) {
  const shape = {};
  for (const {key, neutral, values} of store.keys)
    if (key.startsWith(`${kPart}${kind}.`) && !key.slice(kPart.length).includes('[]'))
      shape[key.split('.').at(-1)] = values === 'text' ? neutral : JSON.parse(neutral);
  return {[kind]: shape, combine: 'add', invert: false, feather: 0};
}

function addLocal(kind) {
  const {light, detail, color} = structuredClone(store.neutral);
  edit((recipe) => recipe.locals.push({enabled: true, mask: {components: [newShape(kind)]}, light, detail, color}),
    {rest: true});
  choose(store.recipe.locals.length - 1);
}

function addPart(kind) {
  edit(() => currentLocal().mask.components.push(newShape(kind)), {rest: true});
  choose(store.target, currentLocal().mask.components.length - 1);
}

function removePart(index) {
  edit(() => currentLocal().mask.components.splice(index, 1), {rest: true});
  choose(store.target);
}

function removeLocal(index) {
  edit((recipe) => recipe.locals.splice(index, 1), {rest: true});
  choose(-1);
}

const adder = (label, take) => element('div', {className: 'line', role: 'group', 'aria-label': label},
  element('span', {className: 'quiet'}, 'Add'),
  ...Object.entries(kShapes).map(([kind, name]) => button(name.split(' ')[0], () => store.recipe && take(kind),
    {className: 'small', ariaLabel: `${label}: ${name.toLowerCase()}`})));

function entryOf(local, index) {
  const shapes = local.mask.components.map((part) => kShapes[kindOf(part)].toLowerCase()).join(', ') || 'nothing';
  const name = `${index + 1}: ${shapes}`;
  return element('div', {className: 'entry'},
    check('', (on) => setValue(`locals.${index}.enabled`, on, {rest: true}),
      {checked: local.enabled, ariaLabel: `Adjustment ${index + 1} is made`}),
    button(name, () => choose(index), {className: `plain wide${store.target === index ? ' chosen' : ''}`,
      ariaPressed: String(store.target === index), ariaLabel: `Local adjustment ${name}`}),
    button('Remove', () => removeLocal(index), {className: 'plain', ariaLabel: `Remove adjustment ${index + 1}`}));
}

function buildList() {
  const locals = store.recipe?.locals ?? [];
  list.replaceChildren(
    element('div', {className: 'entry'},
      button('Whole picture', () => choose(-1), {className: `plain wide${store.target < 0 ? ' chosen' : ''}`,
        ariaPressed: String(store.target < 0)})),
    ...locals.map(entryOf),
    adder('Add local adjustment', addLocal));
}

/** The rows of a shape's own numbers; points have none, they are placed on the picture. */
function shapeRows(kind) {
  const prefix = `${kPart}${kind}.`;
  const keys = store.keys.filter(({key}) => key.startsWith(prefix) && !key.slice(prefix.length).includes('.'));
  return keys.flatMap((key) => key.values === '[x, y]' ? pointRows(kind, key) : rangeOf(key) ? [partRow(kind, key)] : []);
}

const kept = (made) => {
  refreshers.push(made.refresh);
  return made.row;
};

function partRow(kind, key) {
  const name = key.key.split('.').at(-1);
  return kept(sliderRow(key, {
    name: words(name), full: `Mask ${words(name).toLowerCase()}`,
    read: () => currentComponent()?.[kind]?.[name],
    write: (value, event) => edit(() => putPart(kind, name, value), {at: event.timeStamp}),
    rest: flush,
  }));
}

/** A range of luma keeps its ends in order. */
function putPart(kind, name, value) {
  const shape = currentComponent()[kind];
  shape[name] = value;
  if (kind === 'luma' && shape.low > shape.high)
    shape[name === 'low' ? 'high' : 'low'] = value;
}

/** For those who place by the keyboard. */
function pointRows(kind, key) {
  const name = key.key.split('.').at(-1), neutral = JSON.parse(key.neutral);
  return ['x', 'y'].map((way, axis) => kept(sliderRow({...key, values: '0..1', neutral: neutral[axis]}, {
    name: `${words(name)} ${way}`, full: `Mask ${name}, ${axis ? 'down' : 'across'}`,
    read: () => currentComponent()?.[kind]?.[name][axis],
    write: (value, event) => edit(() => { currentComponent()[kind][name][axis] = value; }, {at: event.timeStamp}),
    rest: flush,
  })));
}

function brushRows() {
  const keys = store.keys.filter(({key}) => key.startsWith(`${kPart}brush.strokes[].`));
  const names = {diameter: 'Size', hardness: 'Hardness', opacity: 'Opacity', edge: 'Keeps to edges'};
  const rows = keys.map((key) => [key, key.key.split('.').at(-1)]).filter(([, name]) => names[name]).map(([key, name]) =>
    kept(sliderRow(name === 'diameter' ? {...key, values: 'above 0 to 1'} : key, {
      name: names[name], full: `Brush ${name === 'edge' ? 'edge sensitivity' : names[name].toLowerCase()}`,
      read: () => brush[name],
      write: (value) => { brush[name] = value; emit('brush'); },
    })));
  return [...rows, element('div', {className: 'line'},
    check('Erase', (on) => { brush.erase = on; }, {checked: brush.erase}))];
}

function partBox(part, index) {
  const kind = kindOf(part), chosen = index === store.component;
  const head = element('div', {className: 'entry'},
    button(kShapes[kind], () => choose(store.target, index), {className: `plain wide${chosen ? ' chosen' : ''}`,
      ariaPressed: String(chosen), ariaLabel: `Part ${index + 1}: ${kShapes[kind]}`}),
    button('Remove', () => removePart(index), {className: 'plain', ariaLabel: `Remove part ${index + 1}`}));
  if (!chosen)
    return element('div', {className: 'box'}, head);
  const path = `locals.${store.target}.mask.components.${index}`;
  const combine = choice('How the part joins the mask', ['add', 'subtract', 'intersect'].map((way) => [way, words(way)]),
    (way) => setValue(`${path}.combine`, way, {rest: true}));
  combine.value = part.combine;
  const feather = sliderRow(store.keys.find(({key}) => key === `${kPart}feather`), {
    name: 'Feather', full: 'Mask feather',
    read: () => currentComponent()?.feather,
    write: (value, event) => setValue(`${path}.feather`, value, {at: event.timeStamp}),
    rest: flush,
  });
  return element('div', {className: 'box'}, head, ...(kind === 'brush' ? brushRows() : shapeRows(kind)), kept(feather),
    element('div', {className: 'line'}, combine,
      check('Invert', (on) => setValue(`${path}.invert`, on, {rest: true}), {checked: part.invert})));
}

function buildMask() {
  refreshers = [];
  const local = currentLocal();
  box.hidden = !local;
  if (!local)
    return box.replaceChildren();
  box.replaceChildren(
    element('div', {className: 'line'}, element('h2', {}, 'Mask'),
      check('Show', showMask, {checked: store.showMask, id: 'showMask', title: 'O'})),
    ...local.mask.components.map(partBox), adder('Add part', addPart));
  refreshNumbers();
}

function refreshNumbers() {
  for (const one of refreshers)
    one();
}

export function showMask(on) {
  store.showMask = on && store.target >= 0;
  askView();
  emit('mask');
}

/** What is built anew only where the shapes changed, so that the keyboard keeps its place. */
let built = '';
function refresh() {
  store.component = Math.max(0, Math.min(store.component, (currentLocal()?.mask.components.length ?? 1) - 1));
  const shapes = store.recipe?.locals.map(({enabled, mask}) => [enabled, mask.components.map((part) =>
    [kindOf(part), part.combine, part.invert])]);
  const now = JSON.stringify([store.photo, store.target, store.component, shapes]);
  if (now !== built) {
    buildList();
    buildMask();
    built = now;
  } else {
    refreshNumbers();
  }
}

on('built', () => { built = ''; refresh(); });
on('recipe', refresh);
on('edited', refresh);
on('target', refresh);
on('photo', refresh);
on('brush', refreshNumbers);
on('mask', () => {
  const shown = document.getElementById('showMask');
  if (shown)
    shown.checked = store.showMask;
});
