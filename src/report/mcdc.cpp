// Independence pairs of elementary conditions, by the unique-cause rule with
// short-circuit and by the masking rule; docs/mcdc.md gives the rules in words.
#include "mcdc.h"

#include <cstddef>

namespace {

// --- the shape of a path text --------------------------------------------------------------

enum token_kind { T_LEAF, T_AND, T_OR, T_NOT, T_LPAREN, T_RPAREN, T_END };

struct shape_parser {
  std::vector<token_kind> tokens;
  std::size_t at = 0;
  int leaves = 0;
  mcdc_tree *tree = nullptr;
  bool ok = true;

  token_kind peek() const { return at < tokens.size() ? tokens[at] : T_END; }

  int make(mcdc_node_kind kind, int left, int right) {
    mcdc_node n{kind, -1, left, right, -1};
    tree->nodes.push_back(n);
    int index = static_cast<int>(tree->nodes.size()) - 1;
    if (left >= 0) tree->nodes[left].parent = index;
    if (right >= 0) tree->nodes[right].parent = index;
    return index;
  }

  int parse_unary(int depth) {
    if (depth > 2000) {  // far beyond anything the tool writes
      ok = false;
      return -1;
    }
    token_kind t = peek();
    if (t == T_NOT) {
      at++;
      int child = parse_unary(depth + 1);
      return ok ? make(MCDC_NOT, child, -1) : -1;
    }
    if (t == T_LPAREN) {
      at++;
      int inner = parse_or(depth + 1);
      if (!ok || peek() != T_RPAREN) {
        ok = false;
        return -1;
      }
      at++;
      return inner;
    }
    if (t == T_LEAF) {
      at++;
      int index = make(MCDC_LEAF, -1, -1);
      tree->nodes[index].leaf = leaves++;
      tree->leaf_node.push_back(index);
      return index;
    }
    ok = false;
    return -1;
  }

  int parse_and(int depth) {
    int left = parse_unary(depth);
    while (ok && peek() == T_AND) {
      at++;
      int right = parse_unary(depth);
      if (!ok) return -1;
      left = make(MCDC_AND, left, right);
    }
    return left;
  }

  int parse_or(int depth) {
    int left = parse_and(depth);
    while (ok && peek() == T_OR) {
      at++;
      int right = parse_and(depth);
      if (!ok) return -1;
      left = make(MCDC_OR, left, right);
    }
    return left;
  }
};

// Splits a path text into tokens. Operators stand between blanks; an operand is a run of
// prefix characters ('(' or the last character of a negation such as "!" or "not"), one
// of T, F and _, and closing brackets.
bool tokenize(std::string_view text, std::vector<token_kind> *out) {
  std::size_t i = 0;
  while (i < text.size()) {
    if (text[i] == ' ') {
      i++;
      continue;
    }
    std::size_t end = text.find(' ', i);
    if (end == std::string_view::npos) end = text.size();
    std::string_view word = text.substr(i, end - i);
    i = end;
    if (word == "&&" || word == "and") {
      out->push_back(T_AND);
      continue;
    }
    if (word == "||" || word == "or") {
      out->push_back(T_OR);
      continue;
    }
    std::size_t k = 0;
    while (k < word.size() && word[k] != 'T' && word[k] != 'F' && word[k] != '_') {
      out->push_back(word[k] == '(' ? T_LPAREN : T_NOT);
      k++;
    }
    if (k == word.size()) return false;
    out->push_back(T_LEAF);
    for (k++; k < word.size(); k++) {
      if (word[k] != ')') return false;
      out->push_back(T_RPAREN);
    }
  }
  return true;
}

// --- values of subtrees ----------------------------------------------------------------------

// Three-valued: 'T', 'F', or '_' when the subtree was not evaluated on the path.
char node_value(const mcdc_tree &tree, const mcdc_path &p, int node, std::vector<char> *memo) {
  char &slot = (*memo)[static_cast<std::size_t>(node)];
  if (slot) return slot;
  const mcdc_node &n = tree.nodes[static_cast<std::size_t>(node)];
  char v = '_';
  switch (n.kind) {
    case MCDC_LEAF:
      v = static_cast<std::size_t>(n.leaf) < p.values.size() ? p.values[static_cast<std::size_t>(n.leaf)] : '_';
      break;
    case MCDC_NOT: {
      char c = node_value(tree, p, n.left, memo);
      v = c == 'T' ? 'F' : c == 'F' ? 'T' : '_';
      break;
    }
    case MCDC_AND: {
      char l = node_value(tree, p, n.left, memo), r = node_value(tree, p, n.right, memo);
      v = (l == 'F' || r == 'F') ? 'F' : (l == 'T' && r == 'T') ? 'T' : '_';
      break;
    }
    case MCDC_OR: {
      char l = node_value(tree, p, n.left, memo), r = node_value(tree, p, n.right, memo);
      v = (l == 'T' || r == 'T') ? 'T' : (l == 'F' && r == 'F') ? 'F' : '_';
      break;
    }
  }
  slot = v;
  return v;
}

bool masked_with(const mcdc_tree &tree, const mcdc_path &p, int c, std::vector<char> *memo) {
  if (static_cast<std::size_t>(c) >= p.values.size() || p.values[static_cast<std::size_t>(c)] == '_') return true;
  int node = tree.leaf_node[static_cast<std::size_t>(c)];
  for (int parent = tree.nodes[static_cast<std::size_t>(node)].parent; parent >= 0;
       node = parent, parent = tree.nodes[static_cast<std::size_t>(parent)].parent) {
    const mcdc_node &n = tree.nodes[static_cast<std::size_t>(parent)];
    if (n.kind == MCDC_NOT) continue;
    int sibling = n.left == node ? n.right : n.left;
    char v = node_value(tree, p, sibling, memo);
    if ((n.kind == MCDC_AND && v == 'F') || (n.kind == MCDC_OR && v == 'T')) return true;
  }
  return false;
}

bool unique_cause_pair(const mcdc_path &p, const mcdc_path &q, int c) {
  std::size_t ci = static_cast<std::size_t>(c);
  if (ci >= p.values.size() || ci >= q.values.size()) return false;
  char a = p.values[ci], b = q.values[ci];
  if (a == '_' || b == '_' || a == b || p.outcome == q.outcome) return false;
  std::size_t n = p.values.size() < q.values.size() ? p.values.size() : q.values.size();
  for (std::size_t j = 0; j < n; j++) {
    if (j == ci) continue;
    char x = p.values[j], y = q.values[j];
    if (x != y && x != '_' && y != '_') return false;
  }
  return true;
}

}  // namespace

