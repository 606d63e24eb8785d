// The live editor as a photographer meets it, in Chromium, on the 16 megapixel photograph. Pixels are compared with those of
// Developer::render.   page_test.mjs PIXMILL ORACLE
import assert from 'node:assert/strict';
import {execFileSync, spawn} from 'node:child_process';
import fs from 'node:fs';
import path from 'node:path';
import readline from 'node:readline';
import {atRest, browse, folderOf, large, serve, tabOf} from './stage.mjs';

const [, , program, oracleProgram] = process.argv;
const other = 'Dragonfly_by_Bolly.jpg';
const out = process.env.PIXMILL_OUT ?? 'out';

/** Developer::render's digests. */
function oracleOf(photo) {
  const child = spawn(oracleProgram, [photo], {stdio: ['pipe', 'pipe', 'inherit']});
  const lines = readline.createInterface({input: child.stdout})[Symbol.asyncIterator]();
  return {
    async digest(recipe, view) {
      child.stdin.write(`${JSON.stringify({recipe, ...view})}\n`);
      return (await lines.next()).value;
    },
    end: () => child.stdin.end(),
  };
}

const recipeOf = (page) => page.evaluate(async () => (await import('./store.js')).store.recipe);

/** The part of the canvas that the frame covers, between two columns of it: its place in the photograph, and a digest. */
const shownOn = (page, from = 0, to = 1) => page.evaluate(async (from, to) => {
  const {place} = await import('./geometry.js');
  const canvas = document.getElementById('photograph');
  const [x, y, width, height, scale] = canvas.dataset.view.split(' ').map(Number);
  const left = Math.max(place.x + x, Math.round(from * place.width), 0);
  const right = Math.min(place.x + x + width, Math.round(to * place.width));
  const top = Math.max(0, place.y + y), bottom = Math.min(place.height, place.y + y + height);
  const words = new Uint32Array(canvas.getContext('2d').getImageData(left, top, right - left, bottom - top).data.buffer);
  let a = 2166136261 | 0, b = 1;
  for (const word of words) {
    a = Math.imul(a ^ word, 16777619);
    b = ((b << 7 | b >>> 25) + Math.imul(word, 2654435761)) | 0;
  }
  const hex = (n) => (n >>> 0).toString(16).padStart(8, '0');
  return {digest: hex(a) + hex(b),
    view: {x: left - place.x, y: top - place.y, width: right - left, height: bottom - top, scale}};
}, from, to);

const neutral = {version: 1};
let oracle, checked = 0;

/** At rest, the canvas has the developer's pixels for the page's recipe. @return the digest. */
async function showsTheRightPixels(page, words, recipe, from, to) {
  await atRest(page);
  const shown = await shownOn(page, from, to);
  assert.equal(shown.digest, await oracle.digest(recipe ?? await recipeOf(page), shown.view), words);
  ++checked;
  return shown.digest;
}

const press = async (page, key, times = 1) => {
  for (let i = 0; i < times; ++i)
    await page.keyboard.press(key);
};
const withControl = async (page, key) => {
  await page.keyboard.down('Control');
  await page.keyboard.press(key);
  await page.keyboard.up('Control');
};
const sliderCalled = (name) => `input[type=range][aria-label="${name}"]`;
const click = (page, selector) => page.$eval(selector, (found) => found.click());
const middleOf = async (page) => {
  const box = await (await page.$('#photograph')).boundingBox();
  return [box.x + box.width / 2, box.y + box.height / 2, box];
};

/** Zoom where a pixel of the frame is one of the screen, by the keyboard. */
async function zoomToHalf(page) {
  await atRest(page); // open
  await page.focus('#photograph');
  await press(page, '0');
  await press(page, '1');
  await press(page, '-');
  await page.waitForFunction(() => document.querySelector('#zoom').textContent === '50 %');
}

async function everyControlShowsTheRightPixels(page, first) {
  await page.$$eval('#panel details', (boxes) => boxes.forEach((box) => { box.open = true; }));
  await page.select('select[aria-label="Colour table"]', 'swap.cube');
  const withTable = await showsTheRightPixels(page, 'a colour table');
  assert.notEqual(withTable, first);
  await withControl(page, 'z');
  assert.equal(await showsTheRightPixels(page, 'no table'), first);
  const names = await page.$$eval('#controls input[type=range]', (all) => all.map((one) => one.ariaLabel));
  assert.equal(names.length, 32);
  assert.equal(new Set(names).size, names.length, 'two controls of one name');
  for (const name of names.filter((one) => !one.startsWith('Table'))) {
    await page.focus(sliderCalled(name));
    await press(page, 'ArrowRight', 10);
    assert.notEqual(await showsTheRightPixels(page, name), first, `${name} changes nothing`);
    const changed = await recipeOf(page);
    assert.equal(JSON.stringify(changed).match(/0\.1\b/g)?.length, 1, `${name} sets one member`);
    await page.$eval(sliderCalled(name), (one) => one.dispatchEvent(new MouseEvent('dblclick', {bubbles: true})));
    assert.equal(await showsTheRightPixels(page, `${name}, reset`), first, `${name} is not reset`);
  }
}

