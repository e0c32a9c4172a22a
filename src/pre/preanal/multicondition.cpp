// Multicondition instrumentation: tokens, condition tree, path tree, text and records.
#include "preanal/multicondition.h"

#include <cstring>

#include "driver/run_state.h"
#include "emit/pragma.h"
#include "emit/probes.h"
#include "emit/writer.h"
#include "preanal/conditions.h"
#include "preerror/preerror.h"
#include "preparse/keywords.h"
#include "preparse/lookahead.h"
#include "preparse/scanner.h"
#include "preparse/token.h"
#include "symbol/names.h"
#include "symbol/symbol.h"

multicondition_state g_multi;

namespace {

const cond_token &end_token() {
  static const cond_token end{CT_END, "", 0};
  return end;
}

const cond_token &peek_token(std::size_t ahead = 0) {
  std::size_t i = g_multi.cursor + ahead;
  return i < g_multi.tokens.size() ? g_multi.tokens[i] : end_token();
}

const cond_token &read_token() {
  const cond_token &t = peek_token();
  if (g_multi.cursor < g_multi.tokens.size()) g_multi.cursor++;
  return t;
}

cond_node *new_node(std::uint32_t cls) {
  g_multi.cond_nodes.push_back(std::make_unique<cond_node>());
  cond_node *n = g_multi.cond_nodes.back().get();
  n->cls = cls;
  return n;
}

path_node *new_path_node() {
  g_multi.path_nodes.push_back(std::make_unique<path_node>());
  return g_multi.path_nodes.back().get();
}

[[noreturn]] void syntax_error() { pre_syntax_error(""); }

void message(pre_status status) {
  pre_set_message_args(current_file_name, "");
  pre_set_message_line(line_number);
  pre_report(status, REPORT_CONTINUE);
}

// --- reading ------------------------------------------------------------------------------

bool ends_condition(std::uint32_t kind, std::uint32_t next) {
  if (kind == CONDITION_FOR) return next == TOK_SEMI;
  // A closing brace cannot continue an expression (braced groups are read whole): it
  // ends the right side too, as in a requirement `{ a = b }` of a requires-expression.
  if (kind == CONDITION_ASSIGNMENT)
    return next == TOK_SEMI || next == TOK_LAMBDA_ARROW || next == TOK_FAT_ARROW || next == TOK_RPAREN ||
           next == TOK_RBRACKET || next == TOK_RBRACE || next == TOK_INNER_RBRACE;
  return next == TOK_RPAREN;
}

// The next token of the condition; pragma lines go where they belong.
std::uint32_t next_token() {
  for (;;) {
    std::uint32_t kind = pre_get_token();
    if (kind == TOK_EOF || kind == TOK_BAD || kind == TOK_NONE) {
      g_multi.tokens.clear();
      syntax_error();
    }
    if (kind != TOK_QUB_PRAGMA) return kind;
    pre_handle_pragma(current_token);
  }
}

void add_token(std::uint32_t cls, std::uint32_t kind) { g_multi.tokens.push_back({cls, current_token, kind}); }

// The token behind the one just read can begin no operand. current_token is kept.
bool no_operand_follows() {
  std::string text = current_token;
  std::uint32_t next = pre_peek_kind();
  std::strcpy(current_token, text.c_str());
  switch (next) {
    case TOK_GREATER:
    case TOK_SHR:
    case TOK_USHR:
    case TOK_TARGS_CLOSE:
    case TOK_COMMA:
    case TOK_ELLIPSIS:
      return true;
    default:
      return false;
  }
}

// The whole group of a `{` or `[` that was just read, all of it plain tokens.
void read_group(std::uint32_t open) {
  add_token(CT_OTHER, open);
  int depth = 1;
  while (depth > 0) {
    std::uint32_t kind = next_token();
    if (kind == open) depth++;
    if (kind == open + 1) depth--;
    add_token(CT_OTHER, kind);
  }
}

bool is_type_word(std::uint32_t kind) {
  switch (kind) {
    case TOK_TYPE_NAME:
    case KW_CHAR:
    case KW_DOUBLE:
    case KW_FLOAT:
    case KW_INT:
    case KW_LONG:
    case KW_SHORT:
    case KW_SIGNED:
    case KW_UNSIGNED:
    case KW_VOID:
    case KW_BOOL:
    case KW_TYPENAME:
    case KW_WCHAR_T:
    case KW_CHAR16_T:
    case KW_CHAR32_T:
    case KW_SIZED_INT:
      return true;
    default:
      return false;
  }
}

// --- the path tree ----------------------------------------------------------------------------

cond_node *leftmost(cond_node *n) {
  while (n->cls != CN_LEAF) n = n->cls == CN_AND || n->cls == CN_OR ? n->left : n->child;
  return n;
}

path_node *inner_on(cond_node *leaf) {
  path_node *p = new_path_node();
  p->leaf = leaf;
  return p;
}

// What follows the leaf when it has the value.
path_node *successor(cond_node *leaf, bool value) {
  cond_node *node = leaf;
  for (;;) {
    cond_node *parent = node->parent;
    if (!parent) {
      path_node *t = new_path_node();
      t->terminal = true;
      t->outcome = value ? 1 : 0;
      t->path = g_multi.path_count++;
      return t;
    }
    if (node == parent->left) {
      if (parent->cls == CN_AND && value) return inner_on(leftmost(parent->right));
      if (parent->cls == CN_OR && !value) return inner_on(leftmost(parent->right));
    }
    if (parent->cls == CN_NOT) value = !value;
    node = parent;
  }
}

void add_indexes(const std::vector<std::uint32_t> &numbers, bool newest_first) {
  if (newest_first) {
    for (auto it = numbers.rbegin(); it != numbers.rend(); ++it) pre_symbol_add_index(*it);
  } else {
    for (std::uint32_t n : numbers) pre_symbol_add_index(n);
  }
}

std::string joined(const std::vector<cond_token> &tokens) {
  std::string s;
  for (const cond_token &t : tokens) {
    if (!s.empty()) s += ' ';
    s += t.text;
  }
  return s;
}

void emit_expr(cond_node *node, bool probes) {
  switch (node->cls) {
    case CN_AND:
    case CN_OR:
      emit_expr(node->left, probes);
      emit_token(node->text.c_str(), node->cls == CN_AND ? TOK_ANDAND : TOK_OROR);
      emit_expr(node->right, probes);
      break;
    case CN_NOT:
      emit_token(node->text.c_str(), TOK_NOT);
      emit_expr(node->child, probes);
      break;
    case CN_PAREN:
      emit_token(node->text.c_str(), TOK_LPAREN);
      emit_expr(node->child, probes);
      emit_token(node->close_text.c_str(), TOK_RPAREN);
      break;
    default:
      if (probes) pre_emit_m_ind_start();
      for (const cond_token &t : node->tokens) emit_token(t.text.c_str(), t.kind);
      if (probes) pre_emit_m_ind_end(node->m_index);
      break;
  }
}

// The tokens of a subtree in source order, as pre_flatten joins them.
void flat_tokens(const cond_node *node, std::vector<cond_token> &out) {
  switch (node->cls) {
    case CN_AND:
    case CN_OR:
      flat_tokens(node->left, out);
      out.push_back({node->cls == CN_AND ? CT_AND : CT_OR, node->text, node->cls == CN_AND ? TOK_ANDAND : TOK_OROR});
      flat_tokens(node->right, out);
      break;
    case CN_NOT:
      out.push_back({CT_NOT, node->text, TOK_NOT});
      flat_tokens(node->child, out);
      break;
    case CN_PAREN:
      out.push_back({CT_LPAREN, node->text, TOK_LPAREN});
      flat_tokens(node->child, out);
      out.push_back({CT_RPAREN, node->close_text, TOK_RPAREN});
      break;
    default:
      out.insert(out.end(), node->tokens.begin(), node->tokens.end());
      break;
  }
}

void visit_leaves(cond_node *node, void (*fn)(cond_node *)) {
  switch (node->cls) {
    case CN_AND:
    case CN_OR:
      visit_leaves(node->left, fn);
      visit_leaves(node->right, fn);
      break;
    case CN_NOT:
    case CN_PAREN:
      visit_leaves(node->child, fn);
      break;
    default:
      fn(node);
      break;
  }
}

void set_parent(cond_node *child, cond_node *parent) {
  if (child) child->parent = parent;
}

}  // namespace

