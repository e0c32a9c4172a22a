// Numbered messages, the list of open files closed on a fatal exit, and the settings log.
#ifndef QUB_PREERROR_PREERROR_H
#define QUB_PREERROR_PREERROR_H

#include <cstddef>
#include <cstdio>

#include "preerror/status.h"

// Message arguments: copies cut at 999 characters; an absent text becomes "(null)".
void pre_set_message_args(const char *text1, const char *text2);
void pre_set_message_line(unsigned long line);

// Prints the message of status (if its class is shown), then acts by mode: see
// report_mode. STATUS_USAGE prints the usage text on stdout and exits 0.
void pre_report(pre_status status, report_mode mode);
// pre_report(status, REPORT_FATAL): prints and ends the process with exit status 1.
[[noreturn]] void pre_fatal(pre_status status);

// The whole formatted message, "QUB++ error %d: %s\n" or "QUB++ warning %d: %s\n",
// in a static buffer; the message arguments are cleared.
const char *pre_format_message(int status);

// "** Please notify vendor about error on\n** line %lu, module %s\n\n" on stderr.
void pre_internal_error(const char *module, unsigned long line);

bool pre_is_warning(int status);
bool pre_is_note(int status);
bool pre_is_error(int status);

// Files that outlive one function: a fatal exit closes them.
std::FILE *pre_fopen(const char *name, const char *mode);
int pre_fclose(std::FILE *stream);
void pre_close_all_files();

// Failures of a file the tool writes: status (STATUS_CREATE_FAILED, STATUS_WRITE_FAILED,
// STATUS_CLOSE_FAILED, ...) with the file's name and reason, the system's error text
// when reason is null. Ends the process.
[[noreturn]] void pre_fatal_file(pre_status status, const char *name, const char *reason = nullptr);
// Writes a whole file: creates it, writes size bytes and closes it, ending the process
// with STATUS_CREATE_FAILED, STATUS_WRITE_FAILED or STATUS_CLOSE_FAILED on failure.
void pre_write_file(const char *name, const char *data, std::size_t size);

// Settings log, folded at 75 columns.
bool pre_log_open(const char *prefix);
void pre_log_char(int c);
void pre_log_text(const char *text);
void pre_log_line(const char *text);
void pre_log_newline();
void pre_log_close();
bool pre_log_is_open();
const char *pre_log_name();
const char *pre_log_date();
// Closes the log and forgets its name, so that the next open starts a new file.
void pre_log_forget();

#endif
