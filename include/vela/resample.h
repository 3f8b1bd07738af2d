/**
 * @file
 * Conversion of a mono audio stream from one sample rate to another and, in the same pass, between 16-bit linear and
 * G.711 samples.
 *
 * The ratio of the rates is a fraction L / M in lowest terms, with limits on L and M given at resample_alloc(): rates
 * such as 44100 and 48000 have small factors, those of drifting clocks (44117 to 8000) do not and are refused. A record
 * holds the state of one stream: its polyphase filter, the position between two input samples, and the last input
 * samples. The output does not depend on how the stream is cut into calls, and is bit-identical on all machines.
 * Positions are counted in phase steps: a step is 1 / L of the interval between two input samples, and outputs are M
 * steps apart.
 *
 *     resample_state *state = resample_alloc(8000, 22050, RESAMPLE_LAN2);
 *     uint32_t waiting = 0; // samples that the last call left
 *     while ((in_count = fetch(in + waiting)) > 0) {
 *         uint32_t used = waiting + in_count, made = capacity;
 *         resample_mono(state, in, &used, out, &made, RESAMPLE_LEND, RESAMPLE_ULAW); // `made` samples are in `out`
 *         waiting += in_count - used;
 *         memmove(in, in + used, waiting * sizeof *in);
 *     }
 *     resample_free(state);
 *
 * With enough output space a call writes (n L - phase - 1) / M + 1 outputs for n inputs, rounded down, or none if phase
 * is n L or more. It leaves up to (M - 1) / L inputs that no output needs yet: of a first packet of 960 from 48000 to
 * 8000 Hz it uses 955, and the other 5 must be passed again at the start of the next call. The output is delayed by
 * (T - 1) / 2 steps, which is (T - 1) / (2 M) output samples: nearly 2 with RESAMPLE_LAN2 when downsampling. To get the
 * last outputs at the end of a stream, append (T / 2 + L - 1) / L zeros to its input. Stereo takes a record for each
 * channel, and each channel's samples in a separate buffer.
 *
 * A record from resample_alloc() is released by resample_free(). Buffers belong to the caller and need no alignment.
 * Records are independent of each other: different ones may be used from different threads at the same time, one record
 * by one thread at a time.
 */
#ifndef VELA_RESAMPLE_H
#define VELA_RESAMPLE_H

#include <stdint.h>
#include <stdlib.h>
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
 * Gain in dB at fractions of the lower of the two rates (in brackets: Hz, if that is 8000):
 *
 * |                         | 0.25 (2000) | 0.375 (3000) | 0.5 (4000) | 0.625 (5000) | 0.75 (6000) |
 * |-------------------------|-------------|--------------|------------|--------------|-------------|
 * | RESAMPLE_LANC           | -2.1        | -3.7         | -5.9       | -9.0         | -13.1       |
 * | RESAMPLE_LAN2           | -0.4        | -2.2         | -6.0       | -13.0        | -26.1       |
 * | 4 lobes (init_lanczos)  | 0.0         | -0.4         | -6.0       | -26.2        | -46         |
 * | 8 lobes                 | 0.0         | 0.0          | -6.0       | -46          | -62         |
 * | 16 lobes                | 0.0         | 0.0          | -6.0       | -62          | -67         |
 *
 * From -60 dB on, the 14 bits of the coefficients set the limit, which depends on the rates: the table has the worst of
 * six pairs.
 *
 * Content above the output's Nyquist frequency aliases, attenuated as in the table. RESAMPLE_BILI has no anti-aliasing
 * filter: when downsampling, that content aliases at full strength.
 */
enum {
    RESAMPLE_LANC = 0x434E414C, /**< "LANC": Lanczos, 1 lobe: soft, cheap */
    RESAMPLE_LAN2 = 0x324E414C, /**< "LAN2": Lanczos, 2 lobes: for speech; for more see init_lanczos() */
    RESAMPLE_BILI = 0x494C4942  /**< "BILI": linear interpolation, no anti-aliasing filter */
};

/** Sample formats. Samples are contiguous; a count is a number of samples. */
enum {
    RESAMPLE_LEND = 0x444E454C, /**< "LEND": signed 16-bit linear, least significant byte first */
    RESAMPLE_BEND = 0x444E4542, /**< "BEND": signed 16-bit linear, most significant byte first */
    RESAMPLE_ALAW = 0x57414C41, /**< "ALAW": one byte, A-law code of ITU-T G.711 */
    RESAMPLE_ULAW = 0x57414C55  /**< "ULAW": one byte, mu-law code of ITU-T G.711 */
};

