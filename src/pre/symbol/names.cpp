#include "symbol/names.h"

#include <cstdlib>
#include <cstring>

#include "preparse/keywords.h"
#include "preparse/token.h"

pre_name_table g_names;

namespace {

// Longest typedef chain followed; a longer one can only be a loop of aliases.
constexpr int ALIAS_LIMIT = 256;

pre_name_node *&bucket_of(const char *name) { return g_names.buckets[pre_name_bucket(name)]; }

pre_name_entry *new_entry(const char *name, std::uint32_t kind, pre_name_entry *scope) {
  pre_name_entry *entry = static_cast<pre_name_entry *>(pre_xmalloc(sizeof(pre_name_entry)));
  std::memset(entry, 0, sizeof *entry);
  entry->name = pre_xstrdup(name);
  entry->kind = kind;
  entry->scope = scope;
  return entry;
}

void free_entry(pre_name_entry *entry) {
  std::free(entry->name);
  std::free(entry->using_list);
  std::free(entry->file);
  pre_list_free(entry->bases);
  std::free(entry);
}

// Links a new node in front of `before` (none: at the end), behind `prev` (none: first).
void link_node(pre_name_node *&head, pre_name_node *prev, pre_name_node *before,
               pre_name_entry *entry) {
  pre_name_node *node = static_cast<pre_name_node *>(pre_xmalloc(sizeof(pre_name_node)));
  node->entry = entry;
  node->next = before;
  if (prev)
    prev->next = node;
  else
    head = node;
}

// The first entry of this name and scope that is a function (want_function) or is
// none; the chain is sorted, so the walk stops behind the name.
pre_name_entry *find_entry(const char *name, const pre_name_entry *scope, bool want_function) {
  for (pre_name_node *node = bucket_of(name); node; node = node->next) {
    int order = std::strcmp(node->entry->name, name);
    if (order < 0) continue;
    if (order > 0) break;
    pre_name_entry *entry = node->entry;
    if (entry->scope == scope && (entry->kind == st_function) == want_function) return entry;
  }
  return nullptr;
}

pre_name_entry *find_upward(const char *name, pre_name_entry *scope, bool local_only,
                            bool want_function) {
  pre_name_entry *found = find_entry(name, scope, want_function);
  if (!found && !local_only && scope)
    found = find_upward(name, pre_name_follow_alias(scope->scope), false, want_function);
  return found;
}

bool in_using_list(const char *list, const char *name) {
  if (!list || !*list) return false;
  std::size_t length = std::strlen(name);
  for (const char *at = std::strstr(list, name); at; at = std::strstr(at + 1, name))
    if (at > list && at[-1] == ';' && at[length] == ';') return true;
  return false;
}

// An entry of this name with a scope whose name stands in using_list.
pre_name_entry *find_used(const char *name, const char *using_list) {
  if (!using_list || !*using_list) return nullptr;
  for (pre_name_node *node = bucket_of(name); node; node = node->next) {
    int order = std::strcmp(node->entry->name, name);
    if (order < 0) continue;
    if (order > 0) break;
    pre_name_entry *entry = node->entry;
    if (entry->scope && in_using_list(using_list, entry->scope->name)) return entry;
  }
  return nullptr;
}

// --- parameter lists ------------------------------------------------------------

bool passed_over(const pre_text_piece *piece) {
  return piece->kind == 0 || piece->kind == TOK_QUB_PRAGMA || piece->kind == TOK_LINE_DIRECTIVE ||
         piece->kind == TOK_DIRECTIVE;
}

// The next piece of a list; none behind its last piece.
const pre_text_piece *step(const pre_text_piece *piece, const pre_text_piece *last) {
  return !piece || piece == last ? nullptr : piece->next;
}

// The piece itself or the next one that takes part in the comparison.
const pre_text_piece *settle(const pre_text_piece *piece, const pre_text_piece *last) {
  while (piece && passed_over(piece)) piece = step(piece, last);
  return piece;
}

const pre_text_piece *next_token(const pre_text_piece *piece, const pre_text_piece *last) {
  return settle(step(piece, last), last);
}

bool is_name(const pre_text_piece *p) {
  return p && (p->kind == TOK_TYPE_NAME || p->kind == TOK_IDENT);
}
bool is_separator(const pre_text_piece *p) {
  return p && (p->kind == TOK_COMMA || p->kind == TOK_RPAREN);
}
bool is_assign(const pre_text_piece *p) { return p && p->kind == TOK_ASSIGN; }

// A parameter name ends at a comma, the closing parenthesis, a default value or the
// end of the list.
bool ends_parameter(const pre_text_piece *p) { return !p || is_separator(p) || is_assign(p); }

bool is_open(std::uint32_t kind) {
  return kind == TOK_LPAREN || kind == TOK_LBRACKET || kind == TOK_LBRACE ||
         kind == TOK_INNER_LBRACE || kind == TOK_TARGS_OPEN;
}
bool is_close(std::uint32_t kind) {
  return kind == TOK_RPAREN || kind == TOK_RBRACKET || kind == TOK_RBRACE ||
         kind == TOK_INNER_RBRACE || kind == TOK_TARGS_CLOSE;
}

// From a `=`: the comma or closing parenthesis that ends the default value, or none
// at the end of the list. Brackets within the value are passed whole.
const pre_text_piece *skip_default(const pre_text_piece *assign, const pre_text_piece *last) {
  int depth = 0;
  const pre_text_piece *p = next_token(assign, last);
  for (; p; p = next_token(p, last)) {
    if (depth == 0 && is_separator(p)) break;
    if (is_open(p->kind))
      ++depth;
    else if (is_close(p->kind) && depth > 0)
      --depth;
  }
  return p;
}

// Token texts agree; the blank a copied token carries is not part of it.
bool same_text(const pre_text_piece *a, const pre_text_piece *b) {
  const char *ta = a->text ? a->text : "";
  const char *tb = b->text ? b->text : "";
  std::size_t la = std::strlen(ta), lb = std::strlen(tb);
  while (la && (ta[la - 1] == ' ' || ta[la - 1] == '\t' || ta[la - 1] == '\n')) --la;
  while (lb && (tb[lb - 1] == ' ' || tb[lb - 1] == '\t' || tb[lb - 1] == '\n')) --lb;
  return la == lb && std::memcmp(ta, tb, la) == 0;
}

}  // namespace

