// What the editor's tests share: a folder of photographs, the server, the browser, a tab and the words to move it.
import {execFileSync, spawn} from 'node:child_process';
import fs from 'node:fs';
import {createRequire} from 'node:module';
import os from 'node:os';
import path from 'node:path';

/** The tests' packages lie where the build put them. */
export const load = createRequire(path.join(process.env.PIXMILL_NODE_MODULES ?? process.cwd(), 'x.js'));

export const photographs = '/usr/share/backgrounds';
export const large = 'seeding_by_Clements_Engelhardt.jpg'; // 16 megapixels

/** A folder with links to nothing: copies of the named photographs. */
export function folderOf(...names) {
  const folder = fs.mkdtempSync(path.join(os.tmpdir(), 'pixmill-editor-'));
  for (const name of names)
    fs.copyFileSync(path.join(photographs, name), path.join(folder, name));
  return folder;
}

/** `pixmill edit` on a folder. `again`: the address of one before, whose place it takes. */
export async function serve(program, place, {port = 0, token} = {}) {
  const env = {...process.env, XDG_CONFIG_HOME: path.join(os.tmpdir(), `pixmill-config-${process.pid}`)};
  if (token)
    env.PIXMILL_EDIT_TOKEN = token;
  const options = ['edit', '--no-browser', place, ...(port ? ['--port', String(port)] : [])];
  const child = spawn(program, options, {stdio: ['ignore', 'pipe', 'inherit'], env});
  const ended = new Promise((resolve) => child.once('exit', (code, signal) => resolve({code, signal})));
  const address = await new Promise((resolve, reject) => {
    child.stdout.once('data', (data) => resolve(String(data).trim()));
    child.once('exit', (code) => reject(new Error(`the editor ended with ${code}`)));
  });
  const url = new URL(address);
  return {
    address, port: Number(url.port), token: url.pathname.split('/')[1], pid: child.pid, ended,
    async stop(signal = 'SIGTERM') {
      child.kill(signal);
      const how = await ended;
      fs.rmSync(env.XDG_CONFIG_HOME, {recursive: true, force: true});
      return how;
    },
  };
}

/** Chromium that can reach this machine alone. */
export function browse() {
  const root = process.getuid?.() === 0 ? ['--no-sandbox'] : [];
  return load('puppeteer-core').launch({
    executablePath: process.env.PIXMILL_CHROMIUM ?? '/usr/bin/chromium',
    protocolTimeout: 120000,
    args: [...root, '--disable-quic', '--no-first-run', '--disable-background-networking', '--disable-component-update',
      '--disable-sync', '--host-resolver-rules=MAP * ~NOTFOUND, EXCLUDE 127.0.0.1'],
  });
}

/** A tab whose canvas has this size. Everything the page complains of is an error of the test. */
export async function tabOf(browser, address, {width = 1280, height = 800} = {}) {
  const page = await browser.newPage();
  page.faults = [];
  page.on('pageerror', (fault) => page.faults.push(fault.message));
  page.on('console', (message) => message.type() === 'error' && page.faults.push(message.text()));
  await page.setViewport({width, height});
  await page.goto(address);
  await page._client().send('Network.disable'); // its reports cost more than the frames
  return page;
}

/** Waits until the canvas shows the newest settings at rest. */
export async function atRest(page, {timeout = 60000} = {}) {
  await page.evaluate(async (timeout) => {
    const [{lastSeq}, {isSettled}, {isMoving}] = await Promise.all([import('./link.js'), import('./edits.js'),
      import('./picture.js')]);
    const canvas = document.getElementById('photograph');
    const end = performance.now() + timeout;
    const rests = () => isSettled() && !isMoving() && canvas.dataset.kind === 'rest' &&
      Number(canvas.dataset.seq) === lastSeq();
    for (let quiet = 0; quiet < 3; quiet = rests() ? quiet + 1 : 0) { // a view may follow from the settings
      if (performance.now() > end)
        throw new Error(`not at rest: ${JSON.stringify(canvas.dataset)}, last ${lastSeq()}`);
      await new Promise((done) => setTimeout(done, 20));
    }
  }, timeout);
}

export const chromiumVersion = (program) => execFileSync(program, ['--version'], {encoding: 'utf8'}).trim();
