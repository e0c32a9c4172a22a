// Statuses and report modes: the numbers of the message table, by name. A header of
// constants only, so that every layer of the tool can name a status.
#ifndef QUB_PREERROR_STATUS_H
#define QUB_PREERROR_STATUS_H

// The number of each message (preerror.cpp holds the texts in this order).
// STATUS_OK means "no error": every function that returns a status returns it on
// success, and every phase compares against it.
enum pre_status : int {
  STATUS_BAD_PARAMETER_VALUE = 0,    // configuration parameter has an illegal value
  STATUS_BAD_CONFIG_FORMAT = 1,      // bad line in a configuration file
  STATUS_BAD_SYMBOL_STAMP = 2,       // symbol file's head lines are not ours
  STATUS_BAD_PRAGMA = 3,             // warning: bad or misplaced pragma
  STATUS_BAD_ENVIRONMENT_VALUE = 4,  // environment variable has an illegal value
  STATUS_CLOSE_FAILED = 5,
  STATUS_USAGE = 6,                  // prints the usage text and ends with exit status 0
  STATUS_PREPROCESS_FAILED = 7,
  STATUS_COMPILE_FAILED = 8,
  STATUS_CREATE_FAILED = 9,
  STATUS_QUB_IDENTIFIER = 10,        // warning: identifier begins with "qub_"
  STATUS_MISPLACED_STRING = 11,      // warning
  STATUS_NO_CURRENT_DIRECTORY = 12,
  STATUS_BAD_COMMAND_LINE = 13,      // also prints the hint to "qub -h"
  STATUS_UNKNOWN_ERROR = 14,
  STATUS_LINK_FAILED = 16,
  STATUS_LOCK_CREATE_FAILED = 17,
  STATUS_LOCK_REMOVE_FAILED = 18,
  STATUS_MISMATCHED_ENDSKIP = 19,    // warning
  STATUS_MISSING_DEFINITION = 20,    // a required configuration parameter is absent
  STATUS_OK = 21,
  STATUS_OPEN_FAILED = 22,
  STATUS_OUT_OF_MEMORY = 23,
  STATUS_READ_FAILED = 24,
  STATUS_PRAGMA_IN_BODY = 25,        // warning
  STATUS_SYNTAX_ERROR = 26,
  STATUS_NO_TEMP_FILE = 27,
  STATUS_TOO_COMPLEX = 28,           // warning: reduced to decision coverage
  STATUS_COUNTER_LIMIT = 29,
  STATUS_USER_COMMAND_FAILED = 30,
  STATUS_ABNORMAL_CASE = 32,         // note
  STATUS_CAPACITY = 33,              // something too big for the tool's buffers
  STATUS_WRITE_FAILED = 34,
  STATUS_ORIGINAL_COMMAND_FAILED = 35,  // warning (-2comp)
  STATUS_TERNARY_DECISION_ONLY = 36,    // warning
  STATUS_CONST_DECISION = 37,           // note
  STATUS_CANNOT_INSTRUMENT = 38,        // note
};

// Highest status of the message table.
constexpr int PRE_LAST_STATUS = STATUS_CANNOT_INSTRUMENT;

// What pre_report does after printing.
enum report_mode : int {
  REPORT_CONTINUE = 0,        // returns
  REPORT_FATAL = 1,           // ends the process with exit status 1
  REPORT_FATAL_IF_ERROR = 2,  // returns for a warning or a note, ends the process otherwise
};

#endif
