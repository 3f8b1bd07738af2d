/*
 * A program that has functions of its own by the names of the library's does not change what the library does, and
 * shares the library's data.
 *
 * The functions below stand for those that the library calls inside itself; reaching one of them aborts.
 */
#include <stdio.h>
#include <stdlib.h>
#include <vela/vela.h>

#define OURS(type, name, arguments)                                                                                    \
    type name arguments {                                                                                              \
        fputs("the library called the program's " #name "\n", stderr);                                                 \
        abort();                                                                                                       \
    }

OURS(double, sinc, (double x))
OURS(int32_t, dot, (const int32_t *u, const int32_t *v))
OURS(int32_t, Volume, (const chull_face *f, const int32_t *p))
OURS(int32_t, exists, (const char *path))
OURS(int32_t, is_dir, (const char *path))
OURS(uint8_t, int2hex, (int32_t value))
OURS(uint8_t, hex2int, (uint8_t ch))
/* clang-format off */
OURS(fmatrix *, malloc_matrix, (int32_t rows, int32_t cols))
OURS(void, free_matrix, (fmatrix * m))
OURS(int32_t, pseudo_inverse, (const fmatrix *a, const fmatrix *b, fmatrix *x))
OURS(int32_t, sinQ10inQ12out, (int32_t angle))
OURS(void, smap_clip_pan_tilt, (int32_t *pan, int32_t *tilt))
OURS(void, randbytes, (void *buf, uint32_t len))
OURS(void, resample_reset, (resample_state *state))

/* clang-format on */
#define REQUIRE(condition)                                                                                             \
    do {                                                                                                               \
        if (!(condition)) {                                                                                            \
            fputs("not so: " #condition "\n", stderr);                                                                 \
            return EXIT_FAILURE;                                                                                       \
        }                                                                                                              \
    } while (0)

int main(void) {
    resample_state *resampler = resample_alloc(16000, 8000, RESAMPLE_LANC);
    REQUIRE(resampler && resampler->coeffs[0] == 6640);
    resample_free(resampler);

    const uint8_t xs[] = {0, 9, 0, 0}, ys[] = {0, 0, 9, 0}, zs[] = {0, 0, 0, 9};
    chull_ctx *hull;
    REQUIRE(alloc_chull(&hull) == 0 && get_chull(xs, ys, zs, 4, hull) == 0 && is_in_chull(hull, 1, 1, 1) == 1);
    free_chull(hull);
    free(hull);

    char coded[16];
    uint8_t mac[6], uuid[16];
    REQUIRE(url_encode("/", 1, coded, sizeof coded) == 3 && inet_parse_mac("00:1a:2B:3c:4D:5e", mac) == 0);
    REQUIRE(mkdirp(".") == 0);
    uuid_create(uuid);

    const float abscissas[] = {0, 1, 2}, ordinates[] = {1, 3, 5};
    float coefficients[2];
    REQUIRE(polyfit(abscissas, ordinates, 3, 2, coefficients) == 0);

    const smap_view view = {640, 480, 0, 0, 60 << 10};
    smap_sphere_pt direction = {0, 0};
    smap_screen_pt centre;
    REQUIRE(smap_sphere_pt_to_screen_pt(&direction, &view, &centre) == 1);
    smap_screen_pt_to_sphere_pt(&centre, &view, &direction);

    /* The data is one: what the program writes, the parser reads, and the other way round. */
    char *arguments[] = {(char *)"program", (char *)"-v", (char *)"-n", (char *)"5"};
    static const cmdline_option options[] = {{'n', NULL, NULL, CMDLINE_REQUIRED}, {0, NULL, NULL, 0}};
    cmdline_optidx = 2;
    REQUIRE(cmdline_getopt(4, arguments, options) == 'n' && cmdline_optidx == 4 && cmdline_optarg == arguments[3]);
    return EXIT_SUCCESS;
}
