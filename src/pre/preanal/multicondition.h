// Multicondition coverage: a condition built of `&&`, `||` and `!` is split into its
// elementary conditions, every way its short-circuit evaluation can run becomes one
// counter, and the text is rewritten so that the value of an index at the end of the
// evaluation is the number of the path that ran.
#ifndef QUB_PREANAL_MULTICONDITION_H
#define QUB_PREANAL_MULTICONDITION_H

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

// Classes of the condition's tokens.
enum : std::uint32_t {
  CT_NOT = 0,
  CT_AND = 1,
  CT_OR = 2,
  CT_LPAREN = 3,
  CT_RPAREN = 4,
  CT_OTHER = 5,
  CT_END = 6,
};

// Classes of the nodes of the condition tree.
enum : std::uint32_t {
  CN_NOT = 0,
  CN_AND = 1,
  CN_OR = 2,
  CN_PAREN = 3,
  CN_LEAF = 4,
};

// Most evaluation paths a condition may have before it falls back to one decision.
constexpr std::uint32_t MAX_CONDITION_PATHS = 500;

struct cond_token {
  std::uint32_t cls;
  std::string text;
  std::uint32_t kind;  // token kind of the scanner
};

struct cond_node {
  std::uint32_t cls;
  cond_node *parent = nullptr;
  std::string text;        // operator, `!` or `(` as written, a cast in front where there was one
  std::string close_text;  // CN_PAREN: the `)`
  cond_node *left = nullptr, *right = nullptr;  // CN_AND, CN_OR
  cond_node *child = nullptr;                   // CN_NOT, CN_PAREN
  std::vector<cond_token> tokens;               // CN_LEAF: the elementary condition
  std::uint32_t truth = 2;                      // CN_LEAF: 0 true, 1 false, 2 not evaluated
  std::uint32_t m_index = 0;                    // CN_LEAF: the constant of its QUB_M_IND
  std::vector<std::uint32_t> true_paths;        // CN_LEAF: paths on which it is true, oldest first
  std::vector<std::uint32_t> false_paths;
};

struct path_node {
  bool terminal = false;
  cond_node *leaf = nullptr;  // inner node: the elementary condition evaluated here
  path_node *on_true = nullptr, *on_false = nullptr;
  std::uint32_t path = 0;     // terminal: the path number
  std::uint32_t outcome = 0;  // terminal: 1 the decision is true, 0 false
};

// The analysis of one condition: its tokens, trees and the nodes that own them.
struct multicondition_state {
  std::vector<cond_token> tokens;
  std::size_t cursor = 0;
  std::uint32_t path_count = 0;
  bool cast_like_name = false;
  std::uint32_t record_base = 0;  // C number of path 0 of the condition at hand
  std::vector<std::unique_ptr<cond_node>> cond_nodes;
  std::vector<std::unique_ptr<path_node>> path_nodes;
};

extern multicondition_state g_multi;

// The condition of a statement (kind 20 to 24) or the right side of an assignment
// (85), with the opening token copied. All of its tokens are read and copied with the
// probes of the paths; for kinds other than 85 the ending token too, for 85 it stays
// unread.
void pre_multicondition(std::uint32_t kind);

// --- the steps, also for tests -----------------------------------------------------------
// Reads and classes the condition's tokens into g_multi.tokens.
void pre_cond_tokens(std::uint32_t kind);
// Parses g_multi.tokens from the cursor into a condition tree.
cond_node *pre_parse_or();
cond_node *pre_parse_and();
cond_node *pre_parse_cast();
cond_node *pre_parse_not();
cond_node *pre_parse_primary();
// With the cursor on a `(`: the text of a cast that starts there, the cursor moved
// behind it; "" when there is none, the cursor unmoved.
std::string pre_try_cast_prefix();
// One leaf of a subtree, taking the subtree's place under its parent.
cond_node *pre_flatten(cond_node *node);
// The path tree below an inner node; m_index of each leaf is set on the way.
void pre_build_paths(path_node *node);
// The root of a path tree for a condition tree; g_multi.path_count counts its paths.
path_node *pre_make_paths(cond_node *tree);
void pre_emit_m_expr(cond_node *node);
void pre_emit_plain_expr(cond_node *node);
void pre_collect_outcomes(path_node *node, std::uint32_t outcome);
void pre_record_paths(cond_node *root, path_node *node, std::uint32_t outcome);
std::string pre_path_text(cond_node *node, std::uint32_t path);
void pre_record_conditions(cond_node *node);
// Forgets the condition's tokens and trees.
void pre_multicondition_reset();

#endif
