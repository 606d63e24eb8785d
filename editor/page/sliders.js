// A control of a number: a slider, a field to type into, and a name that a double click on resets.
import {element} from './elements.js';

let rows = 0;

/** "chromaFloor" as "Chroma floor". */
export const words = (name) => name.replace(/([A-Z])/g, ' $1').toLowerCase().replace(/^./, (c) => c.toUpperCase());

/** The range that a line of the recipe's table tells: "-1..1", "above 0 to 2". */
export function rangeOf(key) {
  const numbers = key.values.match(/^(?:above )?(-?[\d.]+?)(?:\.\.| to )(-?[\d.]+)$/);
  return numbers && {least: Number(numbers[1]), most: Number(numbers[2]), open: key.values.startsWith('above')};
}

/**
 * A row for a line of the table. `read()` gives the value, `write(value, event)` takes it while it moves and `rest()` when
 * it was put down. Controls of -1..1 and 0..1 are shown in hundredths.
 */
export function sliderRow(key, {name, full = name, read, write, rest = () => {}}) {
  const range = rangeOf(key), neutral = Number(key.neutral);
  const factor = range.most <= 1 ? 100 : 1, least = range.open ? 0.002 : range.least;
  const digits = factor === 100 ? 1 : range.most > 10 ? 0 : 2;
  const step = factor === 100 && range.most === 1 ? 1 : (range.most - least) * factor / 400;
  const id = `row${++rows}`;
  const slider = element('input', {type: 'range', id, min: least * factor, max: range.most * factor, step,
    ariaLabel: full, title: key.text});
  const field = element('input', {type: 'number', min: least * factor, max: range.most * factor, step: 'any',
    ariaLabel: `${full}, value`});
  const label = element('label', {htmlFor: id, title: key.text}, name);

  function put(value, event) {
    write(Math.min(range.most, Math.max(least, value)), event);
    refresh();
  }
  function refresh() {
    const value = read();
    slider.disabled = field.disabled = value === undefined;
    slider.value = (value ?? neutral) * factor;
    if (document.activeElement !== field)
      field.value = Number(((value ?? neutral) * factor).toFixed(digits));
    label.classList.toggle('moved', value !== undefined && Math.abs(value - neutral) > 1e-6);
  }
  function reset(event) {
    put(neutral, event);
    rest();
  }

  slider.addEventListener('input', (event) => put(Number(slider.value) / factor, event));
  slider.addEventListener('dblclick', reset);
  label.addEventListener('dblclick', reset);
  field.addEventListener('change', (event) => {
    if (field.value !== '' && Number.isFinite(Number(field.value)))
      put(Number(field.value) / factor, event);
    rest();
    field.blur();
    refresh();
  });
  return {row: element('div', {className: 'row'}, label, slider, field), refresh};
}