async function numbersAreTyped(page) {
  const field = 'input[aria-label="Contrast, value"]';
  await page.focus(field);
  await page.$eval(field, (one) => one.select());
  await page.keyboard.type('12.5');
  await page.keyboard.press('Enter');
  await showsTheRightPixels(page, 'a typed value');
  assert.equal((await recipeOf(page)).light.contrast, 0.125);
}

/** Paints down the left of the photograph's strongest edge near the middle. @return how many pixels of it changed. */
async function paint(page, edge) {
  const [x, y] = await middleOf(page);
  await page.$eval('input[type=range][aria-label="Brush edge sensitivity"]', (slider, edge) => {
    slider.value = edge;
    slider.dispatchEvent(new Event('input', {bubbles: true}));
  }, edge);
  const grab = () => page.$eval('#photograph', (canvas) => Array.from(canvas.getContext('2d').getImageData(0, 0, canvas.width,
    canvas.height).data.filter((_, i) => i % 4 === 1)));
  const before = await grab();
  await page.mouse.move(x - 60, y - 100);
  await page.mouse.down();
  for (let i = 1; i <= 20; ++i)
    await page.mouse.move(x - 60, y - 100 + 10 * i);
  await page.mouse.up();
  await showsTheRightPixels(page, `a stroke with edge ${edge}`);
  const after = await grab();
  return after.filter((value, i) => value !== before[i]).length;
}

async function theBrushKeepsToEdges(page) {
  await click(page, 'button[aria-label="Add local adjustment: brush"]');
  await atRest(page);
  await page.focus(sliderCalled('Brightness'));
  await press(page, 'ArrowRight', 40);
  await showsTheRightPixels(page, 'an adjustment that selects nothing yet');
  const free = await paint(page, 0);
  assert.ok(free > 1000, `${free} pixels painted`);
  await withControl(page, 'z');
  const kept = await paint(page, 3);
  assert.ok(kept > 100 && kept < 0.9 * free, `${kept} pixels painted with edge sensitivity, ${free} without`);
  await page.focus('#photograph');
  await press(page, 'ArrowDown', 3);
  await press(page, 'Space');
  await showsTheRightPixels(page, 'a dot by the keyboard');
  assert.equal((await recipeOf(page)).locals[0].mask.components[0].brush.strokes.length, 2);
  for (const kind of ['linear gradient', 'radial gradient', 'luma range']) {
    await click(page, `button[aria-label="Add part: ${kind}"]`);
    await showsTheRightPixels(page, kind);
  }
  await click(page, '#locals .entry button');
}

/** Marks are drawn over the picture and go without a trace; a preset is a step like any other. */
async function marksAndPresetsComeAndGo(page) {
  const plain = (await shownOn(page)).digest;
  await click(page, '#clipping');
  await atRest(page);
  assert.notEqual((await shownOn(page)).digest, plain);
  await click(page, '#clipping');
  assert.equal(await showsTheRightPixels(page, 'without marks'), plain);
  await page.select('select[aria-label="Preset"]', 'Black and white');
  await showsTheRightPixels(page, 'a preset');
  assert.equal((await recipeOf(page)).color.saturation, -1);
  await page.type('input[aria-label="Name of a new preset"]', 'mine');
  await click(page, 'button[aria-label="Save as preset"]');
  await page.waitForFunction(() => [...document.querySelectorAll('option')].some((one) => one.value === 'mine'));
  await click(page, '#undo');
  assert.equal(await showsTheRightPixels(page, 'the preset undone'), plain);
  await page.select('select[aria-label="Preset"]', 'mine');
  await showsTheRightPixels(page, 'a preset of the person');
  assert.equal((await recipeOf(page)).color.saturation, -1);
  await click(page, '#undo');
  await atRest(page);
}

/** Left of the divider lies the neutral picture, right of it the developed one. */
async function theWipeShowsBoth(page) {
  await page.focus('#photograph');
  await press(page, 'b');
  await page.waitForFunction(() => document.getElementById('photograph').dataset.before, {timeout: 30000});
  await showsTheRightPixels(page, 'before', neutral, 0, 0.5);
  await showsTheRightPixels(page, 'after', undefined, 0.5, 1);
  await page.screenshot({path: path.join(out, 'editor-1280-before-after.png')});
  await page.focus('#divider');
  await press(page, 'ArrowRight', 5);
  await showsTheRightPixels(page, 'before, more of it', neutral, 0, 0.6);
  await page.focus('#photograph');
  await press(page, 'b');
  await showsTheRightPixels(page, 'without the divider');
}

