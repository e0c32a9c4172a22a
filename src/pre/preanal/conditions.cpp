// Condition analysis: the classifier, the decision form of a condition, and `?:`.
#include "preanal/conditions.h"

#include <cstring>
#include <string>
#include <vector>

#include "config/config.h"
#include "driver/run_state.h"
#include "emit/pragma.h"
#include "emit/probes.h"
#include "emit/writer.h"
#include "preanal/multicondition.h"
#include "preerror/preerror.h"
#include "preparse/keywords.h"
#include "preparse/lookahead.h"
#include "preparse/scanner.h"
#include "preparse/token.h"
#include "symbol/names.h"

conditions_state g_conditions;

namespace {

struct ctoken {
  std::uint32_t kind;
  std::string text;
};

// The classifier's state: lives for one classification.
struct classifier {
  std::vector<ctoken> tokens;  // two empty entries stand behind the last
  std::size_t pos = 0;
  std::vector<std::string> assumed_types;
  std::size_t assumed_room = 0;
  const std::string *unknown_name = nullptr;

  const ctoken &at(std::size_t i) const {
    static const ctoken empty{0, ""};
    return i < tokens.size() ? tokens[i] : empty;
  }
  const ctoken &cur() const { return at(pos); }
  const ctoken &next() const { return at(pos + 1); }
  bool is(const char *text) const { return cur().text == text; }
  void move() {
    if (pos < tokens.size()) pos++;
  }