void pre_multicondition_reset() {
  g_multi.tokens.clear();
  g_multi.cursor = 0;
  g_multi.path_count = 0;
  g_multi.cast_like_name = false;
  g_multi.cond_nodes.clear();
  g_multi.path_nodes.clear();
}

// --- reading --------------------------------------------------------------------------------

void pre_cond_tokens(std::uint32_t kind) {
  g_multi.tokens.clear();
  // Per open parenthesis: index of its `(` in tokens and whether its level holds an
  // operator that makes it no boolean expression. Entry 0 is the condition itself.
  struct level_mark {
    std::size_t open;
    bool marked;
  };
  std::vector<level_mark> levels;
  levels.reserve(128);
  levels.push_back({0, false});
  for (;;) {
    std::uint32_t next = pre_peek_kind();
    if (next == TOK_QUB_PRAGMA) {
      pre_get_token();
      pre_handle_pragma(current_token);
      continue;
    }
    if (levels.size() == 1 && ends_condition(kind, next)) break;
    std::uint32_t k = next_token();
    switch (k) {
      case TOK_LBRACE:
      case TOK_LBRACKET:
        read_group(k);
        break;
      case TOK_LPAREN:
        levels.push_back({g_multi.tokens.size(), false});
        add_token(CT_LPAREN, k);
        break;
      case TOK_RPAREN: {
        add_token(CT_RPAREN, k);
        if (levels.size() > 1) {
          level_mark top = levels.back();
          levels.pop_back();
          if (top.marked)
            for (std::size_t i = top.open + 1; i + 1 < g_multi.tokens.size(); i++) g_multi.tokens[i].cls = CT_OTHER;
        }
        break;
      }
      case TOK_OROR:
        add_token(CT_OR, k);
        break;
      case TOK_NOT:
        add_token(CT_NOT, k);
        break;
      case TOK_ANDAND: {
        bool plain = g_multi.tokens.empty();
        if (!plain) {
          const cond_token &prev = g_multi.tokens.back();
          plain = prev.kind == TOK_TYPE_NAME ||
                  (prev.kind == TOK_OPERATOR && prev.text != "++" && prev.text != "--");
        }
        // Nor is it a logical operator when a closing angle bracket, a comma or `...`
        // follows: the reference declarator of `static_cast<T&&>(x)` or `f<T&&...>` with
        // T a name not known as a type.
        if (!plain) plain = no_operand_follows();
        add_token(plain ? CT_OTHER : CT_AND, k);
        break;
      }
      case TOK_COMMA:
      case TOK_ASSIGN:
      case TOK_QUESTION:
      case TOK_ASSIGN_OP:
        add_token(CT_OTHER, k);
        levels.back().marked = true;
        break;
      case KW_OPERATOR: {
        add_token(CT_OTHER, k);
        std::uint32_t after = pre_peek_kind();
        if (after == TOK_OROR || after == TOK_ANDAND || after == TOK_NOT) add_token(CT_OTHER, next_token());
        break;
      }
      default:
        add_token(CT_OTHER, k);
        break;
    }
  }
  if (levels.front().marked)
    for (cond_token &t : g_multi.tokens) t.cls = CT_OTHER;
}

