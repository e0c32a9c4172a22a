// Conditions of statements: whether a condition is a declaration, a constant or an
// ordinary expression, how it is wrapped in probes, and the `?:` operator met outside
// conditions.
#ifndef QUB_PREANAL_CONDITIONS_H
#define QUB_PREANAL_CONDITIONS_H

#include <cstdint>

// Classes of a condition.
enum : int {
  COND_CONSTANT = 0,     // only constants, or empty
  COND_DECLARATION = 1,  // the parentheses hold a declaration
  COND_ORDINARY = 2,
};

// Where a condition comes from; these are also its record kinds.
enum : std::uint32_t {
  CONDITION_IF = 20,
  CONDITION_ELSE_IF = 21,
  CONDITION_WHILE = 22,
  CONDITION_FOR = 23,  // the middle clause of a `for`
  CONDITION_DO_WHILE = 24,
  CONDITION_ASSIGNMENT = 85,  // right side of an assignment or initialiser (multicondition only)
};

// Answers of the cast test.
enum : int { CAST_UNKNOWN = -1, CAST_NOT_TYPE = 0, CAST_TYPE = 1 };

struct conditions_state {
  bool cond_quiet = false;  // a `const` initialiser that gets no probes
};

extern conditions_state g_conditions;

// Classifies the condition ahead without consuming anything: the next token is the `(`
// of the statement, or the first `;` of a `for`. The tokens read stay in the lookahead
// queue for the statement head.
int pre_classify_condition();

// Copies a condition with its probes. The `(`, the `;` in front of the middle clause of
// a `for`, or the `=` has been copied. For all kinds but 85 the token that ends the
// condition, `)` or `;`, is read and copied too; for 85 it stays unread. With
// multicondition instrumentation the condition goes to pre_multicondition; `?` in it
// get their probes afterwards, behind the condition's own record.
void pre_condition(std::uint32_t kind);

// A `?` at the statement level, in an initialiser or in an expression copy: read, not
// yet copied. Gives it its probes (not in a `static` declaration; in a `const` one only
// with CONST_INSTR=ON, else note 37), copies it and its operands up to and including
// the matching `:`. seen_static, seen_const: the statement holds `static`, `const`.
void pre_walk_cond_oper(bool seen_static, bool seen_const);

// Sets cond_quiet and returns the old value.
bool pre_cond_quiet(bool value);

// --- the classifier's pieces, for tests ---------------------------------------------------
// The flag of const_eval over a token sequence given as texts with kinds, as the
// classifier would see it behind the opening token: 1 when it is built of constants.
struct cond_eval_token {
  std::uint32_t kind;
  const char *text;
};
int pre_classify_tokens(const cond_eval_token *tokens, std::uint32_t count);

#endif
