// Token kinds that are not keyword words, and the scanner state shared with the
// layers above it. Keyword kinds (266..348, 380..386, 388, 402) live in keywords.h.
#ifndef QUB_PREPARSE_TOKEN_H
#define QUB_PREPARSE_TOKEN_H

#include <cstdint>

enum : std::uint32_t {
  TOK_EOF = 0,
  TOK_BAD = 257,
  TOK_NONE = 258,
  TOK_TYPE_NAME = 259,
  TOK_IDENT = 260,
  TOK_STRING = 261,
  TOK_RAW_PIECE = 262,
  TOK_INT_CONST = 263,
  TOK_CHAR_CONST = 264,
  TOK_FLOAT_CONST = 265,
  TOK_SCOPE = 349,
  TOK_LBRACE = 350,
  TOK_RBRACE = 351,
  TOK_LPAREN = 352,
  TOK_RPAREN = 353,
  TOK_LBRACKET = 354,
  TOK_RBRACKET = 355,
  TOK_LESS = 356,
  TOK_GREATER = 357,
  TOK_COMMA = 358,
  TOK_ASSIGN = 359,
  TOK_COLON = 360,
  TOK_STAR = 361,
  TOK_ELLIPSIS = 362,
  TOK_SEMI = 363,
  TOK_QUESTION = 364,
  TOK_AMP = 365,
  TOK_TILDE = 366,
  TOK_OROR = 367,
  TOK_ANDAND = 368,
  TOK_NOT = 369,
  TOK_SHR = 370,
  TOK_ARROW = 371,
  TOK_DOT = 372,
  TOK_CARET = 373,
  TOK_GLOBAL_NAME = 374,
  TOK_OPERATOR = 375,
  TOK_ASSIGN_OP = 376,
  TOK_QUB_PRAGMA = 377,
  TOK_LINE_DIRECTIVE = 378,
  TOK_DIRECTIVE = 379,
  TOK_USHR = 387,
  TOK_FAT_ARROW = 389,
  TOK_INNER_LBRACE = 390,
  TOK_INNER_RBRACE = 391,
  TOK_TARGS_OPEN = 392,
  TOK_TARGS_CLOSE = 393,
  OBJC_INTERFACE = 394,
  OBJC_CLASS = 395,
  OBJC_IMPLEMENTATION = 396,
  OBJC_END = 397,
  OBJC_AT = 398,
  OBJC_AUTORELEASEPOOL = 399,
  OBJC_SYNCHRONIZED = 400,
  TOK_LAMBDA_ARROW = 401,
  TOK_DOTTED_NUMBER = 403,
  TOK_AT = 404,
  TOK_ATTR_OPEN = 405,
  TOK_SPACESHIP = 406,  // <=>
  // Never scanned: the text-list kind of a fall-through comment written again in front
  // of the case or default label that it stood before.
  TOK_FALLTHROUGH_MARK = 407,
};

// Source language and compiler family of the file under analysis.
enum : std::uint32_t { LANG_C = 1, LANG_CXX = 2, LANG_OBJC = 3, LANG_CSHARP = 4, LANG_JAVA = 5 };
enum : std::uint32_t { FAMILY_ANSI = 0, FAMILY_MICROSOFT = 1, FAMILY_BORLAND = 2 };

// Shared run state of the scanner and the analysers (one file at a time).
extern std::uint32_t line_number;            // line of the token most recently handed out
extern std::uint32_t line_before_directive;  // line_number when the last line directive was met
extern char current_file_name[262];          // file name for messages and records
extern std::uint32_t statement_count;        // statements of the current function
extern std::uint32_t skip_depth;             // > 0 inside a skipped region
extern std::uint32_t source_language;
extern std::uint32_t compiler_family;

#endif
