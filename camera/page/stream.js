// Live pictures: the parts of a multipart answer, each with the view that it shows.
import { RequestError } from './server.js';

const latin1 = new TextDecoder('latin1');

function parsePicture(header, jpeg) {
    const { pan, tilt, fov, time, stamp = '' } = Object.fromEntries(new URLSearchParams(header));
    return {
        jpeg: new Blob([jpeg], { type: 'image/jpeg' }),
        view: { pan: Number(pan), tilt: Number(tilt), fov: Number(fov) },
        time: Number(time),
        stamp,
    };
}

export async function* readPictures(path, signal) {
    const response = await fetch(path, { cache: 'no-store', signal });
    if (!response.ok) throw new RequestError(`The camera answers ${response.status}.`);
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
        yield parsePicture(field('X-Camera-Picture'), bytes.subarray(head[0].length, end));
        bytes = bytes.slice(end);
    }
}
