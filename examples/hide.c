/* Hides what lies in some directions in a picture of NV12, from standard input to standard output, as a camera's
 * program does between its driver and its encoder. hide.py and hide.rs do the same in other languages. */
#include <stdio.h>
#include <stdlib.h>
#include <vela/cmdline.h>
#include <vela/overlay.h>

static const cmdline_option options[] = {{'h', "help", NULL, 0},
                                         {'p', "pan", "where the camera looks, in degrees", CMDLINE_REQUIRED},
                                         {'t', "tilt", "above the horizon", CMDLINE_REQUIRED},
                                         {0, NULL, NULL, 0}};

/* The corners of a door, in degrees. */
static const vela_direction corners[] = {{-5, 8}, {5, 8}, {5, -12}, {-5, -12}};

static int fail(const char *what) {
    fprintf(stderr, "%s\n", what);
    return EXIT_FAILURE;
}

/* The picture in memory: hidden before it goes anywhere. */
static int hide(const vela_picture *frame, const vela_orientation *where) {
    const vela_lens lens = vela_lens_of_fov(VELA_LENS_PINHOLE, frame->width, frame->height, 60);
    vela_view *view = vela_view_make(frame->width, frame->height, where, &lens);
    vela_mask *door = vela_mask_make(corners, sizeof corners / sizeof *corners);
    const int hidden = view && door && vela_mask_hide(door, view, NULL, frame, NULL) == 0;
    vela_mask_free(door);
    vela_view_free(view);
    return hidden;
}

int main(int argc, char **argv) {
    vela_orientation where = {0, 0, 0};
    vela_picture frame = {640, 360, VELA_NV12, VELA_BT709_STUDIO, {{NULL, 0, 0}, {NULL, 0, 0}, {NULL, 0, 0}}};
    for (int option, before = cmdline_optidx; (option = cmdline_getopt(argc, argv, options)) >= 0;
         before = cmdline_optidx) {
        if (option == 'p')
            where.pan = strtod(cmdline_optarg, NULL);
        else if (option == 't')
            where.tilt = strtod(cmdline_optarg, NULL);
        else if (option != 0 || cmdline_optidx != before) {
            cmdline_usage(options + 1, argv[0], "[options] <picture >hidden");
            return option == 'h' ? EXIT_SUCCESS : EXIT_FAILURE;
        }
    }
    const size_t size = vela_picture_lay_out(&frame, NULL, 0);
    uint8_t *bytes = malloc(size);
    if (!bytes || fread(bytes, 1, size, stdin) != size) {
        free(bytes);
        return fail("no picture of 640 x 360 pixels of NV12");
    }
    vela_picture_lay_out(&frame, bytes, size);
    const int done = hide(&frame, &where) && fwrite(bytes, 1, size, stdout) == size && fflush(stdout) == 0;
    free(bytes);
    return done ? EXIT_SUCCESS : fail("not hidden");
}
