// The description of one source file and its merge into the symbol file.
#ifndef QUB_SYMBOL_SYMBOL_H
#define QUB_SYMBOL_SYMBOL_H

#include <cstddef>
#include <cstdint>

// --- the description -------------------------------------------------------------------
// The symbol file's names and a temporary name for the description file.
void pre_symbol_prepare();
// Opens the temporary description of one source file and writes its name line and head.
void pre_symbol_begin_file(const char *source_id);
// One record of the description. Kind 50 notes a line directive (text: the file name
// of the directive, line: its number); it is written only in front of the next record
// that stands in another file.
void pre_symbol_record(std::uint32_t counter, std::uint32_t kind, std::uint32_t level,
                       std::uint32_t line, std::uint32_t statements, const char *text);
// Adds a number to the index list that the next record of kinds 78 to 81 carries.
void pre_symbol_add_index(std::uint32_t number);

// --- the merge -------------------------------------------------------------------------
// Merges the description into the symbol file under its lock and settles the time
// stamp and the fingerprint.
void pre_symbol_commit(const char *source_id, std::uint32_t line_count);
// Removes the lock file if this process holds it.
void pre_symbol_unlock();
// Values settled by the last commit, for the instrumented file.
long long pre_symbol_time_stamp();
unsigned long pre_symbol_fingerprint();

// --- names -----------------------------------------------------------------------------
// Settles the names below from symbol_file_name on first use; later calls keep them.
void pre_symbol_settle_names();
// Absolute name of the data file.
const char *pre_symbol_data_file_name();
// Symbol file name without directory and extension ("MON" by default).
const char *pre_symbol_monitor_name();
// The symbol file, its absolute form, and its lock file.
const char *pre_symbol_file_path();
const char *pre_symbol_display_name();
const char *pre_symbol_lock_path();
// Name of the temporary description file (none before the first description).
const char *pre_symbol_description_name();

// --- helpers ---------------------------------------------------------------------------
// The checksum of the POSIX cksum command over a block of bytes.
std::uint32_t pre_symbol_cksum(const unsigned char *data, std::size_t length);
// Forgets names, the description and the commit state (a new run in the same process).
void pre_symbol_reset();

#endif
