// Source selection and path names: which files are instrumented (EXCLUDE, NO_EXCLUDE,
// NO_INCLUDE), the name under which a source is described (SOURCE_IDENTIFICATION), and
// the small name operations of the command handling.
//
// Paths follow the POSIX file system: letters compare exactly, with case; '\' and '/'
// are both separators, and where a separator is added it is '/'. There are no drives:
// a path that starts with one separator is absolute, one that starts with two keeps them.
#ifndef QUB_PREPATH_PREPATH_H
#define QUB_PREPATH_PREPATH_H

#include <string>

#include "base/base.h"
#include "config/config.h"

// Size of a path buffer, the terminator included.
constexpr std::size_t PRE_PATH_BUFFER = 2048;

struct path_state {
  // Path as written -> canonical form; keys and values are heap texts owned by the map.
  pre_str_map *pre_path_cache = nullptr;
  // Whether the file the scanner now stands in is to be instrumented.
  bool file_instrumented = true;
  // The current directory as the file system holds it, filled on first use.
  char *current_directory = nullptr;
};

extern path_state g_path;

// --- name operations -----------------------------------------------------------
// -1, 0 or 1: character by character, letters with case, '\' equal to '/'.
int pre_path_compare(const char *a, const char *b);
bool pre_path_equal(const char *a, const char *b);
// The text behind the last separator, or the whole path; points into path.
const char *pre_file_part(const char *path);
// The text up to and including the last separator, or ""; caller frees.
char *pre_dir_part(const char *path);
// The last '.' of the file part and all behind it, or the empty text at the end of
// the path; points into path.
const char *pre_extension(const char *path);
// The extension with its dot, or "" when there is none; caller frees.
char *pre_extension_with_dot(const char *path);
// The file part without the last '.' and what follows it; caller frees.
char *pre_base_name(const char *path);
// True if word ends in '.' + ext (ext compared by pre_path_equal) with at least one
// character in front of the dot.
bool pre_has_extension(const char *word, const char *ext);
// "." + base name with characters other than letters, digits, '-', '.', '_' made '_'
// + tail; caller frees. For "a b.c" and ".i": ".a_b.i".
char *pre_temp_suffix(const char *path, const char *tail);

// --- absolute and canonical forms ----------------------------------------------
// Absolute form: '.' and runs of separators dropped, '..' and runs of dots climbed,
// never above the root; copied components keep their separators as written. A
// relative path starts from the current directory. Caller frees.
char *pre_abs_path(const char *path);
// Equal to pre_abs_path: there are no drives to cut.
char *pre_abs_path_no_drive(const char *path);
// pre_abs_path and pre_base_name as owned strings.
std::string pre_abs_path_text(const char *path);
std::string pre_base_name_text(const char *path);
// The file system's own form (realpath) of the absolute form when the file exists,
// else the absolute form; cached per path as written. The text belongs to the cache.
const char *pre_canonical_path(const char *path);
// True if the canonical forms compare equal by pre_path_compare.
bool pre_same_file(const char *a, const char *b);
// The name under which a source is described (SOURCE_IDENTIFICATION); caller frees.
char *pre_source_id(const char *source);

// --- selection -------------------------------------------------------------------
// The source being processed ("%INCLUDES%" compares against it): the source of the
// current file record, none outside the file loop.
const char *pre_top_level_file();
// True if the pattern selects the path.
bool pre_path_match(const char *path, const char *pattern);
// True if the path is not to be instrumented. A value with '?' ends the run (status 0).
bool pre_is_excluded(const char *path);
// file_instrumented = not pre_is_excluded(path).
void pre_note_current_file(const char *path);

// --- life time -------------------------------------------------------------------
// Path cache of canonical names, created at start and destroyed at the end of main.
// Destroying it also forgets the current directory, which is read again on next use.
void pre_path_cache_create();
void pre_path_cache_destroy();


#endif
