// Small makers of elements.

/** element('button', {id: 'x', onclick}, 'Text', child...). Names with a dash are attributes. */
export function element(name, members = {}, ...children) {
  const made = document.createElement(name);
  for (const [key, value] of Object.entries(members))
    if (key.includes('-') || key === 'role')
      made.setAttribute(key, value);
    else
      made[key] = value;
  made.append(...children);
  return made;
}

export const button = (text, onclick, members = {}) => element('button', {type: 'button', onclick, ...members}, text);

export function choice(label, options, onchange) {
  const made = element('select', {'aria-label': label, onchange: () => onchange(made.value)},
    ...options.map(([value, text]) => element('option', {value}, text)));
  return made;
}

export function check(text, onchange, members = {}) {
  const box = element('input', {type: 'checkbox', onchange: () => onchange(box.checked), ...members});
  return element('label', {className: 'check'}, box, text);
}
