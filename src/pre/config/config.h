// The configuration store: qub.ini files, blocks, parameters.
//
// The store holds one default block and the named blocks in the order of their first
// appearance. Each block has one slot per parameter of the table; an empty slot says
// nothing about the parameter, so lookups fall back from the current block to the
// default block. Texts returned by conf_get, conf_first and conf_next belong to the store.
#ifndef QUB_CONFIG_CONFIG_H
#define QUB_CONFIG_CONFIG_H

#include <cstddef>
#include <type_traits>

#include "preerror/status.h"

// Creates the store and reads the configuration files in search order: QUBHOME, QUBINIT,
// the current directory, the -c list. With report set (-V) the search is listed on stderr.
// Any failure is reported and ends the process; returns only on success.
void pre_load_configuration(const char *conf_file_list, bool report);

// The first value of a parameter in the current block, else the default block, else "".
const char *conf_get(const char *parameter);

// Iteration over the values of a parameter: conf_first gives the first value (none when
// neither the current nor the default block has the parameter) and sets the iterator;
// conf_next gives the value at the iterator and moves it on, none at the end.
// Empty values are handed out like all others.
typedef void *conf_iter;
const char *conf_first(const char *parameter, conf_iter *iterator);
const char *conf_next(conf_iter *iterator);

// Calls visit(value) for each non-empty value of a list parameter, in order. A visit
// that returns bool stops the walk by returning true; the result tells whether one did.
template <typename Visit>
bool conf_each_value(const char *parameter, Visit visit) {
  conf_iter it = nullptr;
  for (const char *v = conf_first(parameter, &it); v; v = conf_next(&it)) {
    if (!*v) continue;
    if constexpr (std::is_void_v<decltype(visit(v))>)
      visit(v);
    else if (visit(v))
      return true;
  }
  return false;
}

// Block selection. conf_select_first makes the first named block current and returns
// its name; with no named block it makes the default block current and returns none.
// conf_select_next makes the next named block current and returns its name; behind the
// last one, or when the default block is current, it makes the default block current
// and returns none. conf_select_block makes the block of that name current, creating
// it behind the others when it doesn't exist; none selects the default block.
const char *conf_select_first();
const char *conf_select_next();
void conf_select_block(const char *name);

// Applies "NAME=value", "NAME+value" or "NAME-value" to the current block; a format
// error is reported (status 1, line 0) and ends the process.
void conf_apply_override(const char *text);

// Applies the -C texts not yet applied, in their order, and drops them.
void conf_apply_pending_overrides();

// Checks every parameter in table order in the current block; the first refused or
// missing value is reported and ends the process.
void conf_validate();

// --- the parameter table, in its fixed order (the order of the settings log) ---------
std::size_t conf_param_count();
const char *conf_param_name(std::size_t index);
bool conf_param_is_multi(std::size_t index);
// Row of a parameter, or -1 when the name is not in the table.
int conf_param_index(const char *name);

// --- lower-level operations, for the search and for tests ----------------------------
// Reads one configuration file into the store (created on first use), starting in the
// default block. Returns STATUS_OK, or STATUS_OPEN_FAILED, STATUS_READ_FAILED or
// STATUS_CLOSE_FAILED with path and system text as message arguments, or
// STATUS_BAD_CONFIG_FORMAT with the statement, the path and the line as message arguments.
pre_status conf_load_file(const char *path);
// Applies one statement to the current block (created on first use). Returns STATUS_OK,
// or STATUS_BAD_CONFIG_FORMAT with the offending text kept for conf_error_text().
pre_status conf_apply_line(const char *statement);
// The text of the last format error: the statement or the parameter name, cut to 128.
const char *conf_error_text();
// Frees the store; the next use starts with an empty one.
void conf_reset();

#endif
