// Keywords by language and compiler family: which words are keywords, and the
// language and family of the file under analysis that decide it.
#ifndef QUB_PREPARSE_KEYWORDS_H
#define QUB_PREPARSE_KEYWORDS_H

#include <cstdint>

#include "preparse/token.h"

// Keyword kinds. The words of each kind are in the tables of keywords.cpp.
enum : std::uint32_t {
  KW_AUTO = 266,
  KW_BREAK = 267,
  KW_CASE = 268,
  KW_CHAR = 269,
  KW_CONST = 270,
  KW_CONTINUE = 271,
  KW_DEFAULT = 272,
  KW_DO = 273,
  KW_DOUBLE = 274,
  KW_ELSE = 275,
  KW_ENUM = 276,
  KW_EXTERN = 277,
  KW_FLOAT = 278,
  KW_FOR = 279,
  KW_GOTO = 280,
  KW_IF = 281,
  KW_INT = 282,
  KW_LONG = 283,
  KW_REGISTER = 284,
  KW_RETURN = 285,
  KW_SHORT = 286,
  KW_SIGNED = 287,
  KW_SIZEOF = 288,
  KW_STATIC = 289,
  KW_STRUCT = 290,
  KW_SWITCH = 291,
  KW_TYPEDEF = 292,
  KW_UNION = 293,
  KW_UNSIGNED = 294,
  KW_VOID = 295,
  KW_VOLATILE = 296,
  KW_WHILE = 297,
  KW_SEGMENT = 298,
  KW_MODIFIER = 299,
  KW_BASED = 300,
  KW_DECLSPEC = 301,
  KW_INHERITANCE = 302,
  KW_ASM = 303,
  // C++ words: plain identifiers in C (as is KW_INHERITANCE).
  KW_CLASS = 304,
  KW_DELETE = 305,
  KW_FRIEND = 306,
  KW_INLINE = 307,
  KW_NEW = 308,
  KW_OPERATOR = 309,
  KW_PRIVATE = 310,
  KW_PROTECTED = 311,
  KW_PUBLIC = 312,
  KW_THIS = 313,
  KW_VIRTUAL = 314,
  KW_TEMPLATE = 315,
  KW_TRY = 316,
  KW_THROW = 317,
  KW_CATCH = 318,
  KW_BOOL = 319,
  KW_CONST_CAST = 320,
  KW_DYNAMIC_CAST = 321,
  KW_EXPLICIT = 322,
  KW_FALSE = 323,
  KW_MUTABLE = 324,
  KW_NAMESPACE = 325,
  KW_REINTERPRET_CAST = 326,
  KW_STATIC_CAST = 327,
  KW_TRUE = 328,
  KW_TYPEID = 329,
  KW_TYPENAME = 330,
  KW_USING = 331,
  KW_WCHAR_T = 332,
  KW_ALIGNAS = 333,
  KW_ALIGNOF = 334,
  KW_CHAR16_T = 335,
  KW_CHAR32_T = 336,
  KW_CONSTEXPR = 337,
  KW_DECLTYPE = 338,
  KW_NOEXCEPT = 339,
  // 340 to 342 are unassigned.
  KW_NULLPTR = 343,
  KW_STATIC_ASSERT = 344,
  KW_THREAD_LOCAL = 345,
  KW_SEH_TRY = 346,
  KW_SEH_EXCEPT = 347,
  KW_FINALLY = 348,
  KW_SEH_LEAVE = 380,
  KW_SIZED_INT = 381,
  KW_PRAGMA_OP = 382,
  KW_IF_EXISTS = 383,
  KW_ATTRIBUTE = 384,
  KW_EXTENSION = 385,
  KW_RESTRICT = 386,
  KW_FOREACH = 388,
  KW_SYNCHRONIZED = 402,
};

// Stores the language of the next source file (LANG_C .. LANG_JAVA) in
// `source_language` and works out `compiler_family` from the configuration:
// DIALECT_CXX for C++, DIALECT_C for every other language. The configuration does
// not change while a file is analysed, so the family is settled here once per file.
void pre_set_language(std::uint32_t language);

// The same with the dialect text given instead of read from the configuration;
// pre_set_language passes the configured text through here.
void pre_set_language_dialect(std::uint32_t language, const char *dialect);

// Family of a dialect text: "MICROSOFT" 1, "BORLAND" 2, anything else (the
// configuration check admits only "ANSI" besides) 0. Comparison is exact.
std::uint32_t pre_family_of_dialect(const char *dialect);

// Name of the configuration parameter that holds the dialect of a language.
const char *pre_dialect_parameter(std::uint32_t language);

bool lang_not_c();
bool lang_is_c();
bool lang_is_objc();
bool lang_is_csharp();
bool lang_is_java();
bool family_is_ansi();
bool family_is_microsoft();
bool family_is_borland();

// The kind of a word in the current language and family; TOK_NONE when the word
// is no keyword there. Comparison is exact and case-sensitive.
std::uint32_t pre_keyword_kind(const char *text);

#endif
