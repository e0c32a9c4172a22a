// The table of names and scopes of one source file: what a name is (class,
// typedef, namespace, function, template, ...), where it is declared, and the
// namespaces made visible by `using namespace`.
#ifndef QUB_SYMBOL_NAMES_H
#define QUB_SYMBOL_NAMES_H

#include <cstdint>

#include "base/base.h"
#include "emit/text_list.h"

// Kinds of name entries.
enum : std::uint32_t {
  st_simple_type = 0,
  st_class = 1,
  st_typedef = 2,
  st_namespace = 3,
  st_function = 4,
  st_enum = 5,
  st_other = 6,
  st_template = 7,
  st_unknown = 8,
};

constexpr std::uint32_t NAME_BUCKETS = 8192;

struct pre_name_entry {
  char *name;                  // as declared, unqualified; owned
  char *using_list;            // scopes: ";a;b;" of the namespaces used in it, or none; owned
  std::uint32_t kind;          // st_...
  pre_name_entry *scope;       // enclosing class or namespace, none at global level
  pre_name_entry *target;      // st_typedef: the entry aliased, followed through aliases
  pre_list *bases;             // st_class: base entries (items not owned), or none
  std::uint8_t is_template;    // st_class, st_namespace: marked as a template
  std::uint8_t defined;        // st_function: 1 for a definition, 0 for a declaration
  std::uint8_t template_member;  // st_function: belongs to a template
  char *file;                  // st_function: file of the head; owned
  std::uint32_t line;          // st_function: line of the head
  pre_text_piece *first_param;  // st_function: first and last piece of the parameter
  pre_text_piece *last_param;   // list in the instrumented text
};

// One node of a bucket's chain; the chain is sorted by name in ascending byte order.
struct pre_name_node {
  pre_name_entry *entry;
  pre_name_node *next;
};

// The table: fixed buckets, and the "global scope" entry once it is made.
struct pre_name_table {
  pre_name_node *buckets[NAME_BUCKETS];
  pre_name_entry *global_scope;
};

extern pre_name_table g_names;

// Bucket of a name: h = (h * 2) XOR each character as a signed char; h AND 0x1FFF.
std::uint32_t pre_name_bucket(const char *name);

// Frees every entry, base list, text and node; the table is empty afterwards.
void pre_name_clear();

// Enters a name of any kind but st_function under scope; an entry of the same name
// and scope changes its kind. Returns nothing for `typedef struct X X;`, that is a
// typedef whose target has the same name and lies in the same scope.
pre_name_entry *pre_name_add(const char *name, std::uint32_t kind, pre_name_entry *target,
                             pre_name_entry *scope);
// Enters one declaration or definition of a function; overloads and repeated
// declarations each get an entry, kept in the order they were added.
pre_name_entry *pre_name_add_function(const char *name, const char *file, std::uint32_t line,
                                      pre_text_piece *first_param, pre_text_piece *last_param,
                                      pre_name_entry *scope, bool defined, bool template_member);
// Appends base_entry to the base list of a class entry.
void pre_name_add_base(pre_name_entry *base_entry, pre_name_entry *class_entry);
// Records `using namespace namespace_name` in a scope (";name;" once in its using_list).
void pre_name_add_using(const char *namespace_name, pre_name_entry *scope);

void pre_name_mark_template(pre_name_entry *entry, bool value);
// A class marked as template; with follow_alias, typedefs are followed first.
bool pre_name_is_template(const pre_name_entry *entry, bool follow_alias);
bool pre_name_is_template_member(const pre_name_entry *entry);
bool pre_name_is_template_kind(const pre_name_entry *entry);

// Field readers; absent entries give none, and out pointers may be null.
pre_name_entry *pre_name_scope(const pre_name_entry *entry);
void pre_name_function_fields(const pre_name_entry *entry, const char **file, std::uint32_t *line,
                              pre_text_piece **first_param, pre_text_piece **last_param,
                              bool *defined);
// Follows a scope through typedef aliases.
pre_name_entry *pre_name_follow_alias(pre_name_entry *entry);

// Any entry but a function: in scope, then (unless local_only) in the enclosing
// scopes outward; for a class scope finally its base entries by name.
pre_name_entry *pre_name_lookup(const char *name, pre_name_entry *scope, bool local_only);
// The declaration of a function being defined: the one declaration in a scope (or
// in C), else the first declaration whose parameter list matches.
pre_name_entry *pre_name_lookup_function(const char *name, pre_text_piece *first_param,
                                         pre_text_piece *last_param, pre_name_entry *scope);
// The first function entry of this name in scope and, unless local_only, outward.
pre_name_entry *pre_name_lookup_any_function(const char *name, pre_name_entry *scope,
                                             bool local_only);
// An entry of this name whose scope is named in the global using_list.
pre_name_entry *pre_name_lookup_using_global(const char *name);
// An entry of this name whose scope is named in the using_list of scope.
pre_name_entry *pre_name_lookup_using_scope(const char *name, pre_name_entry *scope);

// The entry "global scope" (st_namespace, no scope); made if absent.
pre_name_entry *pre_name_global_scope();

// "outer::inner::name" into buffer (MAX_TOKEN + 1 bytes); a scope whose name would
// take the text past MAX_TOKEN characters ends it early.
void pre_name_qualified(const pre_name_entry *entry, char *buffer);

// Two parameter lists agree, allowing for parameter names present in one only,
// different parameter names and default values.
bool pre_params_equal(const pre_text_piece *first_a, const pre_text_piece *last_a,
                      const pre_text_piece *first_b, const pre_text_piece *last_b);

#endif
