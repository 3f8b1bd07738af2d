// Live pictures as they come: the parts of a multipart answer, each with the view that it shows.
import { Refusal } from './server.js';

const text = new TextDecoder('latin1');

export async function* pictures(path, signal) {
  const reply = await fetch(path, { cache: 'no-store', signal });
  if (!reply.ok) throw new Refusal(`The camera answers ${reply.status}.`);
  const reader = reply.body.getReader();
  let come = new Uint8Array(0);
  const more = async () => {
    const { value, done } = await reader.read();
    if (done) throw new Refusal('The camera sends no more pictures.');
    const before = come;
    come = new Uint8Array(before.length + value.length);
    come.set(before);
    come.set(value, before.length);
  };
  for (;;) {
    let head;
    while (!(head = /^[^]*?\r\n\r\n/.exec(text.decode(come.subarray(0, 2048))))) await more();
    const field = (name) => new RegExp(`^${name}: (.*)\r$`, 'm').exec(head[0])[1];
    const end = head[0].length + Number(field('Content-Length'));
    while (come.length < end) await more();
    const about = Object.fromEntries(new URLSearchParams(field('X-Camera-Picture')));
    yield {
      jpeg: new Blob([come.subarray(head[0].length, end)], { type: 'image/jpeg' }),
      view: { pan: Number(about.pan), tilt: Number(about.tilt), fov: Number(about.fov) },
      time: Number(about.time), stamp: about.stamp ?? '',
    };
    come = come.slice(end);
  }
}
