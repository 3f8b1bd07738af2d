// Runs the suites in Node: each test in an instance of its own.
// usage: node run.mjs vela_tests.wasm [SUITE]
import { webcrypto as crypto } from 'node:crypto'; // no global one in Node 18
import { readFileSync, writeSync } from 'node:fs';

const [path, suite = ''] = process.argv.slice(2);
const module = new WebAssembly.Module(readFileSync(path));

const leftOut = {
    'chull off_files_number_the_vertices': 'writes files',
    'cpp_hull off_files_are_those_of_c_and_a_full_disk_is_an_error': 'writes files',
    'url url_components': "the model's regular expressions: this C library's know no bytes beyond ASCII",
};

class Failure extends Error {}
class Exit extends Error {}

// What an instance sees of a system: files in memory, and output of which each piece is also kept in `writes`. A fork()
// is the child's first, which goes on to its end. Then all of it is run again in a new instance, where that fork() is
// the parent's, and what the child has written is there.
class System {
    constructor(children) {
        this.descriptors = new Map([1, 2].map((fd) => [fd, { console: fd, bytes: [], at: 0 }]));
        this.writes = [];
        this.children = children;
        this.forks = 0;
        this.isChild = false;
        const wasi = new Proxy({}, { get: (_, name) => this[name]?.bind(this) ?? (() => 52) }); // ENOSYS
        this.instance = new WebAssembly.Instance(module, { wasi_snapshot_preview1: wasi, env: wasi });
        this.instance.exports._initialize();
    }

    get view() {
        return new DataView(this.instance.exports.memory.buffer);
    }
    bytes(at, count) {
        return new Uint8Array(this.instance.exports.memory.buffer, at, count);
    }
    text(at) {
        const bytes = this.bytes(at);
        return new TextDecoder().decode(bytes.subarray(0, bytes.indexOf(0)));
    }
    pieces(at, count) {
        return Array.from({ length: count }, (_, i) =>
            this.bytes(this.view.getUint32(at + 8 * i, true), this.view.getUint32(at + 8 * i + 4, true)),
        );
    }

    write(fd, bytes) {
        const file = this.descriptors.get(fd);
        this.writes.push([fd, bytes]);
        if (file.console) return void writeSync(file.console, bytes);
        for (const byte of bytes) file.bytes[file.at++] = byte;
    }
    fd_write(fd, at, count, written) {
        if (!this.descriptors.has(fd)) return 8;
        const bytes = Uint8Array.from(this.pieces(at, count).flatMap((piece) => [...piece]));
        this.write(fd, bytes);
        this.view.setUint32(written, bytes.length, true);
        return 0;
    }
    fd_read(fd, at, count, got) {
        const file = this.descriptors.get(fd);
        if (!file) return 8;
        const before = file.at;
        for (const piece of this.pieces(at, count))
            for (let i = 0; i < piece.length && file.at < file.bytes.length; ++i) piece[i] = file.bytes[file.at++];
        this.view.setUint32(got, file.at - before, true);
        return 0;
    }
    fd_seek(fd, offset, whence, at) {
        const file = this.descriptors.get(fd);
        if (!file || file.console) return 70;
        file.at = Number(offset) + [0, file.at, file.bytes.length][whence];
        this.view.setBigUint64(at, BigInt(file.at), true);
        return 0;
    }
    fd_fdstat_get(fd, at) {
        if (!this.descriptors.has(fd)) return 8;
        this.bytes(at, 24).fill(255);
        this.view.setUint32(at, 4, true); // a regular file
        return 0;
    }
    fd_close(fd) {
        return this.descriptors.delete(fd) ? 0 : 8;
    }
    new_file() {
        return this.open({ bytes: [], at: 0 });
    }
    dup(fd) {
        return this.open(this.descriptors.get(fd));
    }
    dup2(fd, other) {
        return (this.descriptors.set(other, this.descriptors.get(fd)), other);
    }
    open(file) {
        let fd = 3;
        while (this.descriptors.has(fd)) ++fd;
        return (this.descriptors.set(fd, file), fd);
    }

    environ_sizes_get(count, size) {
        (this.view.setUint32(count, 0, true), this.view.setUint32(size, 0, true));
        return 0;
    }
    environ_get() {
        return 0;
    }
    fd_prestat_get() {
        return 8;
    } // EBADF: no directories
    clock_time_get(id, precision, at) {
        this.view.setBigUint64(at, BigInt(Date.now()) * 1000000n, true);
        return 0;
    }
    random(at, length) {
        crypto.getRandomValues(this.bytes(at, length));
    }
    random_get(at, length) {
        this.random(at, length);
        return 0;
    }

    fork() {
        const child = this.children[this.forks++];
        if (child) {
            child.writes.forEach(([fd, bytes]) => this.write(fd, bytes));
            return this.forks;
        }
        this.isChild = true;
        this.writes = [];
        return 0;
    }
    waitpid(child, status) {
        this.view.setInt32(status, this.children[child - 1].status, true);
        return child;
    }
    proc_exit(code) {
        throw Object.assign(new Exit(`exit ${code}`), { status: code << 8 });
    }
    fail(expression, file, line, where) {
        const report = `${this.text(file)}:${line}: ${this.text(where)}: Assertion \`${this.text(expression)}' failed.\n`;
        this.write(2, new TextEncoder().encode(report));
        throw Object.assign(new Exit(report), { status: 6 });
    }
    test_failed(text, file, line, where) {
        throw new Failure(`${this.text(file)}:${line}: ${this.text(where)}: ${this.text(text)}`);
    }
}

// Nothing, or why it failed.
function failureOf(test) {
    for (const children = []; ; ) {
        const system = new System(children);
        try {
            system.instance.exports.run(test);
            return null;
        } catch (error) {
            if (!system.isChild || error instanceof Failure) return error;
            children.push({ status: error.status ?? 11, writes: system.writes });
        }
    }
}

const all = new System([]);
let run = 0,
    failed = 0,
    skipped = 0;
for (let test = 0; test < all.instance.exports.count(); ++test) {
    const name = all.text(all.instance.exports.name(test));
    if (suite && !name.startsWith(suite + ' ')) continue;
    const [ofSuite, unit, title] = name.split(' '),
        reason = leftOut[`${ofSuite} ${title}`];
    if (reason) {
        ++skipped;
        console.log(`${ofSuite} ${unit} ${title}: skipped: ${reason}`);
        continue;
    }
    const failure = failureOf(test);
    ++run;
    if (failure) {
        ++failed;
        console.log(`${name}: ${failure instanceof Failure ? failure.message : (failure.stack ?? failure)}`);
    }
}
console.log(`${suite || 'all suites'}: ${run} tests, ${failed} failed, ${skipped} skipped`);
process.exitCode = run === 0 || failed ? 1 : 0;
