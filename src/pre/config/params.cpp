// The parameter table in its fixed order, and the checks run on the selected block.
#include <cerrno>
#include <cstdlib>
#include <cstring>

#include "base/base.h"
#include "config/config.h"
#include "config/params.h"
#include "preerror/preerror.h"

namespace {

const char *const WARNING_LEVELS[] = {"none", "warn", "info", nullptr};
const char *const TYPES[] = {"compiler", "linker", "compiler_linker", "borland_linker", nullptr};
const char *const ON_OFF[] = {"ON", "OFF", nullptr};
const char *const DIALECTS[] = {"ANSI", "MICROSOFT", "BORLAND", nullptr};
const char *const SOURCE_IDS[] = {"as_given", "basename", "absolute", "absolute_without_drive", nullptr};

constexpr bool ONE = false;
constexpr bool LIST = true;

// A parameter that accepts every value.
constexpr conf_param free_param(const char *name, bool multi) {
  return conf_param{name, multi, CHECK_ALWAYS, false, false, ACCEPT_ALL, nullptr};
}

}  // namespace

const conf_param conf_param_table[] = {
    free_param("TIMER", ONE),
    {"TICK", ONE, CHECK_ALWAYS, true, true, ACCEPT_NUMBER, nullptr},
    free_param("EXECUTION_COST_TYPE", ONE),
    {"WARNING_LEVEL", ONE, CHECK_ALWAYS, false, false, ACCEPT_WORD, WARNING_LEVELS},
    free_param("COMMAND", LIST),
    {"TYPE", ONE, CHECK_ALWAYS, true, true, ACCEPT_WORD, TYPES},
    {"PREPROC_C", ONE, CHECK_IF_COMPILING, false, false, ACCEPT_TEMPLATE, nullptr},
    {"PREPROC_CXX", ONE, CHECK_IF_COMPILING, false, false, ACCEPT_TEMPLATE, nullptr},
    free_param("RUN_BEFORE_ALL", LIST),
    free_param("RUN_AFTER_CPP", LIST),
    free_param("RUN_AFTER_INSTR", LIST),
    free_param("RUN_AFTER_COMP", LIST),
    {"OPTCHARS", LIST, CHECK_ALWAYS, true, true, ACCEPT_ANY, nullptr},
    free_param("OPTFILE", LIST),
    free_param("OPT_NO_OPTFILE", LIST),
    free_param("PARAMS", LIST),
    free_param("PARAMS_SEPARATE", LIST),
    free_param("PARAMS_OPTIONAL", LIST),
    free_param("PARAMS_LIST", LIST),
    free_param("PARAMS_LIST_SEPARATOR", ONE),
    {"OPT_COMPILE_ONLY", LIST, CHECK_IF_COMPILER_LINKER, true, true, ACCEPT_ANY, nullptr},
    {"OPT_COMP_OUT", LIST, CHECK_IF_COMPILING, false, false, ACCEPT_COMP_OUT, nullptr},
    free_param("OPT_LINK_OUT", LIST),
    free_param("OPT_NO_QUB", LIST),
    free_param("OPT_NO_PREPROC", LIST),
    free_param("OPT_ADD_PREPROC", LIST),
    free_param("OPT_NO_COMPILE", LIST),
    free_param("OPT_ADD_COMPILE", LIST),
    free_param("OPT_DO_2COMP", LIST),
    free_param("EXT_C", LIST),
    free_param("EXT_CXX", LIST),
    free_param("EXT_OBJC", LIST),
    free_param("EXT_CSHARP", LIST),
    free_param("EXT_JAVA", LIST),
    free_param("EXT_OTHER", LIST),
    free_param("OBJECT_EXTENSION", ONE),
    {"DIFF_COMP_AND_LINK_OPTS", ONE, CHECK_ALWAYS, false, false, ACCEPT_WORD, ON_OFF},
    free_param("OPT_NO_LINK", LIST),
    free_param("LIBRARY", LIST),
    {"EMBED_FUNCTION_NAME", LIST, CHECK_ALWAYS, false, false, ACCEPT_NO_STAR, nullptr},
    {"DIALECT_C", ONE, CHECK_IF_COMPILING, true, true, ACCEPT_WORD, DIALECTS},
    {"DIALECT_CXX", ONE, CHECK_IF_COMPILING, true, true, ACCEPT_WORD, DIALECTS},
    free_param("TMP_DIRECTORY", ONE),
    free_param("EXCLUDE", LIST),
    free_param("NO_EXCLUDE", LIST),
    free_param("NO_INCLUDE", LIST),
    free_param("SKIP_FUNCTION_NAME", LIST),
    free_param("SKIP_PARAMETER_LIST", LIST),
    {"CONST_INSTR", ONE, CHECK_ALWAYS, false, false, ACCEPT_WORD, ON_OFF},
    {"SOURCE_IDENTIFICATION", ONE, CHECK_ALWAYS, false, false, ACCEPT_WORD, SOURCE_IDS},
    free_param("DATAFILE", ONE),
    free_param("ASSEMBLY_COMMENT_CHARS", ONE),
    free_param("MAX_CMDLINE_LENGTH", ONE),
};

