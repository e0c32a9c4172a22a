// The entry into the source analysis of one preprocessed file.
#ifndef QUB_PREPARSE_ANALYSE_H
#define QUB_PREPARSE_ANALYSE_H

#include "preerror/status.h"

// STATUS_OK when the end of input was reached; STATUS_OPEN_FAILED when the file cannot
// be opened (message arguments set); STATUS_UNKNOWN_ERROR after an internal error.
pre_status pre_analyse_file(const char *preprocessed_path, const char *source_name);

#endif
