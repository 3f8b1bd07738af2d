#include <stdio.h>
#include <vela/vela.h>

int main(int argc, char **argv) {
    static const cmdline_option options[] = {{'v', "verbose", "say more", 0}, {0, NULL, NULL, 0}};
    while (cmdline_getopt(argc, argv, options) >= 0)
        ;
    cmdline_print(argc, argv, cmdline_optidx);
    return fflush(stdout);
}
