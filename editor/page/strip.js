// The film strip: every photograph of the folder, as its recipe makes it.
import {element} from './elements.js';
import {openPhoto} from './edits.js';
import {on, store} from './store.js';

const strip = document.getElementById('strip');
const buttons = new Map();

const addressOf = ({name, version}) => `thumb/${encodeURIComponent(name)}?v=${version}`;

function build() {
  buttons.clear();
  strip.replaceChildren(...store.photos.map((photo) => {
    const picture = element('img', {alt: '', loading: 'lazy', draggable: false, src: addressOf(photo)});
    picture.addEventListener('error', () => { picture.hidden = true; });
    const made = element('button', {type: 'button', onclick: () => openPhoto(photo.name), title: photo.name}, picture,
      element('span', {}, photo.name));
    buttons.set(photo.name, made);
    return made;
  }));
  mark();
}

function mark() {
  for (const [name, made] of buttons)
    made.ariaCurrent = String(name === store.photo);
  buttons.get(store.photo)?.scrollIntoView({block: 'nearest', inline: 'nearest'});
}

/** The photograph so many places on. */
export function step(by) {
  const at = store.photos.findIndex(({name}) => name === store.photo) + by;
  if (store.photos[at])
    openPhoto(store.photos[at].name);
}

on('welcome', build);
on('photo', mark);
on('server:thumb', (message) => {
  const photo = store.photos.find(({name}) => name === message.photo);
  const picture = buttons.get(message.photo)?.querySelector('img');
  if (!photo || !picture)
    return;
  photo.version = message.version;
  picture.hidden = false;
  picture.src = addressOf(photo);
});
