// The histogram of what is shown, and the figures in the picture's corner.
import {on} from './store.js';

const canvas = document.getElementById('histogram'), times = document.getElementById('times');
const context = canvas.getContext('2d');
const kColours = ['#d04a4a', '#49b04f', '#4d78e0'];

function draw({histogram}) {
  const {width, height} = canvas;
  const inner = histogram.flatMap((counts) => counts.slice(1, -1)); // the ends would flatten all the rest
  const most = Math.max(1, ...inner);
  context.globalCompositeOperation = 'source-over';
  context.fillStyle = '#1b1b1b';
  context.fillRect(0, 0, width, height);
  context.globalCompositeOperation = 'lighter';
  histogram.forEach((counts, channel) => {
    context.fillStyle = kColours[channel];
    counts.forEach((count, i) => {
      const high = Math.min(1, count / most) * (height - 4), each = width / counts.length;
      context.fillRect(i * each, height - high, each, high);
    });
  });
}

on('shown', (head) => {
  draw(head);
  canvas.ariaLabel = `Histogram; ${(head.clipped[0] * 100).toFixed(1)} % black, ${(head.clipped[1] * 100).toFixed(1)} % ` +
    'at the end of a channel';
  if (head.cause !== undefined && head.kind === 'moving')
    times.textContent = `${Math.max(0, head.painted - head.cause).toFixed(0)} ms`;
});
on('photo', () => {
  times.textContent = '';
  context.clearRect(0, 0, canvas.width, canvas.height);
});
