// The language option of GNU-style drivers and the compile step's view of the
// instrumented text.
#include "command/language.h"

#include <cstdlib>
#include <cstring>
#include <string>

#include "base/base.h"
#include "command/command.h"
#include "config/config.h"
#include "prepath/prepath.h"

namespace {

struct language_row {
  const char *value;  // the -x value of the source language
  arg_kind kind;
  bool objcxx;
  const char *preprocessed;  // the -x value of its preprocessed text
  const char *tail;          // the extension of its preprocessed text
};

const language_row LANGUAGES[] = {
    {"c", ARG_C, false, "cpp-output", ".i"},
    {"c++", ARG_CXX, false, "c++-cpp-output", ".ii"},
    {"objective-c", ARG_OBJC, false, "objective-c-cpp-output", ".mi"},
    {"objective-c++", ARG_OBJC, true, "objective-c++-cpp-output", ".mii"},
};

const language_row *row_of(arg_kind kind, bool objcxx) {
  for (const language_row &r : LANGUAGES)
    if (r.kind == kind && r.objcxx == objcxx) return &r;
  return nullptr;
}

bool has_value(const char *parameter, const char *text) {
  return conf_each_value(parameter, [&](const char *v) { return std::strcmp(v, text) == 0; });
}

// The block takes -x with a value.
bool block_has_language_option() {
  return pre_is_option("-x", "PARAMS") || pre_is_option("-x", "PARAMS_SEPARATE");
}

// An Objective-C++ source by its extension.
bool objcxx_extension(const char *source) {
  return pre_has_extension(source, "mm") || pre_has_extension(source, "M");
}

// The language value in force for the record's source, by its compile flags: the
// instrumented text's own -x stands last.
const language_row *record_row(const file_record *r) {
  const char *last = nullptr;
  const char *prev = nullptr;
  for (pre_list_node *n = r->compile_flags->head; n; n = n->next) {
    const char *w = static_cast<const char *>(n->item);
    if (prev && std::strcmp(prev, "-x") == 0) last = w;
    prev = w;
  }
  if (last) {
    for (const language_row &row : LANGUAGES)
      if (std::strcmp(row.value, last) == 0 || std::strcmp(row.preprocessed, last) == 0) return &row;
  }
  return row_of(static_cast<arg_kind>(r->language), objcxx_extension(r->source));
}

}  // namespace

bool pre_is_language_option(const arg_node *word) {
  return word->kind == ARG_OPTION && word->values && word->text[0] != '\0' &&
         std::strcmp(word->text + 1, "x") == 0 && pre_find_optchars(word->text[0]) &&
         block_has_language_option();
}

arg_kind pre_language_kind(const char *value, arg_kind by_extension) {
  if (!value || std::strcmp(value, "none") == 0) return by_extension;
  for (const language_row &r : LANGUAGES)
    if (std::strcmp(r.value, value) == 0) return r.kind;
  return ARG_OTHER;
}

const char *pre_language_before(const arg_node *command_arg, const arg_node *word) {
  const char *value = nullptr;
  for (const arg_node *n = command_arg ? command_arg->next : nullptr; n && n != word; n = n->next)
    if (pre_is_language_option(n)) value = n->values->text;
  if (value && std::strcmp(value, "none") == 0) return nullptr;
  return value;
}

bool pre_compile_told_preprocessed() { return has_value("OPT_ADD_COMPILE", "-fpreprocessed"); }

const char *pre_compile_language(arg_kind kind, bool objcxx) {
  if (!block_has_language_option()) return nullptr;
  const language_row *r = row_of(kind, objcxx);
  if (!r) return nullptr;
  return pre_compile_told_preprocessed() ? r->value : r->preprocessed;
}

char *pre_instrumented_tail(const file_record *record) {
  // "<base name>.<source extension>", and behind it the preprocessed-text extension
  // when the name must say what the text is.
  const language_row *r = record_row(record);
  std::string tail = pre_extension(record->source);
  if (!pre_compile_told_preprocessed() && r) tail += r->tail;
  return pre_temp_suffix(record->source, tail.c_str());
}