std::uint32_t pre_name_bucket(const char *name) {
  std::uint32_t h = 0;
  for (const char *c = name; *c; ++c)
    h = (h * 2) ^ static_cast<std::uint32_t>(static_cast<std::int32_t>(static_cast<signed char>(*c)));
  return h & 0x1FFF;
}

void pre_name_clear() {
  for (std::uint32_t i = 0; i < NAME_BUCKETS; ++i) {
    for (pre_name_node *node = g_names.buckets[i]; node;) {
      pre_name_node *next = node->next;
      free_entry(node->entry);
      std::free(node);
      node = next;
    }
    g_names.buckets[i] = nullptr;
  }
  g_names.global_scope = nullptr;
}

pre_name_entry *pre_name_follow_alias(pre_name_entry *entry) {
  for (int i = 0; entry && entry->kind == st_typedef && i < ALIAS_LIMIT; ++i) entry = entry->target;
  return entry;
}

pre_name_entry *pre_name_add(const char *name, std::uint32_t kind, pre_name_entry *target,
                             pre_name_entry *scope) {
  if (!name || kind == st_function) return nullptr;
  scope = pre_name_follow_alias(scope);
  if (kind == st_typedef && target && std::strcmp(target->name, name) == 0 &&
      target->scope == scope)
    return nullptr;
  // Settled before the entry changes, so that an alias never leads back to itself.
  pre_name_entry *aliased = kind == st_typedef ? pre_name_follow_alias(target) : nullptr;

  pre_name_entry *entry = find_entry(name, scope, false);
  if (entry) {
    if (entry->kind == st_class) {
      pre_list_free(entry->bases);
      entry->bases = nullptr;
    }
    entry->kind = kind;
  } else {
    entry = new_entry(name, kind, scope);
    pre_name_node *&head = bucket_of(name);
    pre_name_node *prev = nullptr, *node = head;
    while (node && std::strcmp(node->entry->name, name) < 0) {
      prev = node;
      node = node->next;
    }
    link_node(head, prev, node, entry);
  }

  switch (kind) {
    case st_class:
    case st_namespace:
      entry->is_template = 0;
      entry->target = nullptr;
      break;
    case st_typedef:
      entry->target = aliased == entry ? nullptr : aliased;
      break;
    default:
      entry->target = nullptr;
      break;
  }
  return entry;
}