// --- parsing -------------------------------------------------------------------------------

cond_node *pre_parse_or() {
  cond_node *left = pre_parse_and();
  while (peek_token().cls == CT_OR) {
    cond_node *n = new_node(CN_OR);
    n->text = read_token().text;
    n->left = left;
    n->right = pre_parse_and();
    set_parent(n->left, n);
    set_parent(n->right, n);
    left = n;
  }
  return left;
}

cond_node *pre_parse_and() {
  cond_node *left = pre_parse_cast();
  while (peek_token().cls == CT_AND) {
    cond_node *n = new_node(CN_AND);
    n->text = read_token().text;
    n->left = left;
    n->right = pre_parse_cast();
    set_parent(n->left, n);
    set_parent(n->right, n);
    left = n;
  }
  return left;
}

cond_node *pre_parse_cast() {
  if (peek_token().cls == CT_LPAREN) {
    std::string prefix = pre_try_cast_prefix();
    if (!prefix.empty()) {
      cond_node *operand = pre_parse_cast();
      if (operand->cls == CN_LEAF)
        operand->tokens.insert(operand->tokens.begin(), cond_token{CT_OTHER, prefix, 0});
      else
        operand->text = prefix + operand->text;
      return operand;
    }
  }
  return pre_parse_not();
}

cond_node *pre_parse_not() {
  if (peek_token().cls != CT_NOT) return pre_parse_primary();
  cond_node *n = new_node(CN_NOT);
  n->text = read_token().text;
  n->child = pre_parse_not();
  set_parent(n->child, n);
  if (n->child->cls == CN_LEAF) return pre_flatten(n);
  return n;
}

