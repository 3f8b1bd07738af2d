// Requests to the camera.

// What the camera refuses, with its reason; `field` is the parameter that is wrong, if it is one.
export class RequestError extends Error {
    constructor(message, status, field) {
        super(message);
        this.status = status;
        this.field = field;
    }
}

async function readAnswer(response) {
    if (response.ok) return response.json();
    const isPlain = (response.headers.get('Content-Type') ?? '').startsWith('text/plain');
    const reason = isPlain ? (await response.text()).trim().split('\n').pop() : '';
    const field = response.headers.get('X-Camera-Field') ?? undefined;
    throw new RequestError(reason || `The camera answers ${response.status}.`, response.status, field);
}

// A request that hangs is a lost connection too.
const defaultTimeout = 10000;

export const get = async (path, fields = {}) =>
    readAnswer(
        await fetch(`${path}?${new URLSearchParams(fields)}`, {
            cache: 'no-store',
            signal: AbortSignal.timeout(defaultTimeout),
        }),
    );

// How many orders were answered, by their paths.
const answered = {};

// The same, but nothing if an order to this path was answered meanwhile, since that answer is newer.
export async function getNewest(path) {
    const before = answered[path];
    const answer = await get(path);
    return before === answered[path] ? answer : undefined;
}

let token = null;

export async function post(path, fields, timeout = defaultTimeout) {
    for (let isRepeated = false; ; isRepeated = true) {
        token ??= (await get('/api/ptz/token')).token;
        try {
            const answer = await readAnswer(
                await fetch(path, {
                    method: 'POST',
                    headers: { 'X-Camera-Token': token },
                    body: new URLSearchParams(fields),
                    signal: AbortSignal.timeout(timeout),
                }),
            );
            answered[path] = (answered[path] ?? 0) + 1;
            return answer;
        } catch (error) {
            // A camera whose state was deleted has another token.
            if (error.status !== 403 || isRepeated) throw error;
            token = null;
        }
    }
}

// Runs one call at a time: of those that come meanwhile the latest follows, the others are dropped.
export function latest(run) {
    let waiting = null;
    let isRunning = false;
    return async (...args) => {
        waiting = args;
        if (isRunning) return;
        isRunning = true;
        try {
            while (waiting) {
                const next = waiting;
                waiting = null;
                await run(...next);
            }
        } finally {
            isRunning = false;
        }
    };
}
