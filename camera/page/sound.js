// What the camera hears, live, and how loud it is.
import { get, part, say, tell } from './server.js';

const listen = part('sound-listen'), meter = part('sound-meter'), error = part('sound-error');
let playing = false;

const how = () => new URLSearchParams({ rate: part('sound-rate').value, format: part('sound-format').value, lobes: part('sound-lobes').value });

function set_address() {
  part('sound-download').href = `/api/audio?${how()}`;
}

// The loudest moment since the last question.
async function measure() {
  if (!playing) return;
  const answer = await tell(error, get('/api/audio/levels', { count: 6 }));
  if (playing && answer) {
    const rms = Math.max(...answer.levels.map((one) => one.rms)), peak = Math.max(...answer.levels.map((one) => one.peak));
    meter.value = rms;
    part('sound-words').textContent = `${rms.toFixed(0)} dB, peak ${peak.toFixed(0)} dB`;
  }
  setTimeout(measure, 300);
}

// ---- Playing. An audio element waits until it has far more than what comes in a second; this starts at once.

const samples = {
  wav: { bytes: 2, of: (data, i) => data.getInt16(2 * i, true) },
  alaw: { bytes: 1, of: (data, i) => {
    const code = data.getUint8(i) ^ 0x55, exponent = code >> 4 & 7, low = (code & 15) << 4 | 8;
    const size = exponent ? low + 256 << exponent - 1 : low;
    return code & 128 ? size : -size;
  } },
  ulaw: { bytes: 1, of: (data, i) => {
    const code = ~data.getUint8(i), size = (((code & 15) << 3) + 132 << (code >> 4 & 7)) - 132;
    return code & 128 ? -size : size;
  } },
};
const ahead = 0.2; // seconds, against gaps

// Where the samples begin in a WAV file; -1 while that hasn't come yet.
function head_length(bytes) {
  const data = new DataView(bytes.buffer, bytes.byteOffset, bytes.length);
  for (let at = 12; at + 8 <= bytes.length; at += 8 + data.getUint32(at + 4, true))
    if (data.getUint32(at) === 0x64617461) return at + 8;
  return -1;
}

async function play(fields, stopping, speaker) {
  const code = samples[fields.get('format')], rate = Number(fields.get('rate'));
  const reply = await fetch(`/api/audio/live?${fields}`, { signal: stopping.signal });
  if (!reply.ok) throw new Error();
  const reader = reply.body.getReader();
  let rest = new Uint8Array(), body = false, next = 0;
  for (;;) {
    const { value, done } = await reader.read();
    if (done) throw new Error();
    const bytes = new Uint8Array(rest.length + value.length);
    bytes.set(rest);
    bytes.set(value, rest.length);
    const head = body ? 0 : head_length(bytes), count = head < 0 ? 0 : Math.floor((bytes.length - head) / code.bytes);
    body ||= head >= 0;
    rest = bytes.slice(body ? head + count * code.bytes : 0);
    if (!count) continue;
    const data = new DataView(bytes.buffer, head), piece = speaker.createBuffer(1, count, rate);
    piece.copyToChannel(Float32Array.from({ length: count }, (_, i) => code.of(data, i) / 32768), 0);
    const source = new AudioBufferSourceNode(speaker, { buffer: piece });
    source.connect(speaker.destination);
    if (next < speaker.currentTime) next = speaker.currentTime + ahead;
    source.start(next);
    next += piece.duration;
  }
}

let stopping = null;
async function start() {
  stopping?.abort();
  const mine = stopping = new AbortController(), fields = how();
  const speaker = new AudioContext({ sampleRate: Number(fields.get('rate')) });
  try {
    await play(fields, mine, speaker);
  } catch {
    if (mine.signal.aborted) return;
    stop();
    say(error, 'The sound has broken off.');
  } finally {
    speaker.close();
  }
}
function stop() {
  playing = false;
  stopping.abort();
  listen.setAttribute('aria-pressed', 'false');
  part('sound-levels').hidden = true;
}
listen.addEventListener('click', () => {
  if (playing) return stop();
  playing = true;
  listen.setAttribute('aria-pressed', 'true');
  part('sound-levels').hidden = false;
  say(error, '');
  start();
  measure();
});
for (const choice of ['sound-rate', 'sound-format', 'sound-lobes'])
  part(choice).addEventListener('change', () => {
    set_address();
    if (playing) start();
  });
set_address();
