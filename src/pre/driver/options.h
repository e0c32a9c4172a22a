// The tool's own command-line options.
#ifndef QUB_DRIVER_OPTIONS_H
#define QUB_DRIVER_OPTIONS_H

// QUBOPTS and argv become the word chain of g_run, and the option loop runs.
void pre_setup_arguments(int argc, char **argv);

// The usage text, on stdout.
void pre_print_usage();

#endif