bool mcdc_parse_shape(std::string_view path_text, int conditions, mcdc_tree *tree) {
  *tree = mcdc_tree();
  shape_parser parser;
  if (!tokenize(path_text, &parser.tokens)) return false;
  parser.tree = tree;
  tree->root = parser.parse_or(0);
  if (!parser.ok || parser.at != parser.tokens.size() || parser.leaves != conditions) {
    *tree = mcdc_tree();
    return false;
  }
  return true;
}

bool mcdc_masked(const mcdc_tree &tree, const mcdc_path &p, int c) {
  std::vector<char> memo(tree.nodes.size(), 0);
  return masked_with(tree, p, c, &memo);
}

bool mcdc_is_pair(const mcdc_tree *tree, const mcdc_path &p, const mcdc_path &q, int c, mcdc_rule rule) {
  if (rule == MCDC_UNIQUE_CAUSE || !tree) return unique_cause_pair(p, q, c);
  std::size_t ci = static_cast<std::size_t>(c);
  if (ci >= p.values.size() || ci >= q.values.size()) return false;
  char a = p.values[ci], b = q.values[ci];
  if (a == '_' || b == '_' || a == b || p.outcome == q.outcome) return false;
  return !mcdc_masked(*tree, p, c) && !mcdc_masked(*tree, q, c);
}

std::vector<mcdc_verdict> mcdc_evaluate(const std::vector<mcdc_path> &paths, int conditions, const mcdc_tree *tree,
                                        mcdc_rule rule) {
  std::vector<mcdc_verdict> verdicts(static_cast<std::size_t>(conditions > 0 ? conditions : 0));
  bool masking = rule == MCDC_MASKING && tree;
  // Under the masking rule a path shows a condition when the condition is not masked
  // there; computed once per path.
  std::vector<std::vector<char>> unmasked;
  if (masking) {
    unmasked.resize(paths.size());
    for (std::size_t p = 0; p < paths.size(); p++) {
      std::vector<char> memo(tree->nodes.size(), 0);
      unmasked[p].resize(verdicts.size());
      for (std::size_t c = 0; c < verdicts.size(); c++)
        unmasked[p][c] = !masked_with(*tree, paths[p], static_cast<int>(c), &memo);
    }
  }
  auto pair = [&](std::size_t p, std::size_t q, std::size_t c) {
    if (paths[p].outcome == paths[q].outcome) return false;
    if (masking) return unmasked[p][c] && unmasked[q][c];
    return unique_cause_pair(paths[p], paths[q], static_cast<int>(c));
  };
  std::vector<std::size_t> on_true, on_false;
  for (std::size_t c = 0; c < verdicts.size(); c++) {
    on_true.clear();
    on_false.clear();
    for (std::size_t p = 0; p < paths.size(); p++) {
      if (c >= paths[p].values.size()) continue;
      if (paths[p].values[c] == 'T') on_true.push_back(p);
      if (paths[p].values[c] == 'F') on_false.push_back(p);
    }
    mcdc_verdict &v = verdicts[c];
    // Best candidate when not shown: 2 = both paths missing, 1 = one ran.
    int best_missing = 3;
    for (std::size_t t : on_true) {
      for (std::size_t f : on_false) {
        if (!pair(t, f, c)) continue;
        int missing = (paths[t].ran ? 0 : 1) + (paths[f].ran ? 0 : 1);
        if (missing == 0) {
          v.shown = true;
          v.first = static_cast<int>(t);
          v.second = static_cast<int>(f);
          break;
        }
        if (missing < best_missing) {
          best_missing = missing;
          // The path that ran stands first.
          bool t_first = paths[t].ran || !paths[f].ran;
          v.need_first = static_cast<int>(t_first ? t : f);
          v.need_second = static_cast<int>(t_first ? f : t);
        }
      }
      if (v.shown) break;
    }
    if (v.shown) v.need_first = v.need_second = -1;
  }
  return verdicts;
}