/**
 * The state of one stream, made by resample_alloc().
 *
 * A caller may change any field but `plan` between two calls; the next call uses what the record then holds. To replace
 * the table or the history, free() the old one and set `coeffs` and `num_coeffs`, or `history` and `history_len`, to
 * memory from malloc(), which resample_free() then releases. A program may also fill in a record of its own that is all
 * zeros otherwise, and then releases its parts itself; such a record is converted more slowly.
 */
typedef struct resample_state {
    uint32_t interp_factor;     /**< L: the output rate divided by the rates' greatest common divisor */
    uint32_t decim_factor;      /**< M: the input rate divided by it */
    int16_t *coeffs;            /**< the kernel table, one coefficient per phase step, owned by the record */
    uint16_t num_coeffs;        /**< T: the table's length, odd for the kernels here */
    uint16_t coeff_shift;       /**< fraction bits of a coefficient: 14, so that 16384 is 1.0 */
    uint32_t phase;             /**< steps from the first sample of the next call's input to the next output */
    int16_t *history;           /**< the last input samples consumed, in linear form, the newest last */
    uint16_t history_len;       /**< H = (T - 1) / L; taps beyond it are treated as zero */
    struct resample_plan *plan; /**< private: the table in the order in which the conversion reads it */
} resample_state;

/** Releases a converter and all that it points to; null is allowed. */
void resample_free(resample_state *state);

/**
 * Makes a converter with a silent history.
 *
 * @param out_rate  output rate, in the unit of in_rate, usually Hz
 * @param in_rate   input rate
 * @param kernel    RESAMPLE_LANC, RESAMPLE_LAN2 or RESAMPLE_BILI
 * @return the record, to be released by resample_free(); null when a rate is 0, when memory runs out, or when the
 *         kernel table would be longer than 65535: with max(L, M) above 32768 for LANC or 16384 for LAN2, or L above
 *         32768 for BILI
 */
VELA_NODISCARD VELA_RELEASED_BY(resample_free) resample_state *resample_alloc(uint32_t out_rate, uint32_t in_rate,
                                                                              uint32_t kernel);

/** Resets a converter to the start of a stream: phase 0 and a silent history. The table is kept. */
void resample_reset(resample_state *state) VELA_NONNULL(1);

/**
 * Sets a record's table to a windowed-sinc (Lanczos) kernel for its factors L and M. The kernel is scaled to the lower
 * of the two rates, and so attenuates content above that rate's Nyquist frequency.
 *
 * @param state  the record; history and phase are kept
 * @param lobes  zeros on each side of the centre: 1 or more
 *
 * The table has T = 2 x lobes x max(L, M) - 1 coefficients. If T is below 1 or above 65535, or if memory runs out, the
 * record is unchanged.
 *
 * Taps beyond the stored history are treated as zero: 4 lobes on a record made for RESAMPLE_LAN2 lose 7.6 dB at all
 * frequencies, 8 lobes 36 dB. A longer kernel needs a longer history, set before it, at the start of a stream:
 *
 *     resample_state *state = resample_alloc(8000, 44100, RESAMPLE_LANC); // null without memory
 *     uint32_t L = state->interp_factor, M = state->decim_factor;
 *     uint32_t T = 2 * 16 * (L > M ? L : M) - 1; // 16 lobes; at most 65535
 *     int16_t *history = calloc((T - 1) / L, sizeof *history);
 *     if (history) {
 *         free(state->history);
 *         state->history = history;
 *         state->history_len = (uint16_t)((T - 1) / L);
 *         init_lanczos(state, 16); // num_coeffs is T on success
 *     }
 */
void init_lanczos(resample_state *state, int32_t lobes) VELA_NONNULL(1);

/**
 * Sets a record's table to linear interpolation for its factor L: a triangle of 2 L - 1 coefficients.
 *
 * @param state  the record, as for init_lanczos()
 */
void init_bilinear(resample_state *state) VELA_NONNULL(1);

/**
 * The normalised sinc function.
 *
 * @param x  any number
 * @return sin(pi x) / (pi x), and exactly 1 for |x| <= 1e-14; its last bit depends on the C library's sin()
 */
double sinc(double x);

/**
 * Converts the next piece of a stream. Writes as many outputs as the input allows and the output buffer holds; nothing
 * is allocated.
 *
 * @param state       the stream
 * @param in          the input samples, starting with those that the last call did not consume
 * @param in_count    in: their number; out: how many were consumed. Pass the others again at the start of the next
 *                    call's input
 * @param out         receives the outputs; must not overlap the input
 * @param out_count   in: its capacity in samples; out: how many were written
 * @param in_format   RESAMPLE_LEND, RESAMPLE_BEND, RESAMPLE_ALAW or RESAMPLE_ULAW
 * @param out_format  one of the same
 *
 * A null buffer, a count of 0 or an interp_factor of 0 sets both counts to 0 and changes nothing else. An unknown
 * format changes nothing at all, so the counts keep their values from before the call. The formats may change from call
 * to call.
 */
