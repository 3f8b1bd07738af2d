// Base64, text, URLs, UUIDs and times, against what the host has of its own.
import { deepEqual as same, equal, match, ok } from 'node:assert/strict';
import { randomUUID } from 'node:crypto';

export function testTexts(check, vela, models) {
    check('Base64', (random) => {
        const { encode, decode } = vela.base64;
        for (let length = 0; length < 300; ++length) {
            const bytes = random.array(Uint8Array, length);
            const text = encode(bytes);
            equal(text, models.text('base64_encode', bytes));
            same(decode(text.replace(/(.{7})/g, '$1\r\n ')), bytes);
        }
        for (let i = 0; i < 3000; ++i) {
            const text = random.text('AZaz09+/Q== \n-\u0100', 9);
            same(decode(text), models.array(Uint8Array, 'base64_decode', text), JSON.stringify(text));
        }
        const large = random.array(Uint8Array, 3500000);
        ok(Buffer.from(decode(encode(large))).equals(large));
    });

    check('text', (random) => {
        const { text } = vela;
        for (let length = 0; length < 200; ++length) {
            const bytes = random.array(Uint8Array, length);
            const digits = Buffer.from(bytes).toString('hex');
            equal(text.bin2hex(bytes), digits.toUpperCase());
            same(text.hex2bin(random.below(2) ? digits : digits.toUpperCase()), bytes);
            const chunk = 1 + random.below(9);
            const split = [...bytes].flatMap((byte, i) => (i && i % chunk === 0 ? [10, byte] : byte));
            same([...text.chunkSplit(bytes, chunk)], split, `chunks of ${chunk}`);
            const line = random.text(' \t\n\rü€a', 8);
            equal(text.strip(line), line.replace(/^[\t-\r ]+|[\t-\r ]+$/g, ''), JSON.stringify(line));
            equal(text.chomp(line), line.replace(/\n$/, '').replace(/\r$/, ''), JSON.stringify(line));
        }
    });

    check('URLs', (random) => {
        const { url } = vela;
        const parts = (text) =>
            Object.values(url.parse(text))
                .map((one) => one ?? '-')
                .join(' ');
        equal(Object.keys(url.parse('a:')).join(), 'scheme,user,password,host,port,path,query,fragment');
        equal(parts('a://u:p@h:80/x/y?q=1#f'), 'a u p h 80 /x/y q=1 f');
        equal(parts('a://%C3%BC@[::1]/?#'), 'a %C3%BC - [::1] - /  ');
        equal(parts('a://h#b/?'), 'a - - h - - - b/?');
        same([' a://h', 'a://u@h@i', 'a://[::1]80', 'a://h#b#c', 'a://ü'].map(url.parse), Array(5).fill(null));
        const upperCase = (one) => `%${one.charCodeAt().toString(16).toUpperCase()}`;
        for (let i = 0; i < 300; ++i) {
            const text = random.text([...'aZ9-._~ +%&=/?:@!€ü😀'], 12);
            const segment = encodeURIComponent(text).replace(/%(24|26|2B|2C|3A|3B|3D|40)/g, decodeURIComponent);
            const form = encodeURIComponent(text)
                .replace(/[!'()*]/g, upperCase)
                .replaceAll('%20', '+');
            same([url.encodeForm(text), url.encodeForm(Buffer.from(text))], [form, form]);
            same([url.encodeSegment(text), url.decode(segment), url.decodeForm(form)], [segment, text, text]);
            same(url.decodeBytes(segment), new TextEncoder().encode(text));
        }
        equal(url.decode('a+b%2'), 'a+b%2');
        equal(url.decodeForm('%FF+%c3%bc'), '\ufffd ü');
        same(url.parseMac('00:1a:2B:3c:4d:5e and more'), Uint8Array.of(0, 0x1a, 0x2b, 0x3c, 0x4d, 0x5e));
        equal(url.formatMac(Uint8Array.of(0, 0x1a, 0x2b, 0x3c, 0x4d, 0xfe)).toLowerCase(), '00:1a:2b:3c:4d:fe');
    });

    check('UUIDs and random numbers', () => {
        const { uuid } = vela;
        for (let i = 0; i < 300; ++i) {
            const dashed = randomUUID();
            const plain = dashed.replaceAll('-', '');
            const bytes = new Uint8Array(Buffer.from(plain, 'hex'));
            for (const text of [dashed, `{${dashed}}`, plain]) {
                same(uuid.parse(text), bytes, text);
                same(uuid.parse(text.toUpperCase()), bytes, text);
            }
            const written = [undefined, 'braced', 'dashed', 'plain'].map((form) => uuid.toString(bytes, form));
            same(written, [dashed, `{${dashed}}`, dashed, plain]);
            match(uuid.toString(uuid.random()), /^.{14}4.{4}[89ab].{16}$/);
        }
        const bytes = uuid.randBytes(100000);
        ok(bytes.length === 100000 && bytes.subarray(-16).some((one) => one !== 0), 'random up to the last bytes');
        const drawn = new Set(Array.from({ length: 300 }, () => uuid.randInt(-2, 3)));
        same(
            [...drawn].sort((a, b) => a - b),
            [-2, -1, 0, 1, 2, 3],
        );
    });

    check('times', (random) => {
        const { time } = vela;
        const any = () => ({ seconds: random.word(), microseconds: random.below(2) ? random.word() : 0 });
        const whole = ({ seconds, microseconds }) => BigInt(seconds) * 1000000n + BigInt(microseconds);
        const balanced = (actual, expected) => {
            equal(whole(actual), expected);
            ok(actual.microseconds >= 0 && actual.microseconds < 1e6, JSON.stringify(actual));
        };
        for (let i = 0; i < 500; ++i) {
            const a = any();
            const b = random.below(9) ? any() : { seconds: a.seconds + 1, microseconds: a.microseconds - 1000000 };
            balanced(time.balance(a), whole(a));
            balanced(time.add(a, b), whole(a) + whole(b));
            balanced(time.sub(a, b), whole(a) - whole(b));
            equal(time.compare(a, b), whole(a) < whole(b) ? -1 : Number(whole(a) > whole(b)));
        }
        const far = { seconds: 2 ** 52, microseconds: -1 };
        balanced(time.balance(far), whole(far));
    });
}