async function zoomStaysUnderThePointer(page) {
  const [x, y, box] = await middleOf(page), at = [x + 150, y - 80];
  const under = () => page.evaluate(async (x, y) => {
    const {shareAt} = await import('./geometry.js');
    return shareAt(x, y);
  }, at[0] - box.x, at[1] - box.y);
  await page.mouse.move(...at);
  const before = await under();
  for (let i = 0; i < 5; ++i)
    await page.mouse.wheel({deltaY: -120});
  await atRest(page);
  const after = await under();
  assert.ok(Math.hypot(after[0] - before[0], after[1] - before[1]) < 0.002, `${before} became ${after}`);
  await click(page, '#locals .entry button'); // a double click belongs to the picture, not to a mask
  await page.mouse.click(...at, {count: 2});
  await showsTheRightPixels(page, 'pixel on pixel');
  assert.equal(await page.$eval('#zoom', (zoom) => zoom.textContent), '100 %');
  await page.mouse.down();
  await page.mouse.move(at[0] - 90, at[1] - 40, {steps: 4});
  await page.mouse.up();
  const [left, right] = [await page.touchscreen.touchStart(x - 50, y), await page.touchscreen.touchStart(x + 50, y)];
  await left.move(x - 100, y);
  await right.move(x + 100, y);
  await left.end();
  await right.end();
  assert.equal(await page.$eval('#zoom', (zoom) => zoom.textContent), '200 %', 'a pinch');
  await press(page, '1');
  await showsTheRightPixels(page, 'moved');
  await zoomToHalf(page);
}

async function exportsAreThoseOfTheCommand(page, folder) {
  await page.focus('#photograph');
  await withControl(page, 'e');
  await page.waitForSelector('#startExport');
  await click(page, '#startExport');
  await page.waitForFunction(() => /1 exported/.test(document.getElementById('dialog').textContent), {timeout: 60000});
  await press(page, 'Escape');
  const made = path.join(folder, 'again.jpg');
  execFileSync(program, ['develop', path.join(folder, large), '-o', made, '--quiet', '--recipe',
    path.join(folder, `${large}.pixmill.json`)]);
  assert.ok(fs.readFileSync(made).equals(fs.readFileSync(path.join(folder, 'developed', large))), 'other bytes');
}

async function settingsAreCopied(page, folder) {
  await withControl(page, 'C');
  await page.evaluate((name) => [...document.querySelectorAll('#dialog label')].find((one) => one.textContent === name)
    .firstChild.click(), other);
  await page.evaluate(() => [...document.querySelectorAll('#dialog button')].find((one) => one.textContent === 'Copy').click());
  const file = path.join(folder, `${other}.pixmill.json`);
  for (let i = 0; i < 100 && !fs.existsSync(file); ++i)
    await new Promise((done) => setTimeout(done, 50));
  assert.equal(JSON.parse(fs.readFileSync(file)).light.contrast, 0.125);
}

/** All the way back, and forward again. */
async function undoFindsTheFirstBits(page, first) {
  const last = await showsTheRightPixels(page, 'before undo');
  let steps = 0;
  while (!await page.$eval('#undo', (undo) => undo.disabled)) {
    await withControl(page, 'z');
    await atRest(page);
    assert.ok(++steps < 200);
  }
  assert.equal(await showsTheRightPixels(page, 'undone', neutral), first);
  for (; steps > 0; --steps)
    await withControl(page, 'y');
  assert.equal(await showsTheRightPixels(page, 'done again'), last);
}

async function twoTabsShowOnePhotograph(browser, page, address) {
  const second = await tabOf(browser, `${address}#${large}`);
  await zoomToHalf(second);
  assert.equal(await showsTheRightPixels(second, 'a second tab'), (await shownOn(page)).digest);
  await page.bringToFront();
  await page.focus(sliderCalled('Warmth'));
  await press(page, 'ArrowLeft', 20);
  const here = await showsTheRightPixels(page, 'the first tab');
  await second.waitForFunction((selector) => document.querySelector(selector).value === '-20', {}, sliderCalled('Warmth'));
  assert.equal(await showsTheRightPixels(second, 'the second tab follows'), here);
  assert.deepEqual(second.faults, []);
  await second.close();
  await page.bringToFront();
}