void resample_mono(resample_state *state, const void *in, uint32_t *in_count, void *out, uint32_t *out_count,
                   uint32_t in_format, uint32_t out_format) VELA_NONNULL(1, 3, 5);

/**
 * resample_mono() from RESAMPLE_LEND to RESAMPLE_LEND.
 *
 * @param state      the stream
 * @param in         the input samples, of any alignment
 * @param in_count   in: their number; out: how many were consumed
 * @param out        receives the outputs, of any alignment
 * @param out_count  in: its capacity; out: how many were written
 */
void resample_test(resample_state *state, const int16_t *in, uint32_t *in_count, int16_t *out, uint32_t *out_count)
    VELA_NONNULL(1, 3, 5);

/** The response of a filter bank. Frequencies are relative to the Nyquist frequency of the lower of the two rates. */
typedef struct resample_design {
    double pass;        /**< the end of the pass band */
    double stop;        /**< the beginning of the stop band: above @p pass; aliases of what lies between are passed */
    double attenuation; /**< dB, above 21; ripple in the pass band is as far below the signal */
    uint32_t fine_bits; /**< bits of fraction of a coefficient beyond 14: up to 8 */
} resample_design;

/**
 * A filter bank for streams of finer quality than resample_mono() has: a windowed sinc, sampled at a number of phases,
 * positions between two input samples. It is never changed after it was made, so threads may share one.
 *
 * Row p is for outputs p / phases after a sample. It begins with `coarse` coefficients of 14 bits of fraction, for the
 * middle of its `taps` samples; then come `taps` coefficients of `fine_bits` more bits, none if that is 0. An output's
 * coefficient is the sum of both. A row's coefficients add up to exactly 1, so that a constant is kept.
 */
typedef struct resample_bank {
    uint64_t step;      /**< from one output to the next, in 2^-32 phases */
    uint32_t phases;    /**< rows but one, which is row 0 a sample later */
    uint32_t cycle;     /**< outputs after which the phases repeat exactly; 0 if they don't, but are interpolated */
    uint32_t taps;      /**< input samples that an output is made of; the first is taps / 2 - 1 before its position */
    uint32_t coarse;    /**< a multiple of 16, as `taps` is */
    uint32_t fine_bits; /**< as in the design */
    uint32_t copies;    /**< 1 if row 0 is a single coefficient of 1: outputs of its phase are samples */
    int16_t *rows;      /**< in the same block of memory as this struct */
} resample_bank;

/**
 * Designs a filter bank: a sinc by the Kaiser window of the design's transition band and attenuation. All machines make
 * the same coefficients.
 *
 * @param out_rate    output rate
 * @param in_rate     input rate, in the same unit
 * @param design      the response
 * @param min_phases  1 for outputs of these rates alone; 512 for steps of any size
 * @return the bank, to be released by free(); null for rates of 0, when memory runs out, and for a transition band so
 *         sharp that it needs more than 16384 taps or could overflow sums
 */
VELA_NODISCARD VELA_RELEASED_BY(free) resample_bank *resample_bank_alloc(uint32_t out_rate, uint32_t in_rate,
                                                                         const resample_design *design,
                                                                         uint32_t min_phases) VELA_NONNULL(3);

/**
 * Makes outputs of a stream from a window on its samples. An output between two phases is interpolated linearly from
 * their rows. A sum has 14 bits of fraction, rounded down; outputs are rounded to nearest, and saturate.
 *
 * @param bank      the filter
 * @param window    consecutive samples: output `i` needs `taps` from (*position + i x step) / (2^32 x phases) on
 * @param position  in: of the first output, in the unit of bank->step; out: that after the last. Below 2^63
 * @param step      bank->step, or another for another ratio of the rates
 * @param out       receives the outputs, @p stride elements apart; null for their sums
 * @param sums      receives the sums instead, for samples of more bits, which are converted as a high and a low part
 * @param count     their number
 * @param stride    1, or the number of channels for interleaved samples
 */
void resample_bank_run(const resample_bank *bank, const int16_t *window, uint64_t *position, uint64_t step,
                       int16_t *out, int32_t *sums, uint32_t count, uint32_t stride) VELA_NONNULL(1, 2, 3);

/** @} */
#pragma GCC visibility pop
#ifdef __cplusplus
}
#endif

#endif
