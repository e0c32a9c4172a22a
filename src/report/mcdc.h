// MC/DC over the evaluation paths of one multicondition: for each elementary condition,
// whether the paths that ran hold a pair that shows it independently affects the
// outcome, by the unique-cause rule (with short-circuit) and by the masking rule.
#ifndef QUB_REPORT_MCDC_H
#define QUB_REPORT_MCDC_H

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

// One evaluation path: per elementary condition (in source order) 'T', 'F', or '_' for
// not evaluated, the outcome, and whether it ran.
struct mcdc_path {
  std::string values;
  bool outcome = false;
  bool ran = false;
};

// The shape of the condition, rebuilt from a path's text: leaves are the elementary
// conditions, numbered in source order.
enum mcdc_node_kind { MCDC_LEAF, MCDC_AND, MCDC_OR, MCDC_NOT };
struct mcdc_node {
  mcdc_node_kind kind;
  int leaf;          // MCDC_LEAF: the condition's number
  int left, right;   // children (right unused for MCDC_NOT); -1 for none
  int parent;        // -1 at the root
};
struct mcdc_tree {
  std::vector<mcdc_node> nodes;
  std::vector<int> leaf_node;  // node of each condition
  int root = -1;
};

// Parses a path text such as "(T || _) && !(F and T)" into the tree. False if the text is
// not of that form or does not have `conditions` leaves.
bool mcdc_parse_shape(std::string_view path_text, int conditions, mcdc_tree *tree);

enum mcdc_rule { MCDC_UNIQUE_CAUSE = 0, MCDC_MASKING = 1 };

// The verdict for one condition under one rule.
struct mcdc_verdict {
  bool shown = false;
  int first = -1, second = -1;  // shown: the pair (the path with the condition true first)
  // Not shown: a pair that would show it, a path that ran first when there is one; -1 if
  // no pair of paths can show it.
  int need_first = -1, need_second = -1;
};

// Whether condition c of path p is masked: its value cannot reach the outcome, because
// an operand beside it on the way up holds the deciding value (false beside &&, true
// beside ||). A condition that was not evaluated is masked.
bool mcdc_masked(const mcdc_tree &tree, const mcdc_path &p, int c);

// Whether paths p and q form an independence pair for condition c under the rule.
bool mcdc_is_pair(const mcdc_tree *tree, const mcdc_path &p, const mcdc_path &q, int c, mcdc_rule rule);

// The verdicts of every condition under a rule. Without a tree (shape unknown) the
// masking rule falls back to the unique-cause rule.
std::vector<mcdc_verdict> mcdc_evaluate(const std::vector<mcdc_path> &paths, int conditions, const mcdc_tree *tree,
                                        mcdc_rule rule);

#endif
