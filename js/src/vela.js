// Everything that one instance offers.
import { Core } from './core.js';
import { colour } from './colour.js';
import { hull } from './hull.js';
import { matrix } from './matrix.js';
import { curve, fixedpoint } from './numbers.js';
import { resampler } from './resampler.js';
import { spheremap } from './spheremap.js';
import { base64, text, time, url, uuid } from './text.js';

export function vela(module, options) {
    const core = new Core(module, options);
    return {
        base64: base64(core),
        colour: colour(core),
        curve: curve(core),
        fixedpoint: fixedpoint(core),
        matrix: matrix(core),
        spheremap: spheremap(core),
        text: text(core),
        time: time(core),
        url: url(core),
        uuid: uuid(core),
        Hull: hull(core),
        Resampler: resampler(core),
    };
}
