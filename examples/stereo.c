/* Stereo audio from one rate to another: interleaved 16-bit little-endian samples from the standard input to the
   standard output. Each channel has its own record and buffers. Both records use and make the same number of samples,
   so the channels stay aligned. */
#include "resampling.h"
#include <stdio.h>
#include <string.h>
#include <vela/cmdline.h>

enum { CHANNELS = 2, BLOCK = 1024 };

static int fail(const char *message) {
    fprintf(stderr, "stereo: %s\n", message);
    return EXIT_FAILURE;
}

/* Converts the first `count` samples of the channels, writes the result, and removes the samples that were used.
   Returns the number of frames written, or -1 on failure. */
static int step(resample_state *states[CHANNELS], int16_t in[CHANNELS][BLOCK], uint32_t *count) {
    int16_t out[BLOCK], frames[BLOCK][CHANNELS];
    uint32_t used = 0, made = 0;
    for (int channel = 0; channel < CHANNELS; ++channel) {
        used = *count, made = BLOCK;
        resample_test(states[channel], in[channel], &used, out, &made);
        memmove(in[channel], in[channel] + used, (*count - used) * sizeof **in);
        for (uint32_t i = 0; i < made; ++i)
            frames[i][channel] = out[i];
    }
    *count -= used;
    return fwrite(frames, sizeof *frames, made, stdout) == made ? (int)made : -1;
}

static int convert(resample_state *states[CHANNELS]) {
    int16_t in[CHANNELS][BLOCK], frames[BLOCK][CHANNELS];
    uint32_t waiting = 0;
    size_t got;
    while ((got = fread(frames, 1, (BLOCK - waiting) * sizeof *frames, stdin)) > 0) {
        if (got % sizeof *frames != 0)
            return fail("the input ends within a frame");
        for (size_t i = 0; i < got / sizeof *frames; ++i, ++waiting)
            for (int channel = 0; channel < CHANNELS; ++channel)
                in[channel][waiting] = frames[i][channel];
        int made;
        while ((made = step(states, in, &waiting)) > 0)
            ;
        if (made < 0)
            return fail("cannot write the output");
    }
    if (ferror(stdin))
        return fail("cannot read the input");
    return fflush(stdout) == 0 ? EXIT_SUCCESS : fail("cannot write the output");
}

int main(int argc, char **argv) {
    static const cmdline_option options[] = {{'h', "help", NULL, 0}, {0, NULL, NULL, 0}};
    int option;
    while ((option = cmdline_getopt(argc, argv, options)) >= 0)
        if (option == 'h' || option == '?') {
            cmdline_usage(options + 1, "stereo", "FROM-RATE TO-RATE <IN >OUT");
            return option == 'h' ? EXIT_SUCCESS : EXIT_FAILURE;
        }
    if (argc - cmdline_optidx != 2)
        return fail("two rates are needed; see --help");
    const uint32_t from = rate_of(argv[cmdline_optidx]), to = rate_of(argv[cmdline_optidx + 1]);
    if (!from || !to)
        return fail("rates must be from 4000 to 192000 Hz");

    resample_state *states[CHANNELS] = {make_resampler(to, from), make_resampler(to, from)};
    const int status = states[0] && states[1] ? convert(states) : fail("no filter for these rates");
    resample_free(states[0]);
    resample_free(states[1]);
    return status;
}
