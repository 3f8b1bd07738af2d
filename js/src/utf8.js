// Text as bytes. Audio worklets have neither TextEncoder nor TextDecoder; there it is done by hand.

function* bytesOf(text) {
    for (const character of text) {
        let code = character.codePointAt(0);
        if (0xd800 <= code && code < 0xe000) code = 0xfffd; // half of a pair
        if (code < 0x80) {
            yield code;
            continue;
        }
        const more = code < 0x800 ? 1 : code < 0x10000 ? 2 : 3;
        yield [0, 0xc0, 0xe0, 0xf0][more] | (code >> (6 * more));
        for (let i = more; i-- > 0; ) yield 0x80 | ((code >> (6 * i)) & 0x3f);
    }
}

export const encodeByHand = (text) => Uint8Array.from(bytesOf(text));

// What is no character counts as U+FFFD, one for each beginning of a character.
export function decodeByHand(bytes) {
    let text = '';
    for (let at = 0; at < bytes.length; ) {
        const first = bytes[at++];
        if (first < 0x80) {
            text += String.fromCharCode(first);
            continue;
        }
        let more = first < 0xc2 || first > 0xf4 ? 0 : first < 0xe0 ? 1 : first < 0xf0 ? 2 : 3;
        if (more === 0) {
            text += '\uFFFD';
            continue;
        }
        // Longer forms than needed, halves of pairs and what is too large show in the second byte.
        let least = first === 0xe0 ? 0xa0 : first === 0xf0 ? 0x90 : 0x80,
            most = first === 0xed ? 0x9f : first === 0xf4 ? 0x8f : 0xbf;
        let code = first & (0x3f >> more);
        for (; more > 0 && least <= bytes[at] && bytes[at] <= most; --more) {
            code = (code << 6) | (bytes[at++] & 0x3f);
            [least, most] = [0x80, 0xbf];
        }
        text += more > 0 ? '\uFFFD' : String.fromCodePoint(code);
    }
    return text;
}

export const encodeUtf8 = (text) =>
    typeof TextEncoder === 'undefined' ? encodeByHand(text) : new TextEncoder().encode(text);

export const decodeUtf8 = (bytes) =>
    typeof TextDecoder === 'undefined'
        ? decodeByHand(bytes)
        : new TextDecoder('utf-8', { ignoreBOM: true }).decode(bytes);