/** Killed while a slider moves, started again in its place: the page finds its way back, the recipe what was at rest. */
async function aKilledServerIsFoundAgain(page, server, folder) {
  const before = await recipeOf(page);
  assert.deepEqual(page.faults, []);
  await page.evaluate((selector) => {
    const slider = document.querySelector(selector);
    for (let i = 0; i < 30; ++i) {
      slider.value = i;
      slider.dispatchEvent(new Event('input', {bubbles: true}));
    }
  }, sliderCalled('Tint'));
  await server.stop('SIGKILL');
  const file = path.join(folder, `${large}.pixmill.json`);
  execFileSync(program, ['recipe', 'check', file]);
  assert.deepEqual(JSON.parse(fs.readFileSync(file)), before);
  const again = await serve(program, folder, server);
  await page.waitForFunction(() => !/not there/.test(document.getElementById('state').textContent), {timeout: 30000});
  await showsTheRightPixels(page, 'after the server came back');
  assert.equal((await recipeOf(page)).color.tint, 0.29, 'what moved when the line broke is not lost');
  page.faults = page.faults.filter((fault) => !/WebSocket|net::ERR_/.test(fault)); // whatever was under way was cut
  return again;
}

async function aReloadFindsEverything(page) {
  const last = await showsTheRightPixels(page, 'before the reload');
  await page.reload();
  await zoomToHalf(page);
  assert.equal(await showsTheRightPixels(page, 'after the reload'), last);
  assert.equal(await page.$$eval('#locals .entry', (all) => all.length), 2);
}

/** Names and roles for those who do not see the page; nothing beside it at the width of a telephone; nothing jumps. */
async function thePageIsPlain(page) {
  const {nodes} = await page._client().send('Accessibility.getFullAXTree');
  const named = nodes.filter(({ignored}) => !ignored).map(({role, name}) => [role?.value, name?.value ?? '']);
  const has = (role, name) => named.some(([r, n]) => r === role && n === name);
  for (const [role, name] of [['slider', 'Shadows'], ['button', 'Undo'], ['button', 'Redo'], ['button', 'Export'],
    ['image', 'Photograph']])
    assert.ok(has(role, name), `no ${role} "${name}"`);
  for (const role of ['button', 'slider', 'spinbutton', 'combobox', 'checkbox', 'textbox'])
    assert.deepEqual(named.filter(([r, n]) => r === role && !n), [], `a ${role} without a name`);
  assert.ok(await page.evaluate(() => window.shifted ?? 0) < 0.01, 'the page jumps');
  for (const [width, height] of [[1280, 800], [390, 844]]) {
    await page.setViewport({width, height});
    await atRest(page);
    await page.$eval('#panel', (panel) => { panel.scrollTop = 0; });
    assert.ok(await page.evaluate(() => document.documentElement.scrollWidth <= innerWidth), `wider than ${width}`);
    await page.screenshot({path: path.join(out, `editor-${width}.png`)});
  }
  await page.setViewport({width: 1280, height: 800});
  await atRest(page);
}

fs.mkdirSync(out, {recursive: true});
const folder = folderOf(large, other);
fs.writeFileSync(path.join(folder, 'swap.cube'), 'LUT_3D_SIZE 2\n0 0 0\n0 0 1\n0 1 0\n0 1 1\n1 0 0\n1 0 1\n1 1 0\n1 1 1\n');
let server = await serve(program, folder);
const browser = await browse();
try {
  oracle = oracleOf(path.join(folder, large));
  const page = await tabOf(browser, `${server.address}#${large}`);
  await page.evaluate(() => new PerformanceObserver((list) => {
    for (const {value, hadRecentInput} of list.getEntries())
      window.shifted = (window.shifted ?? 0) + (hadRecentInput ? 0 : value);
  }).observe({type: 'layout-shift'}));
  await zoomToHalf(page);
  const first = await showsTheRightPixels(page, 'as it was opened', neutral);
  await everyControlShowsTheRightPixels(page, first);
  await numbersAreTyped(page);
  await theBrushKeepsToEdges(page);
  await marksAndPresetsComeAndGo(page);
  await theWipeShowsBoth(page);
  await zoomStaysUnderThePointer(page);
  await settingsAreCopied(page, folder);
  await exportsAreThoseOfTheCommand(page, folder);
  await undoFindsTheFirstBits(page, first);
  await twoTabsShowOnePhotograph(browser, page, server.address);
  server = await aKilledServerIsFoundAgain(page, server, folder);
  await aReloadFindsEverything(page);
  await thePageIsPlain(page);
  assert.deepEqual(page.faults, []);
  console.log(`page: ${checked} views have the developer's pixels; pictures in ${out}`);
} finally {
  oracle?.end();
  await browser.close();
  await server.stop();
  fs.rmSync(folder, {recursive: true});
}
