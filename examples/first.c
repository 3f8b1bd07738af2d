#include <stdio.h>
#include <vela/vela.h>

int main(int argc, char **argv) {
    static const cmdline_option options[] = {
        {'h', "help", NULL, 0}, {'v', "verbose", "say more", 0}, {0, NULL, NULL, 0}};
    int option;
    while ((option = cmdline_getopt(argc, argv, options)) >= 0)
        if (option == 'h' || option == '?') {
            cmdline_usage(options + 1, argv[0], NULL); /* prints the line for --help itself */
            return option == '?';
        }
    cmdline_print(argc, argv, cmdline_optidx);
    return 0;
}
