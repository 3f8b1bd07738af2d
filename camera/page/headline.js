// The headline: whether the picture is live, how late it is, how many come in a second, and what one costs.
import { byId, element, formatNumber, showText } from './dom.js';
import { say } from './texts.js';

const late = 1; // seconds from which it is said in plain sight
const least = 0.05; // milliseconds of a part that is shown
const smoothing = 0.1; // of each new picture in what a picture costs

// The functions that do it, by the names in Server-Timing, and those of the page.
const functions = {
    interp: ['interpolate_c()'],
    spheremap: ['smap_screen_to_sphere()'],
    sampling: ['vela::overlay::for_each_warp_cell()'],
    colour: ['cyc422_to_srgb()'],
    overlay: ['vela::overlay::mask'],
    marks: ['smap_sphere_pt_to_screen_pt()'],
    warp: ['vela::overlay::warp_picture()'],
};

export function initHeadline({ live, ptz }) {
    const state = { arrivals: [], picture: null, costs: new Map() };

    const delay = () => {
        const { picture, arrivals } = state;
        if (!picture) return 0;
        const now = performance.now();
        // A picture is as old as it was when it was shown; one that nothing follows gets older.
        const shown = now - arrivals.at(-1) > 1000 ? now : arrivals.at(-1);
        return Math.max(0, ptz.motion.cameraTime(shown) - picture.time);
    };

    const describe = () => {
        const seconds = delay();
        const isLate = seconds >= late && !live.isLost;
        const words = isLate ? say('live.late', { count: Math.round(seconds) }) : '';
        const name = live.isLost ? 'lost' : state.picture ? (isLate ? 'late' : 'live') : 'loading';
        const badge = byId('live-state');
        if (badge.dataset.state !== name || isLate) {
            badge.dataset.state = name;
            badge.textContent = {
                lost: say('live.lost'),
                late: words,
                live: say('live'),
                loading: say('live.loading'),
            }[name];
        }
        showText(byId('late'), words);
        const since = performance.now() - 2000;
        state.arrivals = state.arrivals.filter((time, i, all) => time > since || i === all.length - 1);
        const count = Math.round(state.arrivals.filter((time) => time > since).length / 2);
        byId('rate').textContent = live.isLost ? '' : say('live.rate', { count });
        byId('delay').textContent =
            live.isLost || isLate ? '' : say('live.delay', { seconds: formatNumber(seconds, 1) });
        showCosts();
    };

    const showCosts = () => {
        const costs = [...state.costs].filter(([, milliseconds]) => milliseconds >= least);
        const sum = costs.reduce((total, [, milliseconds]) => total + milliseconds, 0);
        const total = formatNumber(sum, 1);
        const most = Math.max(...costs.map(([, milliseconds]) => milliseconds), 0.01);
        const part = ([name, milliseconds]) => {
            const made = element('span', { className: `cost ${name}`, title: say(`costs.${name}`) });
            made.style.flexGrow = milliseconds;
            return made;
        };
        const bar = byId('costs-bar');
        bar.hidden = costs.length === 0;
        bar.setAttribute('aria-label', say('costs.bar', { total }));
        bar.replaceChildren(element('span', { className: 'costs' }, ...costs.map(part)), say('costs.total', { total }));
        if (!byId('costs-panel').open) return;
        byId('costs').tBodies[0].replaceChildren(
            ...costs.map(([name, milliseconds]) => {
                const gauge = element('span', { className: `cost ${name}` });
                gauge.style.width = `${(100 * milliseconds) / most}%`;
                const codes = (functions[name] ?? []).flatMap((text) => [element('code', { textContent: text }), ' ']);
                const value = say('costs.milliseconds', { value: formatNumber(milliseconds, 1) });
                return element(
                    'tr',
                    {},
                    element('th', { scope: 'row' }, say(`costs.${name}`), ' ', element('small', {}, ...codes), gauge),
                    element('td', { textContent: value }),
                );
            }),
        );
    };

    live.element.addEventListener('picture', ({ detail: picture }) => {
        state.picture = picture;
        state.arrivals.push(performance.now());
        for (const { name, milliseconds } of picture.costs) {
            const before = state.costs.get(name) ?? milliseconds;
            state.costs.set(name, before + smoothing * (milliseconds - before));
        }
    });
    byId('costs-bar').addEventListener('click', () => {
        const panel = byId('costs-panel');
        panel.open = true;
        describe();
        panel.scrollIntoView({ block: 'center' });
        panel.querySelector('summary').focus({ preventScroll: true });
    });
    setInterval(describe, 500);
    describe();
}
