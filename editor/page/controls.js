// The controls of light, colour and detail, made from the recipe's table; they belong to the picture or to the chosen
// local adjustment.
import {choice, element} from './elements.js';
import {flush, setValue} from './edits.js';
import {rangeOf, sliderRow, words} from './sliders.js';
import {on, store, valueAt} from './store.js';

const section = document.getElementById('controls');
const kGroups = {light: 'Light', color: 'Colour', detail: 'Detail', weights: 'Colour weights', table: 'Colour table'};
const kZones = {base: 'Everywhere', shadows: 'In the shadows', midtones: 'In the midtones'};
const kTerms = {slope: 'Strength', threshold: 'Threshold'};
const kLocal = ['light', 'color', 'detail']; // what a local adjustment has, too

let refreshers = [];

/** The path of a control for what is chosen now. */
const pathOf = (key) => store.target < 0 ? key : `locals.${store.target}.${key}`;

function rowFor(key) {
  const parts = key.key.split('.'), last = parts.at(-1);
  const detail = parts[0] === 'detail';
  const name = detail ? kTerms[last] : words(last);
  const full = detail ? `${words(parts[1])} detail, ${kZones[parts[2]].toLowerCase()}: ${name.toLowerCase()}`
    : parts[0] === 'weights' ? `${name} weight` : parts[0] === 'table' ? `Table ${name.toLowerCase()}` : name;
  const made = sliderRow(key, {
    name, full,
    read: () => store.recipe ? valueAt(pathOf(key.key)) : undefined,
    write: (value, event) => setValue(pathOf(key.key), value, {at: event.timeStamp}),
    rest: flush,
  });
  made.row.dataset.key = key.key;
  refreshers.push(made.refresh);
  return made.row;
}

/** Detail has a box for each size, and in it a heading for each range of luma. */
function detailRows(keys) {
  const sizes = new Map();
  for (const key of keys) {
    const [, size, zone] = key.key.split('.');
    if (!sizes.has(size))
      sizes.set(size, element('details', {open: size === 'fine'}, element('summary', {}, words(size))));
    const box = sizes.get(size);
    if (!box.querySelector(`[data-zone=${zone}]`))
      box.append(element('h3', {'data-zone': zone}, kZones[zone] ?? words(zone)));
    box.append(rowFor(key));
  }
  return [...sizes.values()];
}

function tableRows(keys) {
  const select = choice('Colour table', [['', 'None'], ...store.tables.map((name) => [name, name])],
    (name) => setValue('table.path', name, {rest: true}));
  select.disabled = store.tables.length === 0;
  select.title = select.disabled ? 'A .cube file beside the photographs can be chosen here.' : '';
  refreshers.push(() => { select.value = store.recipe?.table.path ?? ''; });
  return [element('div', {className: 'line'}, select), ...keys.map(rowFor)];
}

function build() {
  refreshers = [];
  section.replaceChildren();
  for (const [group, title] of Object.entries(kGroups)) {
    const keys = store.keys.filter((key) => key.key.startsWith(`${group}.`) && rangeOf(key));
    const rows = group === 'detail' ? detailRows(keys) : group === 'table' ? tableRows(keys) : keys.map(rowFor);
    const box = element('details', {open: kLocal.includes(group)}, element('summary', {}, title), ...rows);
    box.dataset.group = group;
    section.append(box);
  }
  refresh();
}

function refresh() {
  for (const one of refreshers)
    one();
  for (const box of section.children)
    box.hidden = store.target >= 0 && !kLocal.includes(box.dataset.group);
}

on('built', build);
on('recipe', refresh);
on('target', refresh);
on('photo', refresh);
