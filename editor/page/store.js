// What the page knows, and who wants to hear of it.

export const store = {
  keys: [],        // the recipe's table, as the server tells it
  neutral: null,   // a neutral recipe
  photos: [],      // {name, version}
  photo: '',       // the one that is shown
  size: null,      // {width, height} once it is open
  recipe: null,
  again: false,    // the line was lost and is back
  undos: 0,
  redos: 0,
  tables: [],
  presets: [],
  out: '',         // where exports go
  target: -1,      // the local adjustment that the controls belong to; -1: the whole picture
  component: 0,    // the part of its mask that the tools belong to
  showMask: false,
};

const listeners = new Map();

export function on(name, listener) {
  if (!listeners.has(name))
    listeners.set(name, []);
  listeners.get(name).push(listener);
}

export function emit(name, detail) {
  for (const listener of listeners.get(name) ?? [])
    listener(detail);
}

/** The recipe's member at "locals.0.light.shadows". */
export function valueAt(path, recipe = store.recipe) {
  return path.split('.').reduce((at, name) => at?.[name], recipe);
}

export function putAt(path, value, recipe = store.recipe) {
  const names = path.split('.'), last = names.pop();
  let at = recipe;
  for (const name of names)
    at = at[name];
  at[last] = value;
}

export const currentLocal = () => store.recipe?.locals[store.target];
export const currentComponent = () => currentLocal()?.mask.components[store.component];

/** brush, linear, radial or luma. */
export const kindOf = (component) => ['brush', 'linear', 'radial', 'luma'].find((kind) => component && kind in component);
