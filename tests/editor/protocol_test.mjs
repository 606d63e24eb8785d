// The server met without its page: what it refuses, that the newest settings win, and 10,000 hostile messages.
//   protocol_test.mjs PIXMILL ORACLE [SEED]
import assert from 'node:assert/strict';
import fs from 'node:fs';
import http from 'node:http';
import path from 'node:path';
import {execFileSync} from 'node:child_process';
import {folderOf, load, serve} from './stage.mjs';

const WebSocket = load('ws');
const program = process.argv[2], seed = Number(process.argv[4] ?? 7);
const photo = 'Wine_by_Jakkub_Mede.jpg', other = 'umang_by_Abhishek_Mudgal.jpg';
const broken = 'broken_by_us.jpg';
const kMessages = 10000;

/** Small repeatable random numbers. */
let state = seed >>> 0;
const random = (n) => {
  state = (Math.imul(state, 1664525) + 1013904223) >>> 0;
  return Math.floor(state / 2 ** 32 * n);
};
const oneOf = (list) => list[random(list.length)];

class Tab {
  constructor(server, {origin = new URL(server.address).origin} = {}) {
    this.frames = [];
    this.messages = [];
    this.waiting = [];
    this.acknowledges = true;
    this.seq = 0;
    this.socket = new WebSocket(server.address.replace('http', 'ws') + 'live', {origin: origin || undefined, perMessageDeflate: false});
    this.opened = new Promise((resolve, reject) => {
      this.socket.once('open', resolve);
      this.socket.once('error', reject);
    });
    this.socket.on('message', (data, binary) => binary ? this.#frame(data) : this.#took(JSON.parse(data)));
    this.socket.on('close', () => { this.closed = true; });
  }
  #frame(data) {
    const head = JSON.parse(data.subarray(4, 4 + data.readUInt32LE(0)).toString());
    assert.equal(data.length - 4096, head.format === 'RGBA' ? 4 * head.width * head.height
      : 3 / 2 * (head.width + head.width % 2) * (head.height + head.height % 2));
    this.frames.push(head);
    if (this.acknowledges)
      this.send({type: 'ack', frame: head.frame});
    this.#took(head);
  }
  #took(message) {
    this.messages.push(message);
    this.waiting = this.waiting.filter(({wanted, resolve}) => !wanted(message) || resolve(message));
  }
  send(message) { this.socket.send(typeof message === 'string' || Buffer.isBuffer(message) ? message : JSON.stringify(message)); }
  numbered(message) { this.send({...message, seq: ++this.seq}); return this.seq; }
  /** The next message that is wanted. */
  next(wanted, what, ms = 60000) {
    return new Promise((resolve, reject) => {
      const timer = setTimeout(() => reject(new Error(`waited for ${what}`)), ms);
      this.waiting.push({wanted, resolve: (message) => { clearTimeout(timer); resolve(message); return false; }});
    });
  }
  async open(name) {
    const settings = this.next(({type}) => type === 'photo', 'settings'), opened = this.next(({type}) => type === 'opened', 'opening');
    this.send({type: 'open', photo: name});
    await opened;
    this.recipe = (await settings).recipe;
  }
  view(members = {}) {
    return this.numbered({type: 'view', x: 0, y: 0, width: 200, height: 120, scale: 4, before: false, clipping: false,
      mask: -1, rest: true, ...members});
  }
  /** A frame at rest that shows message `seq`. */
  rest(seq) { return this.next((head) => head.type === 'frame' && head.kind === 'rest' && head.seq >= seq, `rest of ${seq}`); }
}

const get = (server, target, headers = {}, method = 'GET') => new Promise((resolve, reject) => {
  const request = http.request({host: '127.0.0.1', port: server.port, path: target, method, headers}, (answer) => {
    let text = '';
    answer.on('data', (data) => { text += data; });
    answer.on('end', () => resolve({status: answer.statusCode, text, headers: answer.headers}));
  });
  request.on('error', reject);
  request.end();
});

async function onlyItsOwnAddressIsAnswered(server) {
  const own = `/${server.token}/`;
  assert.equal((await get(server, own)).status, 200);
  const table = [
    ['/', {}, 403], ['/x/', {}, 403], [`/${server.token}`, {}, 403], [`/${server.token.slice(1)}0/`, {}, 403],
    [own, {host: 'elsewhere.example'}, 403], [own, {origin: 'http://elsewhere.example'}, 403],
    [`${own}../../etc/passwd`, {}, 404], [`${own}thumb/..%2f..%2f..%2fetc%2fpasswd`, {}, 404],
    [`${own}thumb/${photo}.pixmill.json`, {}, 404], [`${own}live`, {}, 404], [`${own}thumb/%zz%`, {}, 404],
  ];
  for (const [target, headers, status] of table)
    assert.equal((await get(server, target, headers)).status, status, `${target} ${JSON.stringify(headers)}`);
  assert.equal((await get(server, own, {}, 'DELETE')).status, 405);
  await assert.rejects(get(server, own, {long: 'x'.repeat(20000)}));
  assert.match((await get(server, own)).headers['content-security-policy'], /default-src 'self'/);
  for (const origin of ['http://elsewhere.example', ''])
    await assert.rejects(new Tab(server, {origin}).opened, /403/, `origin ${origin}`);
}

