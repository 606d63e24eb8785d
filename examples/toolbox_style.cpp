// The toolbox page's look and its script. Grey and dark, as photographs are judged best.
#include "toolbox.h"

const char* const kPageStyle = R"(
:root { color-scheme: dark; --paper: #1c1c1c; --card: #242424; --ink: #e6e6e6; --faint: #a8a8a8; --line: #3c3c3c;
        --code: #1a1a1a; --focus: #ffd166; --c0: #8ab8ea; --c1: #e8a27c; --c2: #8fcf9f; --dpr: 1; }
* { box-sizing: border-box; }
html { scroll-behavior: smooth; }
@media (prefers-reduced-motion: reduce) { html { scroll-behavior: auto; } }
body { margin: 0 auto; max-width: 88rem; padding: 1rem clamp(.75rem, 3vw, 2.5rem) 4rem; background: var(--paper);
       color: var(--ink); font: 1rem/1.5 system-ui, sans-serif; }
h1 { margin: 1rem 0 .25rem; font-weight: 600; line-height: 1.15; }
h2, h3 { margin: 0; font-size: 1.15rem; font-weight: 600; line-height: 1.3; overflow-wrap: anywhere; }
h3 { font-size: 1rem; }
p { margin: .25rem 0 .9rem; max-width: 62rem; }
a { color: inherit; text-decoration-color: var(--faint); text-underline-offset: .2em; }
:focus-visible { outline: 3px solid var(--focus); outline-offset: 2px; }
.faint, figcaption { color: var(--faint); }
nav ul { display: flex; flex-wrap: wrap; gap: .15rem 1.1rem; margin: 0; padding: 0; list-style: none; }
nav a { display: inline-block; padding: .3rem 0; font-size: .9rem; }
section { margin: 1.25rem 0; padding: 1.1rem; background: var(--card); border-radius: .5rem; scroll-margin-top: 1rem; }
figure { margin: 0; min-width: 0; }
.look { display: grid; gap: 1rem; grid-template-columns: minmax(0, 8fr) minmax(0, 5fr); }
.look.alone { grid-template-columns: minmax(0, 60rem); }
.panes { display: grid; gap: .6rem; align-content: start; }
.stage { position: relative; overflow: hidden; border-radius: .25rem; background: #000; user-select: none; }
.stage img { position: absolute; inset: 0; width: 100%; height: 100%; }
.enlarged img { image-rendering: pixelated; }
.shot { visibility: hidden; }
.shot.on { visibility: visible; }
.stage .before { clip-path: inset(0 calc(100% - var(--at)) 0 0); }
.line { position: absolute; top: 0; bottom: 0; left: calc(var(--at) - 1px); width: 2px; background: #fff;
        box-shadow: 0 0 3px #000; pointer-events: none; }
.line::after { content: ""; position: absolute; top: 50%; left: -14px; width: 30px; height: 30px; margin-top: -15px;
               border: 2px solid #fff; border-radius: 50%; background: #0006; box-shadow: 0 0 3px #000; }
.wipe input[type=range] { position: absolute; inset: 0; width: 100%; height: 100%; margin: 0; appearance: none;
                          background: none; cursor: ew-resize; touch-action: pan-y; outline: none; }
input[type=range]::-webkit-slider-thumb { appearance: none; width: 1px; height: 1px; background: none; }
input[type=range]::-moz-range-thumb { width: 1px; height: 1px; border: 0; background: none; }
.stage:has(input:focus-visible) { outline: 3px solid var(--focus); outline-offset: 2px; }
.tag { position: absolute; bottom: .5rem; padding: .05rem .5rem; border-radius: .25rem; background: #000a; color: #fff;
       font-size: .8rem; pointer-events: none; }
.tag.left { left: .5rem; } .tag.right { right: .5rem; }
.frame { position: absolute; border: 1px solid #fff; outline: 1px solid #0008; pointer-events: none; opacity: .75; }
.pane { height: clamp(13rem, 20.5vw, 17rem); overflow: auto; border-radius: .25rem; background: #000; cursor: grab;
        scrollbar-width: thin; scrollbar-color: #777 #222; }
.pane:active { cursor: grabbing; }
.stack { position: relative; width: calc(var(--w) * 1px / var(--dpr)); height: calc(var(--h) * 1px / var(--dpr)); }
.stack img { position: absolute; inset: 0; width: 100%; height: 100%; -webkit-user-drag: none; user-select: none; }
.panes figcaption { margin: 0 0 .25rem; font-size: .8rem; }
.choices { display: flex; flex-wrap: wrap; gap: .5rem 1.25rem; margin-top: .7rem; }
fieldset { display: flex; flex-wrap: wrap; gap: .3rem; align-items: center; margin: 0; padding: 0; border: 0; min-width: 0; }
legend { float: left; margin-right: .5rem; padding: 0; color: var(--faint); font-size: .85rem; }
label { position: relative; font-size: .875rem; }
label input { position: absolute; inset: 0; width: 100%; height: 100%; margin: 0; opacity: 0; cursor: pointer; }
label span { display: block; padding: .3rem .7rem; border: 1px solid var(--line); border-radius: .3rem; }
label input:checked + span { background: #e6e6e6; color: #161616; border-color: #e6e6e6; }
label input:focus-visible + span { outline: 3px solid var(--focus); outline-offset: 2px; }
.calls { display: grid; margin-top: .6rem; }
.calls > * { grid-area: 1 / 1; }
code { padding: .35rem .5rem; border-radius: .25rem; background: var(--code); color: var(--ink);
       font: .8rem/1.45 ui-monospace, monospace; overflow-wrap: anywhere; }
.plots { display: grid; gap: 1.5rem; grid-template-columns: repeat(2, minmax(0, 1fr)); }
.plots figcaption { margin-top: .4rem; font-size: .875rem; }
svg { display: block; width: 100%; height: auto; margin-top: .5rem; font: 11px system-ui, sans-serif; }
svg .axis { stroke: var(--faint); fill: none; }
svg .tick { stroke: var(--line); fill: none; }
svg text { fill: var(--faint); }
svg .curve { fill: none; stroke-width: 2; }
@media (max-width: 56rem) {
  .look, .plots { grid-template-columns: minmax(0, 1fr); }
  .panes { grid-template-columns: 1fr 1fr; }
  section { padding: .75rem; margin-inline: -.25rem; }
}
)";

const char* const kPageScript = R"(
const all = (where, what) => [...where.querySelectorAll(what)];
const sharp = () => document.documentElement.style.setProperty('--dpr', devicePixelRatio);
sharp();

for (const look of all(document, '.look')) {
  const stage = look.querySelector('.stage'), range = look.querySelector('input[type=range]');
  const panes = all(look, '.pane'), frame = look.querySelector('.frame');

  const wipe = () => {
    stage.style.setProperty('--at', range.value + '%');
    range.setAttribute('aria-valuetext', Math.round(range.value) + ' % before, the rest after');
  };
  range.addEventListener('input', wipe);
  wipe();

  const choose = () => {
    const chosen = kind => look.querySelector(`input[data-kind=${kind}]:checked`)?.value ?? '0';
    for (const shot of all(look, '.shot'))
      shot.classList.toggle('on', shot.dataset.setting === chosen('setting') &&
                                  (shot.dataset.form ?? chosen('form')) === chosen('form'));
  };
  for (const radio of all(look, 'input[type=radio]'))
    radio.addEventListener('change', choose);
  choose();

  // The views at 1:1 show one place, and the frame in the picture tells which.
  const mark = pane => {
    const share = (a, b) => 100 * Math.min(1, a / b) + '%';
    frame.style.left = share(pane.scrollLeft, pane.scrollWidth);
    frame.style.top = share(pane.scrollTop, pane.scrollHeight);
    frame.style.width = share(pane.clientWidth, pane.scrollWidth);
    frame.style.height = share(pane.clientHeight, pane.scrollHeight);
  };
  for (const pane of panes) {
    pane.addEventListener('scroll', () => {
      for (const other of panes)
        if (other !== pane && (other.scrollLeft !== pane.scrollLeft || other.scrollTop !== pane.scrollTop))
          other.scrollTo({left: pane.scrollLeft, top: pane.scrollTop, behavior: 'instant'});
      mark(pane);
    });
    pane.addEventListener('pointerdown', down => {
      if (down.pointerType !== 'mouse' || down.button !== 0)
        return;
      pane.setPointerCapture(down.pointerId);
      const left = pane.scrollLeft + down.clientX, top = pane.scrollTop + down.clientY;
      pane.onpointermove = move => pane.scrollTo({left: left - move.clientX, top: top - move.clientY,
                                                  behavior: 'instant'});
      pane.onpointerup = pane.onpointercancel = () => pane.onpointermove = null;
    });
  }
  const home = () => {
    for (const pane of panes) {
      pane.scrollLeft = pane.dataset.x * pane.scrollWidth - pane.clientWidth / 2;
      pane.scrollTop = pane.dataset.y * pane.scrollHeight - pane.clientHeight / 2;
      mark(pane);
    }
  };
  home();
  addEventListener('resize', () => { sharp(); if (panes.length) mark(panes[0]); });
}
)";
