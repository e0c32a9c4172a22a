// The parameter table: one row per configuration parameter, with its value check.
#ifndef QUB_CONFIG_PARAMS_H
#define QUB_CONFIG_PARAMS_H

#include <cstddef>

// When a check applies, by the TYPE of the selected block.
enum conf_check_when {
  CHECK_ALWAYS,
  CHECK_IF_COMPILING,        // TYPE "compiler" or "compiler_linker"
  CHECK_IF_COMPILER_LINKER,  // TYPE "compiler_linker"
};

// What a set value must look like.
enum conf_check_kind {
  ACCEPT_ALL,       // no check at all
  ACCEPT_ANY,       // anything, the check is only about presence
  ACCEPT_NUMBER,    // a whole number above 0, decimal, 0x hexadecimal or 0 octal
  ACCEPT_WORD,      // one of the texts in words
  ACCEPT_TEMPLATE,  // a text holding "%FILE%"
  ACCEPT_COMP_OUT,  // every non-empty value is also a value of PARAMS or PARAMS_SEPARATE
  ACCEPT_NO_STAR,   // no value is exactly "*"
};

struct conf_param {
  const char *name;
  bool multi;
  conf_check_when when;
  bool required;       // not set: status 20
  bool empty_refused;  // empty first value: STATUS_BAD_PARAMETER_VALUE
  conf_check_kind kind;
  const char *const *words;  // for ACCEPT_WORD, ending in none
};

extern const conf_param conf_param_table[];
extern const std::size_t conf_param_table_size;

#endif