/** It stays in its place until there is something to save, and then beside it. */
async function aRecipeThatIsNoneIsKept(server, folder) {
  const file = path.join(folder, `${other}.pixmill.json`), words = '{"version": 1, "light": ';
  fs.writeFileSync(file, words);
  const tab = new Tab(server);
  await tab.opened;
  await tab.open(other);
  assert.equal(tab.recipe.light.shadows, 0);
  assert.equal(fs.readFileSync(file, 'utf8'), words);
  const saved = tab.next(({type}) => type === 'saved', 'saving');
  tab.numbered({type: 'recipe', recipe: tab.recipe, rest: true});
  await saved;
  assert.equal(fs.readFileSync(`${file}.unreadable`, 'utf8'), words);
  execFileSync(program, ['recipe', 'check', file]);
  tab.socket.close();
}

async function theNewestSettingsWinAndNothingQueues(server) {
  const tab = new Tab(server);
  await tab.opened;
  await tab.open(photo);
  await tab.rest(tab.view());
  tab.acknowledges = false;
  tab.frames = [];
  for (let i = 0; i < 300; ++i) {
    tab.recipe.light.shadows = i / 400;
    tab.numbered({type: 'recipe', recipe: tab.recipe, rest: false});
  }
  const last = tab.numbered({type: 'recipe', recipe: tab.recipe, rest: true});
  await tab.next(({type}) => type === 'steps', 'steps');
  await new Promise((done) => setTimeout(done, 500));
  assert.equal(tab.frames.length, 2, 'frames on the way to a tab that takes none');
  tab.acknowledges = true;
  const rest = tab.rest(last);
  for (const {frame} of tab.frames)
    tab.send({type: 'ack', frame});
  await rest;
  tab.socket.close();
}

async function aBrokenPhotographIsToldAndNoMore(server) {
  const tab = new Tab(server);
  await tab.opened;
  const fault = tab.next(({type, about}) => type === 'error' && about === 'photo', 'a word on the broken one');
  tab.send({type: 'open', photo: broken});
  assert.match((await fault).text, /broken_by_us/);
  await tab.open(photo);
  await tab.rest(tab.view());
  tab.socket.close();
}

async function aClosedTabCancelsOpening(server) {
  const gone = new Tab(server), stays = new Tab(server);
  await Promise.all([gone.opened, stays.opened]);
  gone.send({type: 'open', photo: other});
  await gone.next(({type}) => type === 'opening', 'a share of opening');
  gone.socket.terminate();
  await stays.open(other); // opens anew, whatever became of the first try
  await stays.rest(stays.view());
  stays.socket.close();
}

/** A recipe with something wrong, or dear, in it. */
function hostileRecipe(recipe) {
  const made = structuredClone(recipe);
  const stroke = (points, members = {}) => ({mask: {components: [{brush: {strokes: [{points, ...members}]}}]}});
  const far = Array.from({length: 2000}, (_, i) => [i % 2 ? 100 : -100, 50]);
  oneOf([
    () => { made.light.shadows = oneOf([2, -1e30, '0', null, true, [], {}, 1e308]); },
    () => { made[oneOf(['__proto__x', 'light2', ''])] = 1; },
    () => { made.version = oneOf([0, 2, '1', null]); },
    () => { made.table = {path: oneOf(['/etc/passwd', '../../etc/passwd', 'none.cube', '\u0000'])}; },
    () => { made.locals = [stroke(far, {diameter: 1e-6})]; },
    () => { made.locals = [stroke(far, {diameter: 2, edge: 4})]; },
    () => { made.locals = Array.from({length: 300}, () => stroke([[0.5, 0.5]])); },
    () => { made.locals = [stroke([[oneOf([1e9, -1e9, 'x', null]), 0]])]; },
    () => { made.locals = [{mask: {components: [{radial: {radiusX: oneOf([0, -1, 5, 1e-6])}}]}}]; },
    () => { made.locals = oneOf([null, 1, 'x', {}, [1], [[]], [null]]); },
    () => { made.light.shadows = random(200) / 100 - 1; },
    () => { made.locals = [stroke([[random(100) / 100, random(100) / 100]], {diameter: 0.1})]; },
  ])();
  return made;
}

