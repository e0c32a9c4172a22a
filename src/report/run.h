// The qub-report command as a function, for main and for tests.
#ifndef QUB_REPORT_RUN_H
#define QUB_REPORT_RUN_H

#include <string>
#include <vector>

// Runs qub-report with the arguments behind the program name; returns the exit status:
// 0 done, 1 bad input or a failed write, 2 a --fail-under bound not reached.
int report_run(const std::vector<std::string> &args);

#endif