pre_name_entry *pre_name_add_function(const char *name, const char *file, std::uint32_t line,
                                      pre_text_piece *first_param, pre_text_piece *last_param,
                                      pre_name_entry *scope, bool defined, bool template_member) {
  if (!name) return nullptr;
  pre_name_entry *entry = new_entry(name, st_function, pre_name_follow_alias(scope));
  entry->file = pre_xstrdup(file ? file : "");
  entry->line = line;
  entry->first_param = first_param;
  entry->last_param = last_param;
  entry->defined = defined ? 1 : 0;
  entry->template_member = template_member ? 1 : 0;
  pre_name_node *&head = bucket_of(name);
  pre_name_node *prev = nullptr, *node = head;
  while (node && std::strcmp(node->entry->name, name) <= 0) {
    prev = node;
    node = node->next;
  }
  link_node(head, prev, node, entry);
  return entry;
}

void pre_name_add_base(pre_name_entry *base_entry, pre_name_entry *class_entry) {
  if (!base_entry || !class_entry || class_entry->kind != st_class) return;
  if (!class_entry->bases) class_entry->bases = pre_list_new(nullptr);
  pre_list_add(class_entry->bases, base_entry);
}

void pre_name_add_using(const char *namespace_name, pre_name_entry *scope) {
  scope = pre_name_follow_alias(scope);
  if (!namespace_name || !scope) return;
  if (in_using_list(scope->using_list, namespace_name)) return;
  if (!scope->using_list || !*scope->using_list) {
    std::free(scope->using_list);
    scope->using_list = pre_xstrdup(";");
  }
  pre_str_append(&scope->using_list, namespace_name);
  pre_str_append(&scope->using_list, ";");
}

void pre_name_mark_template(pre_name_entry *entry, bool value) {
  if (entry) entry->is_template = value ? 1 : 0;
}

bool pre_name_is_template(const pre_name_entry *entry, bool follow_alias) {
  if (follow_alias) entry = pre_name_follow_alias(const_cast<pre_name_entry *>(entry));
  return entry && entry->kind == st_class && entry->is_template;
}

bool pre_name_is_template_member(const pre_name_entry *entry) {
  return entry && entry->kind == st_function && entry->template_member;
}

bool pre_name_is_template_kind(const pre_name_entry *entry) {
  return entry && entry->kind == st_template;
}

pre_name_entry *pre_name_scope(const pre_name_entry *entry) { return entry ? entry->scope : nullptr; }

void pre_name_function_fields(const pre_name_entry *entry, const char **file, std::uint32_t *line,
                              pre_text_piece **first_param, pre_text_piece **last_param,
                              bool *defined) {
  bool is_function = entry && entry->kind == st_function;
  if (file) *file = is_function ? entry->file : nullptr;
  if (line) *line = is_function ? entry->line : 0;
  if (first_param) *first_param = is_function ? entry->first_param : nullptr;
  if (last_param) *last_param = is_function ? entry->last_param : nullptr;
  if (defined) *defined = is_function && entry->defined;
}

pre_name_entry *pre_name_lookup(const char *name, pre_name_entry *scope, bool local_only) {
  if (!name) return nullptr;
  scope = pre_name_follow_alias(scope);
  pre_name_entry *found = find_entry(name, scope, false);
  if (!found && !local_only && scope) found = pre_name_lookup(name, scope->scope, false);
  if (!found && scope && scope->kind == st_class && scope->bases) {
    for (pre_list_node *node = scope->bases->head; node; node = node->next) {
      pre_name_entry *base = static_cast<pre_name_entry *>(node->item);
      if (std::strcmp(base->name, name) == 0) return base;
    }
  }
  return found;
}

