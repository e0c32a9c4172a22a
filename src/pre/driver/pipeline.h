// The process from main to exit and the per-file pipeline.
#ifndef QUB_DRIVER_PIPELINE_H
#define QUB_DRIVER_PIPELINE_H

#include "preerror/status.h"

int pre_main(int argc, char **argv);
void pre_analyse_command();
void pre_process_all();
void pre_process_file();

// Runs the per-file path (scanner into writer) on text that is already preprocessed:
// preprocessed_path is read, the instrumented text goes to output_path. source_name is
// the source as a command would give it. Returns the analysis status.
pre_status pre_instrument_preprocessed(const char *preprocessed_path, const char *source_name,
                                       const char *output_path);

// Prints the banner of -V on stderr.
void pre_print_banner();

#endif
