/* Live audio between a telephone line (G.711) and a sound device (16-bit little-endian), in packets of 10 ms from the
   standard input to the standard output, in either direction. The latency of the filter is printed first. What the
   filter holds when the stream ends is not played. */
#include "resampling.h"
#include <stdio.h>
#include <string.h>
#include <vela/cmdline.h>

enum { PACKETS_PER_SECOND = 100, MAX_PACKET = 192000 / PACKETS_PER_SECOND };

typedef struct sound {
    uint32_t rate, format, size; /* size: bytes of a sample */
} sound;

static int fail(const char *message) {
    fprintf(stderr, "live: %s\n", message);
    return EXIT_FAILURE;
}

/* The centre of the kernel is (T - 1) / 2 phase steps old, and M phase steps are one output sample. */
static void show_latency(const resample_state *state, const sound *from, const sound *to) {
    const double samples = (state->num_coeffs - 1) / 2.0 / state->decim_factor;
    fprintf(stderr, "%u to %u Hz: latency %.2f samples, %.3f ms\n", (unsigned)from->rate, (unsigned)to->rate, samples,
            1000 * samples / to->rate);
}

static int convert(resample_state *state, const sound *from, const sound *to) {
    static uint8_t in[2 * 2 * MAX_PACKET], out[2 * MAX_PACKET];
    const size_t packet = (size_t)from->rate / PACKETS_PER_SECOND * from->size;
    size_t waiting = 0, got; /* bytes; waiting: of samples that no output has needed yet */
    do {
        got = fread(in + waiting, 1, packet, stdin);
        if (ferror(stdin))
            return fail("cannot read the input");
        if (got % from->size != 0)
            return fail("the input ends within a sample");
        waiting += got;
        uint32_t used = (uint32_t)(waiting / from->size), made = MAX_PACKET;
        resample_mono(state, in, &used, out, &made, from->format, to->format);
        waiting -= (size_t)used * from->size;
        memmove(in, in + (size_t)used * from->size, waiting);
        if (fwrite(out, to->size, made, stdout) != made || fflush(stdout) != 0)
            return fail("cannot write the output");
    } while (got == packet);
    return EXIT_SUCCESS;
}

int main(int argc, char **argv) {
    static const cmdline_option options[] = {{'h', "help", NULL, 0},
                                             {'l', "line", "rate of the line in Hz (8000)", CMDLINE_REQUIRED},
                                             {'d', "device", "rate of the device in Hz (48000)", CMDLINE_REQUIRED},
                                             {'a', "alaw", "the line uses A-law instead of mu-law", 0},
                                             {'b', "back", "from the device to the line", 0},
                                             {0, NULL, NULL, 0}};
    sound line = {8000, RESAMPLE_ULAW, 1}, device = {48000, RESAMPLE_LEND, 2};
    int option, to_line = 0, is_wrong = 0;
    while ((option = cmdline_getopt(argc, argv, options)) >= 0)
        if (option == 'l')
            line.rate = rate_of(cmdline_optarg);
        else if (option == 'd')
            device.rate = rate_of(cmdline_optarg);
        else if (option == 'a')
            line.format = RESAMPLE_ALAW;
        else if (option == 'b')
            to_line = 1;
        else if (option == 'h' || option == '?') {
            cmdline_usage(options + 1, "live", "[options] <IN >OUT");
            return option == 'h' ? EXIT_SUCCESS : EXIT_FAILURE;
        } else
            is_wrong = 1; /* an operand, or an option without a value */
    if (is_wrong)
        return fail("unexpected operand or missing value; see --help");
    if (!line.rate || line.rate % PACKETS_PER_SECOND || !device.rate || device.rate % PACKETS_PER_SECOND)
        return fail("rates must be multiples of 100 from 4000 to 192000 Hz");

    const sound *from = to_line ? &device : &line, *to = to_line ? &line : &device;
    resample_state *state = make_resampler(to->rate, from->rate);
    if (!state)
        return fail("out of memory");
    show_latency(state, from, to);
    const int status = convert(state, from, to);
    resample_free(state);
    return status;
}
