// MC/DC verdicts on textbook conditions of two to six elementary conditions, each set
// of executed paths checked against a verdict worked out by hand.
#include <gtest/gtest.h>

#include <map>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include "mcdc.h"

namespace {

// --- the evaluation paths of a condition, in the numbering of the instrumenting step ----
// A small parser for conditions over one-letter names, and the false-first walk: the
// false side of each evaluated condition gets the lower path numbers.

struct node {
  char op = 0;  // '&', '|', '!', '(' or 0 for a leaf
  int leaf = -1;
  std::unique_ptr<node> left, right;
  node *parent = nullptr;
};

struct parser {
  std::string s;
  std::size_t at = 0;
  int leaves = 0;
  void blanks() {
    while (at < s.size() && s[at] == ' ') at++;
  }
  bool eat(const char *t) {
    blanks();
    std::string tok = t;
    if (s.compare(at, tok.size(), tok) != 0) return false;
    at += tok.size();
    return true;
  }
  std::unique_ptr<node> make(char op, std::unique_ptr<node> l, std::unique_ptr<node> r) {
    auto n = std::make_unique<node>();
    n->op = op;
    n->left = std::move(l);
    n->right = std::move(r);
    if (n->left) n->left->parent = n.get();
    if (n->right) n->right->parent = n.get();
    return n;
  }
  std::unique_ptr<node> primary() {
    if (eat("!")) return make('!', primary(), nullptr);
    if (eat("(")) {
      auto inner = orr();
      eat(")");
      return make('(', std::move(inner), nullptr);
    }
    blanks();
    at++;  // a one-letter name
    auto n = std::make_unique<node>();
    n->leaf = leaves++;
    return n;
  }
  std::unique_ptr<node> andd() {
    auto l = primary();
    while (eat("&&")) l = make('&', std::move(l), primary());
    return l;
  }
  std::unique_ptr<node> orr() {
    auto l = andd();
    while (eat("||")) l = make('|', std::move(l), andd());
    return l;
  }
};

node *leftmost(node *n) {
  while (n->leaf < 0) n = n->left.get();
  return n;
}

struct path_set {
  std::unique_ptr<node> root;
  int conditions = 0;
  std::vector<mcdc_path> paths;
  std::vector<std::string> texts;
  std::map<std::string, int> by_values;
};

std::string text_of(const node *n, const std::string &values) {
  switch (n->op) {
    case '&': return text_of(n->left.get(), values) + " && " + text_of(n->right.get(), values);
    case '|': return text_of(n->left.get(), values) + " || " + text_of(n->right.get(), values);
    case '!': return "!" + text_of(n->left.get(), values);
    case '(': return "(" + text_of(n->left.get(), values) + ")";
    default: return std::string(1, values[static_cast<std::size_t>(n->leaf)]);
  }
}

// From a leaf with a value to the next leaf, or to the end with the outcome.
node *successor(node *n, bool *value) {
  for (node *p = n->parent; p; n = p, p = p->parent) {
    if (p->op == '&' && *value && n == p->left.get()) return leftmost(p->right.get());
    if (p->op == '|' && !*value && n == p->left.get()) return leftmost(p->right.get());
    if (p->op == '!') *value = !*value;
  }
  return nullptr;
}

void walk(path_set *set, node *leaf, std::string values) {
  for (bool v : {false, true}) {
    std::string mine = values;
    mine[static_cast<std::size_t>(leaf->leaf)] = v ? 'T' : 'F';
    bool value = v;
    node *next = successor(leaf, &value);
    if (next) {
      walk(set, next, mine);
    } else {
      mcdc_path p;
      p.values = mine;
      p.outcome = value;
      set->by_values[mine] = static_cast<int>(set->paths.size());
      set->paths.push_back(p);
      set->texts.push_back(text_of(set->root.get(), mine));
    }
  }
}

path_set paths_of(const std::string &condition) {
  parser ps;
  ps.s = condition;
  path_set set;
  set.root = ps.orr();
  set.conditions = ps.leaves;
  walk(&set, leftmost(set.root.get()), std::string(static_cast<std::size_t>(ps.leaves), '_'));
  return set;
}

// Marks the paths that ran, named by their values.
void run(path_set *set, const std::vector<std::string> &ran) {
  for (mcdc_path &p : set->paths) p.ran = false;
  for (const std::string &values : ran) {
    auto found = set->by_values.find(values);
    ASSERT_NE(found, set->by_values.end()) << values << " is no path";
    set->paths[static_cast<std::size_t>(found->second)].ran = true;
  }
}

std::vector<mcdc_verdict> verdicts(const path_set &set, mcdc_rule rule) {
  mcdc_tree tree;
  EXPECT_TRUE(mcdc_parse_shape(set.texts[0], set.conditions, &tree)) << set.texts[0];
  return mcdc_evaluate(set.paths, set.conditions, &tree, rule);
}

std::string values_of(const path_set &set, int path) {
  return path < 0 ? "-" : set.paths[static_cast<std::size_t>(path)].values;
}

// The verdict as text: "shown T_T/F__" with the pair's values, or "needs X beside Y".
std::string describe(const path_set &set, const mcdc_verdict &v) {
  if (v.shown) return "shown " + values_of(set, v.first) + "/" + values_of(set, v.second);
  if (v.need_first < 0) return "impossible";
  return "needs " + values_of(set, v.need_second) + " beside " + values_of(set, v.need_first);
}

// --- the numbering -------------------------------------------------------------------

TEST(McdcPaths, NumberingFollowsTheFalseFirstWalk) {
  path_set set = paths_of("(a || b) && c");
  std::vector<std::string> expected = {"FF_", "FTF", "FTT", "T_F", "T_T"};
  ASSERT_EQ(set.paths.size(), expected.size());
  for (std::size_t i = 0; i < expected.size(); i++) EXPECT_EQ(set.paths[i].values, expected[i]);
  EXPECT_EQ(set.texts[2], "(F || T) && T");
  EXPECT_TRUE(set.paths[4].outcome);
  EXPECT_FALSE(set.paths[3].outcome);
}

// --- textbook cases ----------------------------------------------------------------------

struct mcdc_case {
  const char *condition;
  std::vector<std::string> ran;
  std::vector<std::string> unique;   // per condition, by describe()
  std::vector<std::string> masking;  // empty: as unique
};

TEST(Mcdc, TextbookVerdicts) {
  std::vector<mcdc_case> cases = {
      // a && b: three paths, F_ (false), TF (false), TT (true).
      {"a && b", {"F_", "TF", "TT"}, {"shown TT/F_", "shown TT/TF"}, {}},
      {"a && b", {"TF", "TT"}, {"needs F_ beside TT", "shown TT/TF"}, {}},
      {"a && b", {"F_", "TT"}, {"shown TT/F_", "needs TF beside TT"}, {}},
      {"a && b", {"TT"}, {"needs F_ beside TT", "needs TF beside TT"}, {}},
      {"a && b", {}, {"needs F_ beside TT", "needs TF beside TT"}, {}},
      // a || b: FF (false), FT (true), T_ (true).
      {"a || b", {"FF", "FT"}, {"needs T_ beside FF", "shown FT/FF"}, {}},
      {"a || b", {"FF", "T_"}, {"shown T_/FF", "needs FT beside FF"}, {}},
      // !(a && b): the negation turns the outcomes; pairs stay.
      {"!(a && b)", {"F_", "TF", "TT"}, {"shown TT/F_", "shown TT/TF"}, {}},
      // (a || b) && c: the masking rule accepts c by FTT/T_F, where a changes but is
      // masked in both (b true beside it, c false above it); unique-cause does not.
      {"(a || b) && c",
       {"FF_", "FTT", "T_F"},
       {"needs T_T beside FF_", "shown FTT/FF_", "needs FTF beside FTT"},
       {"needs T_T beside FF_", "shown FTT/FF_", "shown FTT/T_F"}},
      {"(a || b) && c",
       {"FF_", "FTF", "FTT", "T_F", "T_T"},
       {"shown T_T/FF_", "shown FTT/FF_", "shown FTT/FTF"},
       {}},
      // a && b || c && d, seven paths.
      {"a && b || c && d",
       {"F_F_", "F_TT", "TFTT", "TT__"},
       {"shown TT__/F_F_", "needs TFF_ beside TT__", "shown F_TT/F_F_", "needs F_TF beside F_TT"},
       {}},
      // Five conditions in a chain: each needs the all-true path and its own false path.
      {"a && b && c && d && e",
       {"TTTTT", "F____", "TTF__"},
       {"shown TTTTT/F____", "needs TF___ beside TTTTT", "shown TTTTT/TTF__", "needs TTTF_ beside TTTTT",
        "needs TTTTF beside TTTTT"},
       {}},
  };
  for (const mcdc_case &c : cases) {
    path_set set = paths_of(c.condition);
    run(&set, c.ran);
    std::vector<mcdc_verdict> unique = verdicts(set, MCDC_UNIQUE_CAUSE);
    std::vector<mcdc_verdict> masking = verdicts(set, MCDC_MASKING);
    ASSERT_EQ(unique.size(), c.unique.size()) << c.condition;
    const std::vector<std::string> &expected_masking = c.masking.empty() ? c.unique : c.masking;
    for (std::size_t k = 0; k < unique.size(); k++) {
      EXPECT_EQ(describe(set, unique[k]), c.unique[k]) << c.condition << ", condition " << k << " (unique-cause)";
      EXPECT_EQ(describe(set, masking[k]), expected_masking[k]) << c.condition << ", condition " << k << " (masking)";
    }
  }
}

// Unique-cause with short-circuit, checked by hand for one pair: the condition differs,
// the outcome differs, every other condition is equal or not evaluated on one side.
bool hand_pair(const mcdc_path &p, const mcdc_path &q, std::size_t k) {
  if (p.values[k] == '_' || q.values[k] == '_' || p.values[k] == q.values[k] || p.outcome == q.outcome) return false;
  for (std::size_t j = 0; j < p.values.size(); j++)
    if (j != k && p.values[j] != q.values[j] && p.values[j] != '_' && q.values[j] != '_') return false;
  return true;
}

TEST(Mcdc, SixConditionsWithTheClassicSevenTests) {
  // (a || b) && (c || d) && (e || f): n + 1 = 7 tests show all six conditions.
  path_set set = paths_of("(a || b) && (c || d) && (e || f)");
  EXPECT_EQ(set.paths.size(), 15u);
  run(&set, {"T_T_T_", "FF____", "FTT_T_", "T_FF__", "T_FTT_", "T_T_FF", "T_T_FT"});
  for (mcdc_rule rule : {MCDC_UNIQUE_CAUSE, MCDC_MASKING}) {
    std::vector<mcdc_verdict> v = verdicts(set, rule);
    for (std::size_t k = 0; k < 6; k++) {
      ASSERT_TRUE(v[k].shown) << k;
      if (rule == MCDC_UNIQUE_CAUSE) {
        EXPECT_TRUE(hand_pair(set.paths[static_cast<std::size_t>(v[k].first)],
                            set.paths[static_cast<std::size_t>(v[k].second)], k))
          << k << ": " << describe(set, v[k]);
      }
    }
  }
}

TEST(Mcdc, SixConditionsWithOnePathMissing) {
  // Without T_FTT_ nothing shows d; what is missing is a path with d true that pairs
  // with T_FF__, which ran.
  path_set set = paths_of("(a || b) && (c || d) && (e || f)");
  run(&set, {"T_T_T_", "FF____", "FTT_T_", "T_FF__", "T_T_FF", "T_T_FT"});
  for (mcdc_rule rule : {MCDC_UNIQUE_CAUSE, MCDC_MASKING}) {
    std::vector<mcdc_verdict> v = verdicts(set, rule);
    for (int k : {0, 1, 2, 4, 5}) EXPECT_TRUE(v[static_cast<std::size_t>(k)].shown) << k;
    ASSERT_FALSE(v[3].shown);
    EXPECT_EQ(values_of(set, v[3].need_first), "T_FF__");
    const mcdc_path &missing = set.paths[static_cast<std::size_t>(v[3].need_second)];
    EXPECT_FALSE(missing.ran);
    EXPECT_EQ(missing.values[3], 'T');
    EXPECT_TRUE(missing.outcome);
  }
}

TEST(Mcdc, UniqueCausePairsAreMaskingPairs) {
  // On every path set of these conditions, a condition that the unique-cause rule shows
  // the masking rule shows too, and every pair given is one that ran.
  std::mt19937 random(17);
  for (const char *condition : {"a && b", "a || b || c", "(a || b) && c", "a && (b || !(c && d))",
                                "a && b || c && d", "(a || b) && (c || d) && (e || f)", "!(a || b) && (c || d || e)"}) {
    path_set set = paths_of(condition);
    mcdc_tree tree;
    ASSERT_TRUE(mcdc_parse_shape(set.texts[0], set.conditions, &tree));
    for (int trial = 0; trial < 200; trial++) {
      for (mcdc_path &p : set.paths) p.ran = random() % 2 == 0;
      std::vector<mcdc_verdict> unique = mcdc_evaluate(set.paths, set.conditions, &tree, MCDC_UNIQUE_CAUSE);
      std::vector<mcdc_verdict> masking = mcdc_evaluate(set.paths, set.conditions, &tree, MCDC_MASKING);
      for (int k = 0; k < set.conditions; k++) {
        const mcdc_verdict &u = unique[static_cast<std::size_t>(k)], &m = masking[static_cast<std::size_t>(k)];
        if (u.shown) {
          EXPECT_TRUE(m.shown) << condition << " condition " << k;
        }
        for (const mcdc_verdict *v : {&u, &m}) {
          if (!v->shown) continue;
          EXPECT_TRUE(set.paths[static_cast<std::size_t>(v->first)].ran);
          EXPECT_TRUE(set.paths[static_cast<std::size_t>(v->second)].ran);
          EXPECT_EQ(set.paths[static_cast<std::size_t>(v->first)].values[static_cast<std::size_t>(k)], 'T');
        }
      }
    }
    for (mcdc_path &p : set.paths) p.ran = true;
    for (mcdc_rule rule : {MCDC_UNIQUE_CAUSE, MCDC_MASKING})
      for (const mcdc_verdict &v : mcdc_evaluate(set.paths, set.conditions, &tree, rule))
        EXPECT_TRUE(v.shown) << condition;
  }
}

// --- masking and shapes ----------------------------------------------------------------

TEST(Mcdc, MaskedConditions) {
  path_set set = paths_of("(a || b) && c");
  mcdc_tree tree;
  ASSERT_TRUE(mcdc_parse_shape(set.texts[0], 3, &tree));
  struct row {
    const char *values;
    const char *masked;  // per condition: 'm' masked, '-' not
  };
  for (const row &r : std::vector<row>{{"FF_", "--m"}, {"FTF", "mm-"}, {"FTT", "m--"}, {"T_F", "mm-"}, {"T_T", "-m-"}}) {
    const mcdc_path &p = set.paths[static_cast<std::size_t>(set.by_values.at(r.values))];
    for (int k = 0; k < 3; k++)
      EXPECT_EQ(mcdc_masked(tree, p, k), r.masked[k] == 'm') << r.values << " condition " << k;
  }
}

TEST(Mcdc, ShapesOfPathTexts) {
  mcdc_tree tree;
  EXPECT_TRUE(mcdc_parse_shape("T && _", 2, &tree));
  EXPECT_EQ(tree.nodes[static_cast<std::size_t>(tree.root)].kind, MCDC_AND);
  EXPECT_TRUE(mcdc_parse_shape("(T || _) && !(F and T)", 4, &tree));
  EXPECT_EQ(tree.nodes[static_cast<std::size_t>(tree.root)].kind, MCDC_AND);
  // "not" leaves its last letter in the path text; "or" binds looser than "and".
  EXPECT_TRUE(mcdc_parse_shape("T and F or t(T and _)", 4, &tree));
  EXPECT_EQ(tree.nodes[static_cast<std::size_t>(tree.root)].kind, MCDC_OR);
  EXPECT_EQ(tree.leaf_node.size(), 4u);
  for (const char *bad : {"", "T &&", "(T && F", "T && F)", "T F", "T && X", "&& T"})
    EXPECT_FALSE(mcdc_parse_shape(bad, 2, &tree)) << bad;
  EXPECT_FALSE(mcdc_parse_shape("T && F", 3, &tree));  // not the number of conditions
}

TEST(Mcdc, WithoutAShapeMaskingFallsBackToUniqueCause) {
  path_set set = paths_of("(a || b) && c");
  run(&set, {"FF_", "FTT", "T_F"});
  std::vector<mcdc_verdict> v = mcdc_evaluate(set.paths, 3, nullptr, MCDC_MASKING);
  EXPECT_FALSE(v[2].shown);
}

}  // namespace