  int comma();
  int assignment();
  int conditional();
  int binary(int level);
  int cast();
  int unary();
  int cast_test();
};

bool is_type_word(std::uint32_t kind) {
  switch (kind) {
    case TOK_TYPE_NAME:
    case KW_CHAR:
    case KW_CONST:
    case KW_DOUBLE:
    case KW_FLOAT:
    case KW_INT:
    case KW_LONG:
    case KW_SHORT:
    case KW_SIGNED:
    case KW_UNSIGNED:
    case KW_VOID:
    case KW_VOLATILE:
    case KW_BOOL:
    case KW_TYPENAME:
    case KW_WCHAR_T:
    case KW_CHAR16_T:
    case KW_CHAR32_T:
    case TOK_STAR:
    case KW_SIZED_INT:
      return true;
    default:
      return false;
  }
}

bool is_literal(std::uint32_t kind) {
  return kind == TOK_STRING || kind == TOK_INT_CONST || kind == TOK_CHAR_CONST || kind == TOK_FLOAT_CONST;
}

bool type_like(const pre_name_entry *e) {
  if (!e) return false;
  switch (e->kind) {
    case st_simple_type:
    case st_class:
    case st_typedef:
    case st_enum:
    case st_template:
      return true;
    default:
      return false;
  }
}

int classifier::cast_test() {
  int answer = CAST_TYPE;
  // pos is on the `(`.
  for (;;) {
    move();
    const ctoken &t = cur();
    if (t.kind == 0 && t.text.empty()) return CAST_UNKNOWN;
    if (is_type_word(t.kind)) {
      // the answer stays
    } else if (t.kind == TOK_IDENT) {
      for (const std::string &name : assumed_types)
        if (name == t.text) return CAST_TYPE;
      if (type_like(pre_name_lookup(t.text.c_str(), current_scope, false))) {
        // the answer stays
      } else if (pre_name_lookup_any_function(t.text.c_str(), current_scope, false)) {
        answer = CAST_NOT_TYPE;
      } else {
        unknown_name = &t.text;
        return CAST_UNKNOWN;
      }
    } else if (is_literal(t.kind) || t.kind == TOK_LESS || t.kind == TOK_GREATER || t.kind == TOK_ASSIGN ||
               t.kind == TOK_OPERATOR) {
      return CAST_NOT_TYPE;
    } else if (t.kind == KW_ENUM || t.kind == KW_STRUCT || t.kind == KW_UNION || t.kind == KW_CLASS) {
      move();
    } else {
      answer = CAST_UNKNOWN;
    }
    std::uint32_t k = next().kind;
    if (k == TOK_LPAREN) {
      move();
      return CAST_NOT_TYPE;
    }
    if (k == TOK_RPAREN) {
      move();
      return answer;
    }
  }
}

int classifier::comma() {
  int value = assignment();
  while (is(",")) {
    move();
    value = assignment();
  }
  return value;
}

bool assignment_operator(const std::string &t) {
  static const char *const ops[] = {"=", "*=", "/=", "%=", "+=", "-=", "<<=", ">>=", "&=", "|=", "^="};
  for (const char *op : ops)
    if (t == op) return true;
  return lang_not_c() && (t == "and_eq" || t == "or_eq" || t == "xor_eq");
}

int classifier::assignment() {
  int left = conditional();
  if (!assignment_operator(cur().text)) return left;
  bool plain = is("=");
  move();
  int right = assignment();
  return plain ? right : 0;
}

int classifier::conditional() {
  int value = binary(0);
  if (!is("?")) return value;
  move();
  if (!is(":")) value *= comma();
  if (is(":")) move();
  return value * conditional();
}

// Binary levels from logical or (0) to multiplicative (10); the cast level below.
bool binary_operator(int level, const ctoken &t) {
  const std::string &s = t.text;
  switch (level) {
    case 0:
      return t.kind == TOK_OROR;
    case 1:
      return t.kind == TOK_ANDAND;
    case 2:
      return s == "|" || (lang_not_c() && s == "bitor");
    case 3:
      return s == "^" || (lang_not_c() && s == "xor");
    case 4:
      return t.kind == TOK_AMP;
    case 5:
      return s == "==" || s == "!=" || (lang_not_c() && s == "not_eq");
    case 6:
      return s == "<" || s == "<=" || s == ">" || s == ">=";
    case 7:
      return s == "<<" || s == ">>" || t.kind == TOK_USHR;
    case 8:
      return s == "+" || s == "-";
    case 9:
      return s == "*" || s == "/" || s == "%";
    default:
      return false;
  }
}

int classifier::binary(int level) {
  if (level > 9) return cast();
  int value = binary(level + 1);
  while (binary_operator(level, cur())) {
    move();
    value *= binary(level + 1);
  }
  return value;
}

int classifier::cast() {
  if (cur().kind == TOK_LPAREN && next().kind != TOK_RPAREN) {
    std::size_t saved_pos = pos;
    const std::string *saved_unknown = unknown_name;
    int answer = cast_test();
    if (answer == CAST_TYPE) {
      // pos stands on the `)` or on a name taken for a type: move past the `)`.
      while (cur().kind != TOK_RPAREN && !(cur().kind == 0 && cur().text.empty())) move();
      move();
      return cast();
    }
    pos = saved_pos;
    unknown_name = saved_unknown;
    int value = unary();
    return answer == CAST_NOT_TYPE ? value : 0;
  }
  return unary();
}

int classifier::unary() {
  const ctoken &t = cur();
  if (t.kind == TOK_NOT || t.kind == TOK_TILDE || t.text == "+" || t.text == "-") {
    move();
    return cast();
  }
  if (t.kind == KW_SIZEOF) {
    move();
    if (cur().kind == TOK_LPAREN && cast_test() == CAST_TYPE) {
      while (cur().kind != TOK_RPAREN && !(cur().kind == 0 && cur().text.empty())) move();
      move();
    } else {
      unary();
    }
    return 0;
  }
  if (t.text == "++" || t.text == "--") {
    move();
    unary();
    return 0;
  }
  if (is_literal(t.kind) || t.kind == KW_TRUE || t.kind == KW_FALSE) {
    move();
    return 1;
  }
  if (t.kind == TOK_LPAREN) {
    move();
    int value = comma();
    if (cur().kind != TOK_RPAREN) value = 0;
    move();
    return value;
  }
  move();
  return 0;
}

bool declaration_word(std::uint32_t kind) {
  switch (kind) {
    case KW_AUTO:
    case KW_CHAR:
    case KW_CONST:
    case KW_DOUBLE:
    case KW_ENUM:
    case KW_FLOAT:
    case KW_INT:
    case KW_LONG:
    case KW_REGISTER:
    case KW_SHORT:
    case KW_SIGNED:
    case KW_STATIC:
    case KW_STRUCT:
    case KW_UNION:
    case KW_UNSIGNED:
    case KW_VOID:
    case KW_VOLATILE:
    case KW_CLASS:
    case KW_BOOL:
    case KW_TYPENAME:
    case KW_WCHAR_T:
    case KW_CHAR16_T:
    case KW_CHAR32_T:
    case KW_CONSTEXPR:
    case KW_DECLTYPE:
    case KW_SIZED_INT:
      return true;
    default:
      return false;
  }
}

bool is_name(std::uint32_t kind) { return kind == TOK_TYPE_NAME || kind == TOK_IDENT; }

bool is_declaration(const classifier &c) {
  if (lang_is_c()) return false;
  std::uint32_t k1 = c.at(1).kind;
  if (declaration_word(k1)) return true;
  if (!is_name(k1)) return false;
  std::uint32_t k2 = c.at(2).kind;
  if (is_name(k2) || k2 == KW_CONST || k2 == KW_VOLATILE) return true;
  if (k2 != TOK_STAR && k2 != TOK_AMP && k2 != TOK_CARET) return false;
  std::uint32_t k3 = c.at(3).kind;
  if (k3 == TOK_STAR || k3 == KW_CONST || k3 == KW_VOLATILE) return true;
  return is_name(k3) && c.at(4).kind == TOK_ASSIGN;
}

int classify(classifier &c) {
  c.tokens.push_back({0, ""});
  c.tokens.push_back({0, ""});
  if (c.at(1).text == ";") return COND_CONSTANT;
  if (is_declaration(c)) return COND_DECLARATION;
  c.assumed_room = c.tokens.size() / 3;
  int value = 0;
  for (;;) {
    c.pos = 1;
    c.unknown_name = nullptr;
    value = c.comma();
    bool at_end = (c.is(";") || c.is(")")) && c.tokens.size() - c.pos == 3;
    if (at_end || !c.unknown_name) break;
    if (!c.assumed_types.empty() && *c.unknown_name == c.assumed_types.back()) break;
    if (c.assumed_types.size() >= c.assumed_room) break;
    c.assumed_types.push_back(*c.unknown_name);
  }
  return value != 0 ? COND_CONSTANT : COND_ORDINARY;
}

void note_const_decision() {
  pre_set_message_args(current_file_name, "");
  pre_set_message_line(line_number);
  pre_report(STATUS_CONST_DECISION, REPORT_CONTINUE);
}

bool const_instr_on() { return std::strcmp(conf_get("CONST_INSTR"), "ON") == 0; }

}  // namespace

