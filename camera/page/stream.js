// Live pictures: the parts of a multipart answer, each with the view that it shows. The camera learns from
// acknowledgments how much the link carries, and sends no more than that.
import { latest, post, RequestError } from './server.js';

const latin1 = new TextDecoder('latin1');

const parseFields = (text) => Object.fromEntries(new URLSearchParams(text));

// From "name;dur=1.5, name;dur=2".
const parseCosts = (text) =>
    text.split(', ').map((part) => ({ name: part.split(';')[0], milliseconds: Number(part.split('=')[1]) }));

function parsePicture(field, jpeg) {
    const { pan, tilt, fov, time, number, stamp = '' } = parseFields(field('X-Camera-Picture'));
    return {
        number: Number(number),
        revisions: parseFields(field('X-Camera-Revisions')),
        costs: parseCosts(field('Server-Timing')),
        jpeg: new Blob([jpeg], { type: 'image/jpeg' }),
        view: { pan: Number(pan), tilt: Number(tilt), fov: Number(fov) },
        time: Number(time),
        stamp,
    };
}

// An acknowledgment that is lost is made up for by the next one.
const acknowledge = latest((stream, picture, arrived) => {
    const ago = ((performance.now() - arrived) / 1000).toFixed(3);
    return post('/api/video/seen', { stream, picture, ago }).catch(() => {});
});

export async function* readPictures(fields, signal) {
    const query = new URLSearchParams({ ...fields, adapt: 1 });
    const response = await fetch(`/api/video/live?${query}`, { cache: 'no-store', signal });
    if (!response.ok) throw new RequestError(`The camera answers ${response.status}.`);
    const stream = response.headers.get('X-Camera-Stream');
    const reader = response.body.getReader();
    let bytes = new Uint8Array(0);
    const readMore = async () => {
        const { value, done } = await reader.read();
        if (done) throw new RequestError('The camera has ended the stream.');
        const joined = new Uint8Array(bytes.length + value.length);
        joined.set(bytes);
        joined.set(value, bytes.length);
        bytes = joined;
    };
    for (;;) {
        let head;
        while (!(head = /^[^]*?\r\n\r\n/.exec(latin1.decode(bytes.subarray(0, 2048))))) await readMore();
        const field = (name) => new RegExp(`^${name}: (.*)\r$`, 'm').exec(head[0])[1];
        const end = head[0].length + Number(field('Content-Length'));
        while (bytes.length < end) await readMore();
        const picture = parsePicture(field, bytes.subarray(head[0].length, end));
        acknowledge(stream, picture.number, performance.now());
        yield picture;
        bytes = bytes.slice(end);
    }
}