const junk = () => oneOf([null, true, -1, 0, 1e300, 4294967296, -0.5, '', 'x', 'x'.repeat(random(3000)), [], {}, [[[[]]]],
  '../../etc/passwd', photo, '\u0000', '\ud800', {type: 'open'}]);

function hostileMessage(tab) {
  const good = [
    {type: 'open', photo: oneOf([photo, photo, other])},
    {type: 'view', seq: ++tab.seq, x: random(2000), y: random(2000), width: 1 + random(400), height: 1 + random(400),
      scale: 1 + random(64), before: random(2) === 0, clipping: random(2) === 0, mask: random(4) - 1, rest: random(2) === 0},
    {type: 'recipe', seq: ++tab.seq, recipe: hostileRecipe(tab.recipe), rest: random(2) === 0},
    {type: 'undo', seq: ++tab.seq}, {type: 'redo', seq: ++tab.seq}, {type: 'ack', frame: random(1000)},
    {type: 'apply', photos: [oneOf([photo, other, '../x', ''])], recipe: hostileRecipe(tab.recipe)},
    {type: 'export', photos: [oneOf(['/etc/passwd', '', 'x'])], format: oneOf(['jpeg', 'exe', '../']), quality: random(200), depth: random(20)},
    {type: 'stopExport'}, {type: 'savePreset', name: 'p' + random(5), recipe: hostileRecipe(tab.recipe)},
    {type: 'deletePreset', name: 'p' + random(5)},
  ];
  const message = oneOf(good);
  return oneOf([
    () => JSON.stringify(message),
    () => { const keys = Object.keys(message); message[oneOf(keys)] = junk(); return JSON.stringify(message); },
    () => { delete message[oneOf(Object.keys(message))]; return JSON.stringify(message); },
    () => { message['k' + random(9)] = junk(); return JSON.stringify(message); },
    () => JSON.stringify(message).slice(0, random(60)),
    () => JSON.stringify(junk()),
    () => '['.repeat(1 + random(20000)),
    () => '{"type":"recipe","seq":1,"rest":true,"recipe":' + '{"a":'.repeat(1 + random(5000)),
    () => Buffer.from(Array.from({length: random(200)}, () => random(256))),
  ])();
}

/** Whatever comes, the tab that behaves goes on to be served. */
async function hostileMessagesHarmNothing(server) {
  const honest = new Tab(server);
  await honest.opened;
  await honest.open(photo);
  let tab = null, sent = 0;
  while (sent < kMessages) {
    if (!tab || tab.closed || random(2000) === 0) {
      tab?.socket.terminate();
      tab = new Tab(server);
      await tab.opened;
      tab.recipe = honest.recipe;
      tab.send({type: 'open', photo});
    }
    for (let i = 0; i < 20; ++i, ++sent)
      tab.send(hostileMessage(tab));
    await new Promise((done) => setTimeout(done, 40)); // within the rate, so that each is looked at
    if (sent % 2000 === 0) {
      await honest.rest(honest.view({x: sent / 2000}));
      assert.ok(!honest.closed);
    }
  }
  const big = new Tab(server);
  await big.opened;
  big.send('x'.repeat(5 << 20));
  await new Promise((done) => big.socket.once('close', done));
  const flood = new Tab(server);
  await flood.opened;
  for (let i = 0; i < 5000; ++i)
    flood.send({type: 'stopExport'});
  await flood.next(({type, text}) => type === 'error' && /too much/.test(text), 'a word on the rate');
  assert.ok(tab.messages.some(({type}) => type === 'error') || honest.messages.length > 0);
  tab.socket.terminate();
  flood.socket.terminate();
  await honest.rest(honest.view({x: 9}));
  honest.socket.close();
}

const folder = folderOf(photo, other);
fs.writeFileSync(path.join(folder, broken), fs.readFileSync(path.join(folder, photo)).subarray(0, 3000));
const server = await serve(program, folder);
try {
  await onlyItsOwnAddressIsAnswered(server);
  await aRecipeThatIsNoneIsKept(server, folder);
  await theNewestSettingsWinAndNothingQueues(server);
  await aBrokenPhotographIsToldAndNoMore(server);
  await aClosedTabCancelsOpening(server);
  await hostileMessagesHarmNothing(server);
  const {code} = await server.stop();
  assert.equal(code, 130);
  const recipe = path.join(folder, `${photo}.pixmill.json`);
  execFileSync(program, ['recipe', 'check', recipe]);
  assert.deepEqual(fs.readdirSync(folder).filter((name) => !name.includes('_by_')), [], 'files that are none of ours');
  console.log(`protocol: ${kMessages} hostile messages, seed ${seed}: all well`);
} finally {
  await server.stop('SIGKILL');
  fs.rmSync(folder, {recursive: true});
}
