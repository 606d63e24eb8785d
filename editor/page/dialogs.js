// What is done to several photographs at once: export, and settings for others.
import {button, check, choice, element} from './elements.js';
import {flush} from './edits.js';
import {send} from './link.js';
import {on, store} from './store.js';

const dialog = document.getElementById('dialog');
let chosen = new Set(), progress = null, words = null;

function picker(preset) {
  chosen = new Set(preset);
  const boxes = store.photos.map(({name}) => check(name, (on) => on ? chosen.add(name) : chosen.delete(name),
    {checked: chosen.has(name)}));
  const all = check('All', (on) => {
    for (const {name} of store.photos)
      on ? chosen.add(name) : chosen.delete(name);
    for (const box of boxes)
      box.firstChild.checked = on;
  }, {checked: chosen.size === store.photos.length});
  return element('div', {className: 'list', role: 'group', 'aria-label': 'Photographs'}, all, ...boxes);
}

function show(title, ...children) {
  dialog.ariaLabel = title;
  dialog.replaceChildren(element('h2', {}, title), ...children);
  dialog.showModal();
}

const close = () => dialog.close();

export function openExport() {
  const format = choice('Format', [['jpeg', 'JPEG'], ['png', 'PNG'], ['tiff', 'TIFF']], formatChanged);
  const depth = choice('Bits', [['0', 'Bits as the photograph'], ['8', '8 bits'], ['16', '16 bits']], () => {});
  const quality = element('input', {type: 'number', min: 1, max: 100, value: 92, ariaLabel: 'Quality', title: 'Quality'});
  function formatChanged() {
    depth.disabled = format.value === 'jpeg';
    quality.disabled = format.value !== 'jpeg';
  }
  formatChanged();
  progress = element('progress', {max: 1, value: 0, ariaLabel: 'Progress of the export'});
  words = element('p', {role: 'status'}, `Into ${store.out}`);
  const start = button('Export', () => {
    flush();
    send({type: 'export', photos: [...chosen], format: format.value, quality: Number(quality.value) || 92,
      depth: Number(depth.value)});
  }, {id: 'startExport'});
  show('Export photographs', picker([store.photo]), element('div', {className: 'line'}, format, depth, quality), words,
    progress, element('div', {className: 'line last'}, button('Stop', () => send({type: 'stopExport'})),
      button('Close', close), start));
}

export function openCopy() {
  show('Copy settings to', picker([]),
    check('With local adjustments', () => {}, {checked: false, id: 'withLocals'}),
    element('div', {className: 'line last'}, button('Close', close), button('Copy', () => {
      const recipe = structuredClone(store.recipe);
      if (!document.getElementById('withLocals').checked)
        recipe.locals = [];
      chosen.delete(store.photo);
      if (chosen.size)
        send({type: 'apply', photos: [...chosen], recipe});
      close();
    })));
}

on('server:exporting', ({photo, done, total, share}) => {
  if (!progress)
    return;
  progress.value = (done + share) / total;
  words.textContent = total > 1 ? `${photo}, ${done + 1} of ${total}` : photo;
});
on('server:exported', ({done, failed, stopped, folder}) => {
  if (!progress)
    return;
  progress.value = stopped ? 0 : 1;
  words.textContent = `${stopped ? 'Stopped; ' : ''}${done} exported${failed ? `, ${failed} failed` : ''}, in ${folder}`;
});