pre_name_entry *pre_name_lookup_any_function(const char *name, pre_name_entry *scope,
                                             bool local_only) {
  if (!name) return nullptr;
  return find_upward(name, pre_name_follow_alias(scope), local_only, true);
}

pre_name_entry *pre_name_lookup_function(const char *name, pre_text_piece *first_param,
                                         pre_text_piece *last_param, pre_name_entry *scope) {
  if (!name) return nullptr;
  scope = pre_name_follow_alias(scope);
  auto is_declaration = [&](const pre_name_entry *e) {
    return e->kind == st_function && e->scope == scope && !e->defined &&
           std::strcmp(e->name, name) == 0;
  };
  if (scope || lang_is_c()) {
    pre_name_entry *only = nullptr;
    int count = 0;
    for (pre_name_node *node = bucket_of(name); node && count < 2; node = node->next) {
      if (is_declaration(node->entry)) {
        only = node->entry;
        ++count;
      }
    }
    if (count == 0) return nullptr;
    if (count == 1) return only;
  }
  for (pre_name_node *node = bucket_of(name); node; node = node->next) {
    pre_name_entry *entry = node->entry;
    if (is_declaration(entry) &&
        pre_params_equal(first_param, last_param, entry->first_param, entry->last_param))
      return entry;
  }
  return nullptr;
}

pre_name_entry *pre_name_lookup_using_global(const char *name) {
  if (!name || !g_names.global_scope) return nullptr;
  return find_used(name, g_names.global_scope->using_list);
}

pre_name_entry *pre_name_lookup_using_scope(const char *name, pre_name_entry *scope) {
  scope = pre_name_follow_alias(scope);
  if (!name || !scope) return nullptr;
  return find_used(name, scope->using_list);
}

pre_name_entry *pre_name_global_scope() {
  if (!g_names.global_scope)
    g_names.global_scope = pre_name_add("global scope", st_namespace, nullptr, nullptr);
  return g_names.global_scope;
}

void pre_name_qualified(const pre_name_entry *entry, char *buffer) {
  buffer[0] = '\0';
  if (!entry) return;
  std::size_t length = std::strlen(entry->name);
  if (length > MAX_TOKEN) length = MAX_TOKEN;
  std::memcpy(buffer, entry->name, length);
  buffer[length] = '\0';
  for (const pre_name_entry *scope = entry->scope; scope; scope = scope->scope) {
    std::size_t prefix = std::strlen(scope->name) + 2;
    if (length + prefix > MAX_TOKEN) break;
    std::memmove(buffer + prefix, buffer, length + 1);
    std::memcpy(buffer, scope->name, prefix - 2);
    buffer[prefix - 2] = ':';
    buffer[prefix - 1] = ':';
    length += prefix;
  }
}

bool pre_params_equal(const pre_text_piece *first_a, const pre_text_piece *last_a,
                      const pre_text_piece *first_b, const pre_text_piece *last_b) {
  const pre_text_piece *a = settle(first_a, last_a);
  const pre_text_piece *b = settle(first_b, last_b);
  while (a && b) {
    if (same_text(a, b)) {
      a = next_token(a, last_a);
      b = next_token(b, last_b);
    } else if (is_name(a) && is_separator(b)) {
      a = next_token(a, last_a);  // a parameter name in one declaration only
    } else if (is_name(b) && is_separator(a)) {
      b = next_token(b, last_b);
    } else if (is_assign(a) && (is_separator(b) || is_name(b))) {
      a = skip_default(a, last_a);  // a default value in one declaration only
    } else if (is_assign(b) && (is_separator(a) || is_name(a))) {
      b = skip_default(b, last_b);
    } else if (is_name(a) && is_name(b) && ends_parameter(next_token(a, last_a)) &&
               ends_parameter(next_token(b, last_b))) {
      a = next_token(a, last_a);  // two names for the same parameter
      b = next_token(b, last_b);
    } else {
      return false;
    }
  }
  return true;
}
