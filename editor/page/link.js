// The line to the server: text both ways, frames in. It comes back by itself.
import {emit} from './store.js';

let socket = null, seq = 0, wait = 250;
const sentAt = new Map(); // seq: time of the event that caused it

export function connect() {
  const address = new URL('live', location.href);
  address.protocol = 'ws:';
  address.hash = '';
  socket = new WebSocket(address);
  socket.binaryType = 'arraybuffer';
  socket.onopen = () => { wait = 250; };
  socket.onmessage = (event) => typeof event.data === 'string' ? received(JSON.parse(event.data)) : frame(event.data);
  socket.onclose = () => {
    emit('offline');
    setTimeout(connect, wait);
    wait = Math.min(2000, wait * 1.6);
  };
}

function received(message) {
  emit(`server:${message.type}`, message);
}

const words = new TextDecoder();

function frame(buffer) {
  const arrived = performance.now();
  const length = new DataView(buffer).getUint32(0, true);
  const head = JSON.parse(words.decode(new Uint8Array(buffer, 4, length)));
  head.arrived = arrived;
  emit('frame', {head, pixels: new Uint8ClampedArray(buffer, 4 + length)});
  send({type: 'ack', frame: head.frame});
}

export const isOnline = () => socket?.readyState === WebSocket.OPEN;

export function send(message) {
  if (isOnline())
    socket.send(JSON.stringify(message));
}

/** Sends what frames answer to; `at` is the time of the event that caused it. @return its number. */
export function sendNumbered(message, at = performance.now()) {
  sentAt.set(++seq, at);
  send({...message, seq});
  return seq;
}

/** When the newest event that a frame shows happened, told once; undefined for frames that answer to nothing new. */
export function causeOf(head) {
  const at = sentAt.get(head.seq);
  for (const old of sentAt.keys())
    if (old <= head.seq)
      sentAt.delete(old);
  return at;
}

export const lastSeq = () => seq;
