// Reading data files into the counters model.
#ifndef QUB_REPORT_DATA_IN_H
#define QUB_REPORT_DATA_IN_H

#include <string>

#include "counts.h"

enum data_in_status {
  DATA_IN_OK = 0,
  DATA_IN_MISSING,  // no such file
  DATA_IN_BAD,      // unreadable, foreign, newer or damaged: message says which
};

// Reads the data file at path and merges it into data. On failure data is unchanged and
// message holds one sentence about the file (without its name).
data_in_status data_in_read(const std::string &path, counts_data *data, std::string *message);

// The same over bytes in memory (for the fuzz target).
data_in_status data_in_parse(const void *bytes, std::size_t size, counts_data *data, std::string *message);

#endif
