// The tool's own command-line options, option files and QUBOPTS.
#ifndef QUB_DRIVER_OPTIONS_H
#define QUB_DRIVER_OPTIONS_H

#include "driver/run_state.h"

// Sets QUBHOME to the installed configuration's directory (<bindir>/../share/qub) when
// the variable is not set and that directory holds a qub.ini. A set QUBHOME stays.
void pre_default_home();

// QUBOPTS and argv become the word chain of g_run, and the option loop runs. No
// arguments at all, -h and -? print the usage and end the process with status 0; an
// option error ends it with status 13. Calls pre_default_home first.
void pre_setup_arguments(int argc, char **argv);

// Runs the option loop from g_run.current_arg on: sets the run_state fields, leaves
// current_arg and command_arg on the first word that is no option, and puts the rebuilt
// QUBOPTS into the environment. Returns STATUS_OK, STATUS_USAGE,
// STATUS_BAD_COMMAND_LINE (message arguments set) or STATUS_OUT_OF_MEMORY.
pre_status pre_parse_options();

// Splits a text into words at blanks, tabs and line ends outside double quotes; quotes
// are removed, a backslash in front of a backslash or a quote keeps both characters.
// Empty words are left out. Returns the chain, or none when there is no word.
arg_node *pre_split_words(const char *text);

// Reads an option or response file: byte order marks, UTF-16 little-endian, whole-line
// "#" comments and CR LF line ends are handled. Returns a new text. A file that cannot
// be opened (22), read (24) or closed (5) is reported and ends the process.
char *pre_read_text_file(const char *path);

// The usage text, on stdout.
void pre_print_usage();

#endif
