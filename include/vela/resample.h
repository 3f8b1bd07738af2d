/**
 * @file
 * Conversion of a mono audio stream from one sample rate to another and, in the same pass, between 16-bit linear and
 * G.711 samples.
 *
 * Any rational ratio of rates works. A record carries one stream: its polyphase filter, the position between two input
 * samples, and the last input samples. The stream may be cut into calls in any way; the output is the same, bit for
 * bit and on every machine. Positions are counted in phase steps: with the rates reduced to L / M, a step is 1 / L of
 * the interval between two input samples, and outputs lie M steps apart.
 *
 *     resample_state *state = resample_alloc(8000, 22050, RESAMPLE_LAN2);
 *     uint32_t waiting = 0; // samples that the last call left
 *     while ((in_count = fetch(in + waiting)) > 0) {
 *         uint32_t used = waiting + in_count, made = room;
 *         resample_mono(state, in, &used, out, &made, RESAMPLE_LEND, RESAMPLE_ULAW); // `made` samples are in `out`
 *         waiting += in_count - used;
 *         memmove(in, in + used, waiting * sizeof *in);
 *     }
 *     resample_free(state);
 *
 * A call may leave samples that no output needs yet, with any room: of a first packet of 960 from 48000 to 8000 Hz it
 * uses 955, and the other 5 come first in the next call. The output is late by (T - 1) / 2 steps, which is
 * (T - 1) / (2 M) output samples: nearly 2 with RESAMPLE_LAN2 where the rate falls. Stereo takes a record for each
 * channel, and each channel's samples in a buffer of their own.
 *
 * What resample_alloc() makes is released by resample_free(). Buffers stay the caller's and need no alignment. Records
 * are independent of each other: different ones may be used from different threads at the same time, one record by one
 * thread at a time.
 */
#ifndef VELA_RESAMPLE_H
#define VELA_RESAMPLE_H

#include <stdint.h>
#include <vela/attributes.h>

