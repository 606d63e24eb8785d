// Presets: a few that come along, and the person's own, which the server keeps.
import {button, choice, element} from './elements.js';
import {edit} from './edits.js';
import {send} from './link.js';
import {emit, on, putAt, store} from './store.js';

const section = document.getElementById('presets');

const kOurs = {
  'Neutral': {},
  'Open shadows': {'light.shadows': 0.4, 'light.highlights': -0.3, 'detail.medium.base.slope': 0.08},
  'Crisp': {'detail.fine.base.slope': 0.18, 'detail.medium.base.slope': 0.12, 'light.contrast': 0.1},
  'Soft': {'detail.medium.base.slope': -0.2, 'detail.coarse.base.slope': -0.12, 'light.shadows': 0.15},
  'Warm evening': {'color.warmth': 0.25, 'color.saturation': 0.1, 'light.highlights': -0.2},
  'Black and white': {'color.saturation': -1, 'light.contrast': 0.15, 'detail.coarse.base.slope': 0.1},
};

/** A preset leaves local adjustments and the colour table alone. */
function apply(name) {
  const own = store.presets.find((preset) => preset.name === name);
  edit((recipe) => {
    const from = own?.recipe ?? store.neutral;
    for (const group of ['light', 'weights', 'detail', 'color'])
      recipe[group] = structuredClone({...store.neutral[group], ...from[group]});
    for (const [path, value] of own ? [] : Object.entries(kOurs[name]))
      putAt(path, value, recipe);
  }, {rest: true});
  emit('recipe');
}

function build() {
  const names = [...Object.keys(kOurs), ...store.presets.map(({name}) => name)];
  const select = choice('Preset', [['', 'Presets'], ...names.map((name) => [name, name])], (name) => {
    remove.disabled = !store.presets.some((preset) => preset.name === name);
    if (name && store.recipe)
      apply(name);
  });
  const field = element('input', {type: 'text', maxLength: 60, placeholder: 'Name', ariaLabel: 'Name of a new preset'});
  const remove = button('Delete', () => send({type: 'deletePreset', name: select.value}), {disabled: true,
    ariaLabel: 'Delete preset'});
  const save = button('Save', () => {
    if (field.value.trim() && store.recipe)
      send({type: 'savePreset', name: field.value.trim(), recipe: {...store.recipe, locals: []}});
  }, {ariaLabel: 'Save as preset'});
  section.replaceChildren(element('div', {className: 'line'}, select, remove),
    element('div', {className: 'line'}, field, save));
}

on('built', build);
on('server:presets', ({presets}) => {
  store.presets = presets;
  build();
});