const std::size_t conf_param_table_size = sizeof conf_param_table / sizeof conf_param_table[0];

static_assert(sizeof conf_param_table / sizeof conf_param_table[0] == 53, "the table has 53 rows");

std::size_t conf_param_count() { return conf_param_table_size; }

const char *conf_param_name(std::size_t index) {
  return index < conf_param_table_size ? conf_param_table[index].name : nullptr;
}

bool conf_param_is_multi(std::size_t index) {
  return index < conf_param_table_size && conf_param_table[index].multi;
}

int conf_param_index(const char *name) {
  for (std::size_t i = 0; i < conf_param_table_size; i++)
    if (std::strcmp(conf_param_table[i].name, name) == 0) return static_cast<int>(i);
  return -1;
}

namespace {

bool is_one_of(const char *value, const char *const *words) {
  for (; *words; words++)
    if (std::strcmp(value, *words) == 0) return true;
  return false;
}

// A whole number above 0, with the base told by its prefix.
bool is_positive_number(const char *value) {
  char *end = nullptr;
  errno = 0;
  long long n = std::strtoll(value, &end, 0);
  return errno == 0 && end != value && *end == '\0' && n > 0;
}

bool is_value_of(const char *parameter, const char *value) {
  return conf_each_value(parameter, [&](const char *v) { return std::strcmp(v, value) == 0; });
}

bool applies(const conf_param &p, const char *type) {
  switch (p.when) {
    case CHECK_ALWAYS: return true;
    case CHECK_IF_COMPILING:
      return std::strcmp(type, "compiler") == 0 || std::strcmp(type, "compiler_linker") == 0;
    case CHECK_IF_COMPILER_LINKER: return std::strcmp(type, "compiler_linker") == 0;
  }
  return true;
}

pre_status refuse(const char *name, const char *value) {
  pre_set_message_args(name, value);
  return STATUS_BAD_PARAMETER_VALUE;
}

// The check of one row; STATUS_OK when it passes, else the status with its arguments set.
pre_status check_param(const conf_param &p) {
  if (p.kind == ACCEPT_ALL || !applies(p, conf_get("TYPE"))) return STATUS_OK;
  conf_iter it = nullptr;
  const char *first = conf_first(p.name, &it);
  if (!first) {
    if (!p.required) return STATUS_OK;
    pre_set_message_args(p.name, "");
    return STATUS_MISSING_DEFINITION;
  }
  if (!*first) return p.empty_refused ? refuse(p.name, first) : STATUS_OK;
  switch (p.kind) {
    case ACCEPT_ALL:
    case ACCEPT_ANY: return STATUS_OK;
    case ACCEPT_NUMBER: return is_positive_number(first) ? STATUS_OK : refuse(p.name, first);
    case ACCEPT_WORD: return is_one_of(first, p.words) ? STATUS_OK : refuse(p.name, first);
    case ACCEPT_TEMPLATE: return std::strstr(first, "%FILE%") ? STATUS_OK : refuse(p.name, first);
    case ACCEPT_COMP_OUT:
      for (const char *v = first; v; v = conf_next(&it))
        if (*v && !is_value_of("PARAMS", v) && !is_value_of("PARAMS_SEPARATE", v)) return refuse(p.name, first);
      return STATUS_OK;
    case ACCEPT_NO_STAR:
      for (const char *v = first; v; v = conf_next(&it))
        if (std::strcmp(v, "*") == 0) return refuse(p.name, v);
      return STATUS_OK;
  }
  return STATUS_OK;
}

}  // namespace

void conf_validate() {
  for (std::size_t i = 0; i < conf_param_table_size; i++) {
    pre_status status = check_param(conf_param_table[i]);
    if (status != STATUS_OK) pre_fatal(status);
  }
}
