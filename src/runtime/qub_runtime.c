/* The coverage runtime: collects the counters of instrumented modules. */
#include "qub.h"

const char *qub_runtime_version(void) { return "9.1.4.1"; }