cond_node *pre_parse_primary() {
  cond_node *paren = nullptr;
  const cond_token &t = read_token();
  if (t.cls == CT_LPAREN && peek_token().cls != CT_RPAREN) {
    paren = new_node(CN_PAREN);
    paren->text = t.text;
    paren->child = pre_parse_or();
    set_parent(paren->child, paren);
    const cond_token &close = read_token();
    if (close.cls != CT_RPAREN) syntax_error();
    paren->close_text = close.text;
  } else if (t.cls == CT_AND || t.cls == CT_OTHER || t.cls == CT_LPAREN) {
    g_multi.cursor--;
  } else {
    syntax_error();
  }
  std::vector<cond_token> list;
  int depth = 0;
  for (;;) {
    const cond_token &c = peek_token();
    if (c.cls == CT_END) break;
    if (depth == 0 && (c.cls == CT_AND || c.cls == CT_OR || c.cls == CT_RPAREN)) break;
    if (c.cls == CT_LPAREN) depth++;
    if (c.cls == CT_RPAREN) depth--;
    list.push_back(read_token());
  }
  if (paren && list.empty()) return paren;
  if (paren) {
    cond_node *leaf = pre_flatten(paren);
    leaf->tokens.insert(leaf->tokens.end(), list.begin(), list.end());
    return leaf;
  }
  cond_node *leaf = new_node(CN_LEAF);
  leaf->tokens = std::move(list);
  return leaf;
}

std::string pre_try_cast_prefix() {
  std::size_t i = g_multi.cursor + 1;  // behind the `(`
  std::string text = "( ";
  int depth = 1;
  std::uint32_t type_words = 0;
  bool first = true;
  auto at = [&](std::size_t k) -> const cond_token & {
    return k < g_multi.tokens.size() ? g_multi.tokens[k] : end_token();
  };
  for (;; i++, first = false) {
    const cond_token &t = at(i);
    if (t.cls == CT_LPAREN) {
      if (first) return "";
      depth++;
    } else if (t.cls == CT_RPAREN) {
      text += t.text;
      text += ' ';
      if (--depth == 0) break;
      continue;
    } else if (t.cls == CT_OTHER) {
      if (is_type_word(t.kind)) {
        type_words++;
      } else if (t.kind == TOK_IDENT) {
        if (pre_name_lookup(t.text.c_str(), current_scope, false)) {
          type_words++;
        } else {
          if (pre_name_lookup_any_function(t.text.c_str(), current_scope, false)) g_multi.cast_like_name = true;
          return "";
        }
      } else if (t.kind == KW_CONST || t.kind == KW_VOLATILE) {
        // nothing
      } else if (t.kind == KW_ENUM || t.kind == KW_STRUCT || t.kind == KW_UNION || t.kind == KW_CLASS) {
        type_words++;
        text += t.text;
        text += ' ';
        i++;
        const cond_token &tag = at(i);
        if (tag.cls == CT_END) return "";
        text += tag.text;
        text += ' ';
        continue;
      } else if (t.kind == TOK_STAR) {
        if (type_words == 0) return "";
      } else {
        return "";
      }
    } else {
      return "";
    }
    text += t.text;
    text += ' ';
  }
  const cond_token &behind = at(i + 1);
  if (type_words == 0 || behind.cls == CT_AND || behind.cls == CT_OR || behind.cls == CT_RPAREN ||
      behind.cls == CT_END)
    return "";
  g_multi.cursor = i + 1;
  return text;
}

cond_node *pre_flatten(cond_node *node) {
  if (node->cls == CN_LEAF) return node;
  cond_node *leaf = new_node(CN_LEAF);
  flat_tokens(node, leaf->tokens);
  leaf->parent = node->parent;
  if (cond_node *p = node->parent) {
    if (p->left == node) p->left = leaf;
    if (p->right == node) p->right = leaf;
    if (p->child == node) p->child = leaf;
  }
  return leaf;
}

// --- paths -----------------------------------------------------------------------------------

void pre_build_paths(path_node *n) {
  while (!n->terminal && g_multi.path_count <= MAX_CONDITION_PATHS) {
    std::uint32_t start = g_multi.path_count;
    n->on_false = successor(n->leaf, false);
    pre_build_paths(n->on_false);
    n->leaf->m_index = g_multi.path_count - start;
    n->on_true = successor(n->leaf, true);
    n = n->on_true;
  }
}

path_node *pre_make_paths(cond_node *tree) {
  g_multi.path_count = 0;
  g_multi.path_nodes.clear();
  path_node *root = inner_on(leftmost(tree));
  pre_build_paths(root);
  return root;
}

void pre_collect_outcomes(path_node *n, std::uint32_t outcome) {
  if (!n || pre_skip_active()) return;
  if (n->terminal) {
    if (n->outcome == outcome) pre_symbol_add_index(n->path);
    return;
  }
  pre_collect_outcomes(n->on_false, outcome);
  pre_collect_outcomes(n->on_true, outcome);
}

