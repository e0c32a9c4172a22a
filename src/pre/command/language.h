// The language option of GNU-style drivers (-x LANG) and the form in which the compile
// step reads the instrumented text.
#ifndef QUB_COMMAND_LANGUAGE_H
#define QUB_COMMAND_LANGUAGE_H

#include "driver/run_state.h"

// True when the word is the command's language option (-x with its value): the block
// takes "-x" as an option with a value.
bool pre_is_language_option(const arg_node *word);

// The kind of a source word under the language value in force (a -x value), or the
// kind that its extension gives (`by_extension`) when no value or "none" is in force.
// c and c++ name C and C++, objective-c and objective-c++ name Objective-C; every other
// value (headers, assembler, preprocessed text, other languages) is not instrumented.
arg_kind pre_language_kind(const char *value, arg_kind by_extension);

// The language value in force in front of `word` in the command, or none.
const char *pre_language_before(const arg_node *command_arg, const arg_node *word);

// True when the compile step is told by an option that its input is preprocessed text
// (OPT_ADD_COMPILE holds -fpreprocessed): the instrumented file is then named like the
// source. Otherwise its name says that it is preprocessed text (.i, .ii, .mi, .mii),
// which is what makes a compiler such as clang read it as such.
bool pre_compile_told_preprocessed();

// The -x value with which the compile step reads the instrumented text of a source of
// `kind` (Objective-C++ when `objcxx`), or none when the block has no language option.
const char *pre_compile_language(arg_kind kind, bool objcxx);

// The tail of the instrumented file's temporary name for a file record: the source's
// extension, or the preprocessed-text extension of its language. A new text.
char *pre_instrumented_tail(const file_record *record);

#endif
