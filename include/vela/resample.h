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
 *     while ((in_count = fetch(in)) > 0) {
 *         uint32_t used = in_count, made = room;
 *         resample_mono(state, in, &used, out, &made, RESAMPLE_LEND, RESAMPLE_ULAW);
 *         ...                    // `made` samples are in `out`; in[used...] comes again, first, in the next call
 *     }
 *     resample_free(state);
 *
 * What resample_alloc() makes is released by resample_free(). Buffers stay the caller's and need no alignment. Records
 * are independent of each other: different ones may be used from different threads at the same time.
 */
#ifndef VELA_RESAMPLE_H
#define VELA_RESAMPLE_H

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif
#pragma GCC visibility push(default)

/** Interpolation kernels; any other tag means RESAMPLE_BILI. */
enum {
    RESAMPLE_LANC = 0x434E414C, /**< "LANC": Lanczos, 1 lobe: soft, cheap */
    RESAMPLE_LAN2 = 0x324E414C, /**< "LAN2": Lanczos, 2 lobes: the one to take for sound */
    RESAMPLE_BILI = 0x494C4942  /**< "BILI": a line between neighbouring samples, no filter when the rate falls */
};

/** Sample formats. Samples stand back to back; a count is a number of samples. */
enum {
    RESAMPLE_LEND = 0x444E454C, /**< "LEND": signed 16-bit linear, least significant byte first */
    RESAMPLE_BEND = 0x444E4542, /**< "BEND": signed 16-bit linear, most significant byte first */
    RESAMPLE_ALAW = 0x57414C41, /**< "ALAW": one byte, A-law code of ITU-T G.711 */
    RESAMPLE_ULAW = 0x57414C55  /**< "ULAW": one byte, mu-law code of ITU-T G.711 */
};

/** A stream in conversion, made by resample_alloc(). */
typedef struct resample_state {
    uint32_t interp_factor;     /**< L: the output rate divided by the rates' greatest common divisor */
    uint32_t decim_factor;      /**< M: the input rate divided by it */
    int16_t *coeffs;            /**< the kernel table, one coefficient a phase step; a caller may write its own */
    uint16_t num_coeffs;        /**< T: the table's length, always odd */
    uint16_t coeff_shift;       /**< fraction bits of a coefficient: 14, so that 16384 weighs a sample by 1 */
    uint32_t phase;             /**< steps from the first sample of the next call's input to the next output */
    int16_t *history;           /**< the last input samples consumed, in linear form, the newest last */
    uint16_t history_len;       /**< H = (T - 1) / L: as far as the kernel reaches back */
    struct resample_plan *plan; /**< private: the table in the order in which the conversion reads it */
} resample_state;

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
resample_state *resample_alloc(uint32_t out_rate, uint32_t in_rate, uint32_t kernel);

/** Takes a converter back to the start of a stream: phase 0 and a silent history. The table stays. */
void resample_reset(resample_state *state);

/** Releases a converter and all that it points to; null is allowed. */
void resample_free(resample_state *state);

/**
 * Gives a record the table of a windowed-sinc (Lanczos) kernel for its factors L and M. The kernel is stretched to the
 * slower of the two rates, and so filters out what that rate can't carry.
 *
 * @param state  the record; history and phase stay, so the new table should be no longer than the one it was made with
 *               (taps that would reach further back than the history weigh nothing)
 * @param lobes  zeros on each side of the centre: 1 or more
 *
 * The table has 2 x lobes x max(L, M) - 1 coefficients. If there are none or more than 65535, or if memory runs out,
 * the record stays as it was.
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
 * @return sin(pi x) / (pi x), and exactly 1 for |x| <= 1e-14
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
 * A null buffer or a count of 0 sets both counts to 0 and changes nothing else. An unknown format changes nothing at
 * all, the counts included. The formats may change from call to call.
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

#pragma GCC visibility pop
#ifdef __cplusplus
}
#endif

#endif