std::string pre_path_text(cond_node *node, std::uint32_t path) {
  switch (node->cls) {
    case CN_AND:
    case CN_OR:
      return pre_path_text(node->left, path) + " " + node->text + " " + pre_path_text(node->right, path);
    case CN_NOT:
      return node->text.substr(node->text.size() - 1) + pre_path_text(node->child, path);
    case CN_PAREN:
      return node->text.substr(node->text.size() - 1) + pre_path_text(node->child, path) + node->close_text;
    default:
      if (node->truth == 0) {
        node->true_paths.push_back(path);
        return "T";
      }
      if (node->truth == 1) {
        node->false_paths.push_back(path);
        return "F";
      }
      return "_";
  }
}

void pre_record_paths(cond_node *root, path_node *n, std::uint32_t outcome) {
  if (!n) return;
  if (n->terminal) {
    if (n->outcome != outcome) return;
    std::string text = pre_path_text(root, n->path);
    pre_symbol_record(g_multi.record_base + n->path, outcome ? REC_TRUE_PATH : REC_FALSE_PATH, level, line_number,
                      statement_count, text.c_str());
    return;
  }
  n->leaf->truth = 0;
  pre_record_paths(root, n->on_true, outcome);
  n->leaf->truth = 1;
  pre_record_paths(root, n->on_false, outcome);
  n->leaf->truth = 2;
}

void pre_record_conditions(cond_node *node) {
  visit_leaves(node, [](cond_node *leaf) {
    add_indexes(leaf->true_paths, true);
    pre_symbol_record(g_multi.record_base, REC_TRUE_ON, 0, 0, 0, "");
    add_indexes(leaf->false_paths, true);
    pre_symbol_record(g_multi.record_base, REC_FALSE_ON, 0, 0, 0, "");
    pre_symbol_record(0, REC_ELEMENTARY, level, line_number, statement_count, joined(leaf->tokens).c_str());
  });
}

void pre_emit_m_expr(cond_node *node) { emit_expr(node, true); }

void pre_emit_plain_expr(cond_node *node) { emit_expr(node, false); }

// --- the whole -----------------------------------------------------------------------------------

void pre_multicondition(std::uint32_t kind) {
  pre_multicondition_reset();
  pre_cond_tokens(kind);
  if (g_multi.tokens.empty()) return;
  g_multi.cursor = 0;
  g_multi.cast_like_name = false;
  cond_node *tree = pre_parse_or();
  bool quiet = g_conditions.cond_quiet;
  if (!quiet && tree->cls == CN_LEAF && !g_multi.cast_like_name) {
    for (const cond_token &t : g_multi.tokens) {
      if (t.cls == CT_AND || t.cls == CT_OR) {
        message(STATUS_CANNOT_INSTRUMENT);
        break;
      }
    }
  }
  if (quiet && tree->cls != CN_LEAF) {
    tree = pre_flatten(tree);
    message(STATUS_CONST_DECISION);
  }
  path_node *paths = pre_make_paths(tree);
  if (g_multi.path_count > MAX_CONDITION_PATHS) {
    message(STATUS_TOO_COMPLEX);
    tree = pre_flatten(tree);
    paths = pre_make_paths(tree);
  }
  bool ending = kind != CONDITION_ASSIGNMENT;
  if (g_multi.path_count < 3) {
    if (ending) {
      int n = pre_emit_cond_start();
      capture_begin();
      pre_emit_plain_expr(tree);
      capture_end();
      std::uint32_t end = next_token();
      std::string end_text = current_token;
      pre_emit_cond_end(kind, n, capture_result());
      emit_token(end_text.c_str(), end);
    } else {
      pre_emit_plain_expr(tree);
    }
    pre_multicondition_reset();
    return;
  }
  bool skipped = pre_skip_active();
  std::uint32_t base = pre_condition_count();
  g_multi.record_base = base;
  if (!skipped) {
    g_writer.multi_tmp_needed = true;
    pre_collect_outcomes(paths, 1);
    pre_symbol_record(base, REC_TRUE_PATHS, 0, 0, 0, "");
    pre_collect_outcomes(paths, 0);
    pre_symbol_record(base, REC_FALSE_PATHS, 0, 0, 0, "");
  }
  pre_emit_m_start();
  capture_begin();
  pre_emit_m_expr(tree);
  capture_end();
  std::uint32_t end = 0;
  std::string end_text;
  if (ending) {
    end = next_token();
    end_text = current_token;
  }
  std::string captured = capture_result();
  pre_emit_m_end(kind, base, captured.c_str());
  if (!skipped) {
    pre_record_paths(tree, paths, 1);
    pre_record_paths(tree, paths, 0);
    pre_record_conditions(tree);
  }
  pre_add_condition_counters(g_multi.path_count);
  if (ending) emit_token(end_text.c_str(), end);
  pre_multicondition_reset();
}
