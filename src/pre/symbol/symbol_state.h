// The record that the description writer and the merge share.
#ifndef QUB_SYMBOL_SYMBOL_STATE_H
#define QUB_SYMBOL_SYMBOL_STATE_H

#include <cstddef>
#include <cstdint>
#include <cstdio>

#include "base/base.h"

// One line directive met while the description is written.
struct symbol_line_entry {
  std::uint32_t before_line;  // line number just before the directive
  std::uint32_t number;       // the directive's number
  const char *name;           // absolute name, in the name pool
  std::uint32_t statements;
  std::uint32_t level;
  bool written;
};

// The checksum of the cksum command, fed piece by piece.
struct symbol_crc {
  std::uint32_t value;
  std::uint64_t length;
};

struct symbol_state {
  // the description
  std::FILE *temp_file;
  char *temp_name;
  std::uint32_t mode_bits;
  long long time_stamp;
  std::uint32_t fingerprint;
  std::uint32_t revision;
  char *index_list;
  std::uint64_t index_capacity;
  symbol_line_entry *line_stack;
  std::size_t stack_count;
  std::size_t stack_capacity;
  char **name_pool;
  std::size_t pool_count;
  std::size_t pool_capacity;
  char *last_name;

  // the names
  bool names_settled;
  char *monitor_name;
  char *symbol_path;
  char *data_path;
  char *symbol_display_name;
  char *lock_path;

  // the merge
  std::FILE *symbol_file;
  long long stored_time_stamp;
  std::uint32_t stored_fingerprint;
  std::uint64_t read_offset;
  std::uint64_t entry_offset;
  bool lock_held;
  char line_buffer[MAX_TOKEN + 1];
  char temp_buffer[MAX_TOKEN + 1];
};

extern symbol_state g_symbol;

// Drops the line stack and the name pool of the description.
void symbol_discard_line_state();
// The text of errno, or fallback when errno is 0 (an end of file, not an error).
const char *symbol_error_text(const char *fallback);
// Reports a failed write of the description (status 34, fatal).
void symbol_temp_write_failed();
// Reads one line of the description into temp_buffer; status 24 at its end or on failure.
void symbol_read_temp_line();

void symbol_crc_start(symbol_crc *crc);
void symbol_crc_add(symbol_crc *crc, const char *data, std::size_t length);
std::uint32_t symbol_crc_finish(symbol_crc *crc);
// Rewinds the description and computes its fingerprint into g_symbol.fingerprint.
void symbol_compute_fingerprint();

#endif