#ifdef __cplusplus
extern "C" {
#endif
#pragma GCC visibility push(default)

/** @addtogroup resample
 *  @{ */

/**
 * Interpolation kernels. Any other tag, a mistyped one too, means RESAMPLE_BILI.
 *
 * What they pass and stop, at fractions of the lower of the two rates (in brackets: Hz, where that is 8000), in dB:
 *
 * |                         | 0.25 (2000) | 0.375 (3000) | 0.5 (4000) | 0.625 (5000) | 0.75 (6000) |
 * |-------------------------|-------------|--------------|------------|--------------|-------------|
 * | RESAMPLE_LANC           | -2.1        | -3.7         | -5.9       | -9.0         | -13.1       |
 * | RESAMPLE_LAN2           | -0.4        | -2.2         | -6.0       | -13.0        | -26.1       |
 * | 4 lobes (init_lanczos)  | 0.0         | -0.4         | -6.0       | -26.2        | -46         |
 * | 8 lobes                 | 0.0         | 0.0          | -6.0       | -46          | -62         |
 * | 16 lobes                | 0.0         | 0.0          | -6.0       | -62          | -67         |
 *
 * From -60 on it is the 14 bits of the coefficients that set the limit, which differs with the rates: the table has the
 * least of six pairs.
 *
 * What lies above half of the output rate comes back mirrored at it, as much weaker as the table says. RESAMPLE_BILI
 * does not filter when the rate falls: all of that comes back.
 */
enum {
    RESAMPLE_LANC = 0x434E414C, /**< "LANC": Lanczos, 1 lobe: soft, cheap */
    RESAMPLE_LAN2 = 0x324E414C, /**< "LAN2": Lanczos, 2 lobes: for speech; for more see init_lanczos() */
    RESAMPLE_BILI = 0x494C4942  /**< "BILI": a line between neighbouring samples, no filter when the rate falls */
};

/** Sample formats. Samples stand back to back; a count is a number of samples. */
enum {
    RESAMPLE_LEND = 0x444E454C, /**< "LEND": signed 16-bit linear, least significant byte first */
    RESAMPLE_BEND = 0x444E4542, /**< "BEND": signed 16-bit linear, most significant byte first */
    RESAMPLE_ALAW = 0x57414C41, /**< "ALAW": one byte, A-law code of ITU-T G.711 */
    RESAMPLE_ULAW = 0x57414C55  /**< "ULAW": one byte, mu-law code of ITU-T G.711 */
};

/**
 * A stream in conversion, made by resample_alloc().
 *
 * A caller may write other coefficients into the table between two calls; they count from the next call on. A table of
 * the caller's own takes the place of `coeffs`, which is to be free()d, and `num_coeffs`; so may a history take the
 * place of `history`, with `history_len`. Both belong to the record from then on and come from malloc(), since
 * resample_free() releases them. A program may also fill in a record that is all zeros by itself, and then releases
 * what it gave it by itself; that one is converted more slowly.
 */
typedef struct resample_state {
    uint32_t interp_factor;     /**< L: the output rate divided by the rates' greatest common divisor */
    uint32_t decim_factor;      /**< M: the input rate divided by it */
    int16_t *coeffs;            /**< the kernel table, one coefficient a phase step, owned by the record */
    uint16_t num_coeffs;        /**< T: the table's length, odd for the kernels here */
    uint16_t coeff_shift;       /**< fraction bits of a coefficient: 14, so that 16384 weighs a sample by 1 */
    uint32_t phase;             /**< steps from the first sample of the next call's input to the next output */
    int16_t *history;           /**< the last input samples consumed, in linear form, the newest last */
    uint16_t history_len;       /**< H = (T - 1) / L; taps that reach farther back weigh nothing */
    struct resample_plan *plan; /**< private: the table in the order in which the conversion reads it */
} resample_state;

/** Releases a converter and all that it points to; null is allowed. */
void resample_free(resample_state *state);

/**
 * Makes a converter that begins in silence.
 *
 * @param out_rate  output rate, in the unit of in_rate, as a rule Hz
 * @param in_rate   input rate
 * @param kernel    RESAMPLE_LANC, RESAMPLE_LAN2 or RESAMPLE_BILI
 * @return the record, to be released by resample_free(); null when a rate is 0, when memory runs out, or when the
 *         kernel table would be longer than 65535: with max(L, M) above 32768 for LANC or 16384 for LAN2, or L above
 *         32768 for BILI
 */
VELA_NODISCARD VELA_RELEASED_BY(resample_free) resample_state *resample_alloc(uint32_t out_rate, uint32_t in_rate,
                                                                              uint32_t kernel);

/** Takes a converter back to the start of a stream: phase 0 and a silent history. The table stays. */
void resample_reset(resample_state *state);

/**
 * Gives a record the table of a windowed-sinc (Lanczos) kernel for its factors L and M. The kernel is stretched to the
 * slower of the two rates, and so filters out what that rate can't carry.
 *
 * @param state  the record; history and phase stay
 * @param lobes  zeros on each side of the centre: 1 or more
 *
 * The table has T = 2 x lobes x max(L, M) - 1 coefficients. If there are none or more than 65535, or if memory runs
 * out, the record stays as it was.
 *
 * Taps that reach farther back than the history weigh nothing: 4 lobes on a record made for RESAMPLE_LAN2 lose 7.6 dB
 * at all frequencies, 8 lobes 36. A longer kernel needs a longer history, given before it, at the start of a stream:
 *
 *     free(state->history);
 *     state->history_len = (2 * 16 * max(L, M) - 2) / L; // 16 lobes; up to 65535
 *     state->history = calloc(state->history_len, sizeof *state->history);
 *     init_lanczos(state, 16);
 */
void init_lanczos(resample_state *state, int32_t lobes);

/**
 * Gives a record the table of linear interpolation for its factor L: a triangle of 2 L - 1 coefficients.
 *
 * @param state  the record, as for init_lanczos()
 */
void init_bilinear(resample_state *state);

/**
 * The normalised sinc function.
 *
 * @param x  any number
 * @return sin(pi x) / (pi x), and exactly 1 for |x| <= 1e-14; its last bit is that of the C library's sin()
 */
double sinc(double x);

/**
 * Converts the next piece of a stream. As many outputs are written as the input and the room allow; nothing is
 * allocated.
 *
 * @param state       the stream
 * @param in          the input samples, beginning with those that the last call did not consume
 * @param in_count    in: their number; out: how many were consumed. The others come first in the next call's input
 * @param out         where the outputs go; no part of it may overlap the input
 * @param out_count   in: room there, in samples; out: how many were written
 * @param in_format   RESAMPLE_LEND, RESAMPLE_BEND, RESAMPLE_ALAW or RESAMPLE_ULAW
 * @param out_format  one of the same
 *
 * A null buffer, a count of 0 or an interp_factor of 0 sets both counts to 0 and changes nothing else. An unknown
 * format changes nothing at all: the counts then still say that everything was used and made, and `out` is as it was.
 * The formats may change from call to call.
 */
void resample_mono(resample_state *state, const void *in, uint32_t *in_count, void *out, uint32_t *out_count,
                   uint32_t in_format, uint32_t out_format);

/**
 * resample_mono() from RESAMPLE_LEND to RESAMPLE_LEND.
 *
 * @param state      the stream
 * @param in         the input samples, of any alignment
 * @param in_count   in: their number; out: how many were consumed
 * @param out        where the outputs go, of any alignment
 * @param out_count  in: room there; out: how many were written
 */
void resample_test(resample_state *state, const int16_t *in, uint32_t *in_count, int16_t *out, uint32_t *out_count);

/** @} */
#pragma GCC visibility pop
#ifdef __cplusplus
}
#endif

#endif
