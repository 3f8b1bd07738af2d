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

let token = null;

export async function post(path, fields, timeout = defaultTimeout) {
    for (let isRepeated = false; ; isRepeated = true) {
        token ??= (await get('/api/ptz/token')).token;
        try {
            return await readAnswer(
                await fetch(path, {
                    method: 'POST',
                    headers: { 'X-Camera-Token': token },
                    body: new URLSearchParams(fields),
                    signal: AbortSignal.timeout(timeout),
                }),
            );
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