int pre_classify_tokens(const cond_eval_token *tokens, std::uint32_t count) {
  classifier c;
  for (std::uint32_t i = 0; i < count; i++) c.tokens.push_back({tokens[i].kind, tokens[i].text});
  return classify(c);
}

int pre_classify_condition() {
  classifier c;
  std::uint32_t kind = pre_peek_kind();
  pre_text_piece *p = pre_text_list_first(g_lookahead.queue);
  bool semicolon = kind == TOK_SEMI;
  int depth = 0;
  for (;;) {
    c.tokens.push_back({p->kind, p->text});
    if (p->kind == TOK_EOF) break;
    if (p->kind == TOK_LPAREN) depth++;
    if (p->kind == TOK_RPAREN) depth--;
    bool done = semicolon ? c.tokens.size() > 1 && depth <= 0 && p->kind == TOK_SEMI : depth <= 0;
    if (done) break;
    if (!p->next) pre_peek_further();
    p = p->next;
  }
  // An end of input read ahead is no token of the condition.
  if (c.tokens.back().kind == TOK_EOF) c.tokens.pop_back();
  return classify(c);
}

bool pre_cond_quiet(bool value) {
  bool old = g_conditions.cond_quiet;
  g_conditions.cond_quiet = value;
  return old;
}

void pre_condition(std::uint32_t kind) {
  bool quiet = g_conditions.cond_quiet;
  if (!quiet) pre_mark_region_start();
  if (g_run.instrument_multicondition) {
    pre_multicondition(kind);
  } else if (kind != CONDITION_ASSIGNMENT) {
    int n = pre_emit_cond_start();
    capture_begin();
    std::uint32_t end;
    if (kind != CONDITION_FOR) {
      pre_skip_balanced(TOK_LPAREN, TOK_RPAREN);
      capture_end();
      end = pre_get_token();
    } else {
      pre_skip_until(TOK_SEMI, 0, SKIP_BRACES);
      capture_end();
      end = pre_get_token();
      if (end != TOK_SEMI) pre_syntax_error("");
    }
    if (end == TOK_EOF) pre_syntax_error("");
    std::string ending = current_token;
    pre_emit_cond_end(kind, n, capture_result());
    emit_token(ending.c_str(), end);
  }
  if (!quiet) pre_scan_region_for_cond_opers();
}

void pre_walk_cond_oper(bool seen_static, bool seen_const) {
  std::string saved = current_token;
  std::uint32_t next = pre_peek_kind();
  std::strcpy(current_token, saved.c_str());
  if (!seen_static && next != TOK_COLON) {
    if (seen_const && !const_instr_on())
      note_const_decision();
    else
      pre_emit_cond_oper();
  }
  emit_token("?", TOK_QUESTION);
  int depth = 1;
  while (depth > 0) {
    pre_skip_until(TOK_COLON, TOK_QUESTION, SKIP_BRACES);
    std::uint32_t kind = pre_get_token();
    if (kind == TOK_COLON) {
      depth--;
      emit_token(current_token, TOK_COLON);
    } else if (kind == TOK_QUESTION) {
      depth++;
      if (!seen_const && !seen_static) {
        std::string text = current_token;
        if (pre_peek_kind() != TOK_COLON) pre_emit_cond_oper();
        std::strcpy(current_token, text.c_str());
      }
      emit_token("?", TOK_QUESTION);
    } else {
      pre_syntax_error("");
    }
  }
}
