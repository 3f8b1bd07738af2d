/* What the examples of audio in C share: rates on the command line, and a converter for speech. */
#ifndef RESAMPLING_H
#define RESAMPLING_H

#include <stdint.h>
#include <stdlib.h>
#include <vela/resample.h>

/* A sample rate from 4000 to 192000 Hz, or 0. */
static inline uint32_t rate_of(const char *text) {
    char *end;
    const unsigned long rate = strtoul(text, &end, 10);
    return *end || rate < 4000 || rate > 192000 ? 0 : (uint32_t)rate;
}

/* A converter with a kernel of 16 lobes, which suits speech; the built-in ones are softer. Null if the rates need too
   long a table, or without memory. */
static inline resample_state *make_resampler(uint32_t out_rate, uint32_t in_rate) {
    enum { LOBES = 16, MAX_TABLE = 65535 };
    resample_state *state = resample_alloc(out_rate, in_rate, RESAMPLE_LANC);
    if (!state)
        return NULL;
    const uint32_t up = state->interp_factor, down = state->decim_factor;
    const uint32_t table = 2 * LOBES * (up > down ? up : down) - 1, history = (table - 1) / up;
    if (table <= MAX_TABLE) {
        free(state->history);
        state->history = calloc(history, sizeof *state->history);
        state->history_len = state->history ? (uint16_t)history : 0;
        init_lanczos(state, LOBES);
        if (state->history && state->num_coeffs == table)
            return state;
    }
    resample_free(state);
    return NULL;
}

#endif
