// Reading a symbol file back: every description with its head, records and counts line.
// Depends on the C++ standard library alone, so that the report command can use it
// without the rest of the tool.
#ifndef QUB_SYMBOL_SYMFILE_READ_H
#define QUB_SYMBOL_SYMFILE_READ_H

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

// The counter array that the counter field of a record numbers.
enum symfile_array {
  SYMFILE_NONE = 0,  // the field is 0
  SYMFILE_F,         // functions
  SYMFILE_J,         // jump-like probes
  SYMFILE_TF,        // decisions, a true/false pair each
  SYMFILE_C,         // evaluation paths of multiconditions
};

// One record line. Texts live in the description's text pool.
struct symfile_record {
  std::uint32_t kind;
  std::uint32_t line;
  std::uint32_t statements;
  std::int32_t counter;
  std::uint32_t level;
  std::uint32_t file;         // index into symfile::file_names: where the record stands
  std::uint32_t text_offset;  // in symfile_description::texts
  std::uint32_t text_length;
};

// One source file as the tool described it.
struct symfile_description {
  std::string source_id;
  std::uint32_t mode_bits = 0;
  long long time_stamp = 0;
  std::uint32_t fingerprint = 0;
  std::uint32_t revision = 0;
  std::uint32_t file = 0;  // index of the source itself in symfile::file_names
  std::vector<symfile_record> records;
  std::string texts;
  // The counts line: lines, then the sizes of the F, J, TF, C and TIME arrays.
  std::uint64_t line_count = 0;
  std::uint64_t f_size = 0, j_size = 0, tf_size = 0, c_size = 0, time_size = 0;
  // The fingerprint computed over the description as it stands in the file.
  std::uint32_t computed_fingerprint = 0;
  std::uint64_t first_line = 0;  // line of the name line in the file, from 1
};

struct symfile {
  std::string date;  // line 2: the time of the last change
  std::vector<symfile_description> descriptions;
  // Names of the files that records stand in: the source ids and the names of the
  // "#line" records, each once.
  std::vector<std::string> file_names;
};

enum symfile_status {
  SYMFILE_OK = 0,
  SYMFILE_CANNOT_OPEN,   // the file cannot be opened or read
  SYMFILE_FOREIGN,       // the first line is not that of a symbol file of this format
  SYMFILE_TRUNCATED,     // the end mark is missing
  SYMFILE_BAD_LINE,      // a line that is not what its place calls for
  SYMFILE_BAD_COUNTER,   // a counter outside its array, or an index list that is not one
};

struct symfile_error {
  symfile_status status = SYMFILE_OK;
  std::uint64_t line = 0;  // line of the file, from 1; 0 when not about one line
  std::string message;     // one sentence, without the file's name
};

// Reads the symbol file at path. On failure returns false and fills error.
bool symfile_read(const std::string &path, symfile *out, symfile_error *error);
// The same over bytes already in memory.
bool symfile_parse(std::string_view data, symfile *out, symfile_error *error);

// The text field of a record.
inline std::string_view symfile_text(const symfile_description &d, const symfile_record &r) {
  return std::string_view(d.texts).substr(r.text_offset, r.text_length);
}

// The array of a record kind; kinds not in the format give SYMFILE_NONE.
symfile_array symfile_array_of(std::uint32_t kind);
// Whether a kind belongs to the format at all.
bool symfile_known_kind(std::uint32_t kind);

// The numbers of an index list ("0,2,5") of kinds 78 to 81; false if it is not one.
bool symfile_index_list(std::string_view text, std::vector<std::uint32_t> *numbers);

// The line number and file name of a "#line" record's text ("#line 12 \"/a/b.h\"").
bool symfile_line_form(std::string_view text, std::uint32_t *number, std::string *name);

// The checksum of the POSIX cksum command, as the fingerprint uses it.
std::uint32_t symfile_cksum(std::string_view bytes);

#endif
