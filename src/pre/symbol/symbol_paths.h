// Path operations of the symbol file writer: absolute forms, comparison by path rules,
// the same-file test and the extension test.
#ifndef QUB_SYMBOL_SYMBOL_PATHS_H
#define QUB_SYMBOL_SYMBOL_PATHS_H

#include <string>

// Absolute form: a path beginning with one separator starts at "/", one beginning with
// two keeps them, any other is taken from the current directory. "." components go,
// ".." removes the last component (falling back to "/" when none is left), and a
// component of n >= 3 dots climbs n - 1 levels. Copied separators stay as written.
// The current directory not to be had ends the run with status 12.
std::string sym_abs_path(const char *path);

// Character by character, '\' and '/' counting as the same; -1, 0 or 1.
int sym_path_compare(const char *a, const char *b);
bool sym_path_equal(const char *a, const char *b);

// True when both name the same file: the resolved forms of existing files, the
// absolute forms otherwise, compared by path rules.
bool sym_same_file(const char *a, const char *b);

// True when word ends in a point and ext, and is at least two characters longer.
bool sym_has_extension(const char *word, const char *ext);

// The file part without its last point and what follows it.
std::string sym_base_name(const char *path);

#endif
