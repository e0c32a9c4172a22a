// The description of one source file and its merge into the symbol file.
#ifndef QUB_SYMBOL_SYMBOL_H
#define QUB_SYMBOL_SYMBOL_H

#include <cstdint>

// The symbol file's names and a temporary name for the description file.
void pre_symbol_prepare();
// Opens the temporary description of one source file.
void pre_symbol_begin_file(const char *source_id);
// One record of the description.
void pre_symbol_record(std::uint32_t counter, std::uint32_t kind, std::uint32_t level,
                       std::uint32_t line, std::uint32_t statements, const char *text);
// Merges the description into the symbol file under its lock.
void pre_symbol_commit(const char *source_id, std::uint32_t line_count);
// Removes the lock file if this process holds it.
void pre_symbol_unlock();
// Values settled by the last commit, for the instrumented file.
long long pre_symbol_time_stamp();
unsigned long pre_symbol_fingerprint();
// Absolute name of the data file.
const char *pre_symbol_data_file_name();
// Symbol file name without directory and extension ("MON" by default).
const char *pre_symbol_monitor_name();

#endif
