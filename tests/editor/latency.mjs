#!/usr/bin/env node
// Measures the live editor in the browser: from the input event to the painted pixels, and where the time goes.
//   latency.mjs PIXMILL [--moves 200] [--strokes 100]
// 200 moves of sliders and 100 of a brush at 1920 x 1080 on the 16 megapixel photograph. On a quiet machine.
import fs from 'node:fs';
import {atRest, browse, folderOf, large, serve, tabOf} from './stage.mjs';

const program = process.argv[2];
const number = (name, usual) => {
  const at = process.argv.indexOf(`--${name}`);
  return at < 0 ? usual : Number(process.argv[at + 1]);
};

const part = (values, share) => [...values].sort((a, b) => a - b)[Math.min(values.length - 1, Math.floor(values.length * share))];
const told = (values) => values.length ? `${part(values, 0.5).toFixed(1)} / ${part(values, 0.95).toFixed(1)}` : '-';

/** Moves one after another: each begins when the one before was painted, and the screen has had its turn. */
async function measure(page, moves, kind) {
  return page.evaluate(async (moves, kind) => {
    const canvas = document.getElementById('photograph');
    const heads = [];
    const painted = () => new Promise((resolve) => {
      const listener = (event) => {
        if (event.detail.cause === undefined || event.detail.kind !== 'moving')
          return;
        canvas.removeEventListener('painted', listener);
        const head = event.detail;
        requestAnimationFrame((time) => { head.animated = Math.max(time, performance.now()); heads.push(head); resolve(); });
      };
      canvas.addEventListener('painted', listener);
    });
    const names = ['Shadows', 'Highlights', 'Brightness', 'Contrast', 'Saturation', 'Warmth',
      'Fine detail, everywhere: strength', 'Medium detail, everywhere: strength'];
    const box = canvas.getBoundingClientRect();
    const pointer = (type, x, y) => canvas.dispatchEvent(new PointerEvent(type, {bubbles: true, pointerId: 1, button: 0,
      clientX: box.left + x, clientY: box.top + y, isPrimary: true}));
    canvas.setPointerCapture = () => {};
    for (let i = 0; i < moves; ++i) {
      const done = painted();
      if (kind === 'slider') {
        const slider = document.querySelector(`input[type=range][aria-label="${names[Math.floor(i / 25) % names.length]}"]`);
        slider.value = Number(slider.value) + (i % 25 < 13 ? 2 : -2) * (i % 25 === 24 ? -1 : 1);
        slider.dispatchEvent(new Event('input', {bubbles: true}));
      } else {
        if (i % 25 === 0)
          pointer('pointerdown', 400, 300 + i);
        pointer('pointermove', 410 + (i % 25) * 30, 300 + i + 5 * Math.sin(i));
      }
      await done;
      if (kind === 'brush' && i % 25 === 24)
        pointer('pointerup', 410 + 24 * 30, 300 + i);
      await new Promise((next) => setTimeout(next, 12 + Math.random() * 10));
    }
    return heads.map(({times, cause, arrived, decoded, painted, animated}) =>
      ({...times, cause, arrived, decoded, painted, animated}));
  }, moves, kind);
}

function row(name, heads) {
  const sum = (head) => head.wait + head.render + head.marks + head.pack;
  const columns = {
    'painted': heads.map((head) => head.painted - head.cause),
    'next frame of the screen': heads.map((head) => head.animated - head.cause),
    'render': heads.map((head) => head.render),
    'marks': heads.map((head) => head.marks),
    'compress': heads.map((head) => head.pack),
    'send, both ways': heads.map((head) => head.arrived - head.cause - sum(head)),
    'wait for the developer': heads.map((head) => head.wait),
    'decode': heads.map((head) => head.decoded - head.arrived),
    'paint': heads.map((head) => head.painted - head.decoded),
  };
  console.log(`\n${name}, ${heads.length} moves: median / 95 % in ms`);
  for (const [column, values] of Object.entries(columns))
    console.log(`  ${column.padEnd(26)} ${told(values)}`);
  return columns.painted;
}

const folder = folderOf(large);
const server = await serve(program, folder);
const browser = await browse();
try {
  const page = await tabOf(browser, server.address, {width: 1920 + 304, height: 1080 + 44 + 92});
  await atRest(page);
  await page.evaluate(async () => {
    const {zoomTo} = await import('./geometry.js'), {moved} = await import('./picture.js');
    zoomTo(0.5);
    moved({rest: true});
  });
  await atRest(page);
  console.log(`view ${await page.$eval('#photograph', (canvas) => canvas.dataset.view)} (x y width height scale)`);
  const sliders = row('sliders', await measure(page, number('moves', 200), 'slider'));
  await atRest(page);
  await page.click('button[aria-label="Add local adjustment: brush"]');
  await atRest(page);
  await page.evaluate(() => {
    const slider = document.querySelector('input[type=range][aria-label="Brightness"]');
    slider.value = 40;
    slider.dispatchEvent(new Event('input', {bubbles: true}));
  });
  await atRest(page);
  const brush = row('brush', await measure(page, number('strokes', 100), 'brush'));
  const all = [...sliders, ...brush], good = part(all, 0.5) < 30 && part(all, 0.95) < 50;
  console.log(`\nall: ${told(all)} ms; under 30 / 50: ${good ? 'yes' : 'no'}`);
  if (page.faults.length)
    throw new Error(page.faults.join('\n'));
} finally {
  await browser.close();
  await server.stop();
  fs.rmSync(folder, {recursive: true});
}
