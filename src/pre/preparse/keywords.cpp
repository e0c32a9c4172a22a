#include "preparse/keywords.h"

#include <cstddef>
#include <cstring>
#include <string_view>
#include <vector>

#include "config/config.h"

namespace {

struct keyword_row {
  const char *word;
  std::uint32_t kind;
};

// Searched for every language and family; the C++ rows (304..345) and
// KW_INHERITANCE are dropped again for C by pre_keyword_kind.
constexpr keyword_row common_table[] = {
    {"auto", KW_AUTO},
    {"break", KW_BREAK},
    {"case", KW_CASE},
    {"char", KW_CHAR},
    {"const", KW_CONST},
    {"continue", KW_CONTINUE},
    {"default", KW_DEFAULT},
    {"do", KW_DO},
    {"double", KW_DOUBLE},
    {"else", KW_ELSE},
    {"enum", KW_ENUM},
    {"extern", KW_EXTERN},
    {"float", KW_FLOAT},
    {"for", KW_FOR},
    {"goto", KW_GOTO},
    {"if", KW_IF},
    {"int", KW_INT},
    {"long", KW_LONG},
    {"register", KW_REGISTER},
    {"return", KW_RETURN},
    {"short", KW_SHORT},
    {"signed", KW_SIGNED},
    {"sizeof", KW_SIZEOF},
    {"static", KW_STATIC},
    {"struct", KW_STRUCT},
    {"switch", KW_SWITCH},
    {"typedef", KW_TYPEDEF},
    {"union", KW_UNION},
    {"unsigned", KW_UNSIGNED},
    {"void", KW_VOID},
    {"volatile", KW_VOLATILE},
    {"__volatile__", KW_VOLATILE},
    {"__volatile", KW_VOLATILE},
    {"while", KW_WHILE},
    {"_declspec", KW_DECLSPEC},
    {"__declspec", KW_DECLSPEC},
    {"asm", KW_ASM},
    {"__asm", KW_ASM},
    {"_asm", KW_ASM},
    {"__asm__", KW_ASM},
    {"__try", KW_SEH_TRY},
    {"__except", KW_SEH_EXCEPT},
    {"__finally", KW_FINALLY},
    {"__attribute__", KW_ATTRIBUTE},
    {"__attribute", KW_ATTRIBUTE},
    {"__extension__", KW_EXTENSION},
    {"__restrict__", KW_RESTRICT},
    {"__restrict", KW_RESTRICT},
    {"@", TOK_AT},
    // C++ rows
    {"class", KW_CLASS},
    {"delete", KW_DELETE},
    {"friend", KW_FRIEND},
    {"inline", KW_INLINE},
    {"new", KW_NEW},
    {"operator", KW_OPERATOR},
    {"private", KW_PRIVATE},
    {"protected", KW_PROTECTED},
    {"public", KW_PUBLIC},
    {"this", KW_THIS},
    {"virtual", KW_VIRTUAL},
    {"template", KW_TEMPLATE},
    {"try", KW_TRY},
    {"throw", KW_THROW},
    {"catch", KW_CATCH},
    {"bool", KW_BOOL},
    {"const_cast", KW_CONST_CAST},
    {"dynamic_cast", KW_DYNAMIC_CAST},
    {"explicit", KW_EXPLICIT},
    {"false", KW_FALSE},
    {"mutable", KW_MUTABLE},
    {"namespace", KW_NAMESPACE},
    {"reinterpret_cast", KW_REINTERPRET_CAST},
    {"static_cast", KW_STATIC_CAST},
    {"true", KW_TRUE},
    {"typeid", KW_TYPEID},
    {"typename", KW_TYPENAME},
    {"using", KW_USING},
    {"wchar_t", KW_WCHAR_T},
    {"alignas", KW_ALIGNAS},
    {"alignof", KW_ALIGNOF},
    {"char16_t", KW_CHAR16_T},
    {"char32_t", KW_CHAR32_T},
    {"constexpr", KW_CONSTEXPR},
    {"decltype", KW_DECLTYPE},
    {"noexcept", KW_NOEXCEPT},
    {"nullptr", KW_NULLPTR},
    {"static_assert", KW_STATIC_ASSERT},
    {"thread_local", KW_THREAD_LOCAL},
};

constexpr keyword_row microsoft_table[] = {
    {"_segment", KW_SEGMENT},
    {"__segment", KW_SEGMENT},
    {"cdecl", KW_MODIFIER},
    {"far", KW_MODIFIER},
    {"fortran", KW_MODIFIER},
    {"huge", KW_MODIFIER},
    {"interrupt", KW_MODIFIER},
    {"near", KW_MODIFIER},
    {"pascal", KW_MODIFIER},
    {"_cdecl", KW_MODIFIER},
    {"_export", KW_MODIFIER},
    {"_far", KW_MODIFIER},
    {"_fastcall", KW_MODIFIER},
    {"_fortran", KW_MODIFIER},
    {"_huge", KW_MODIFIER},
    {"_interrupt", KW_MODIFIER},
    {"_loadds", KW_MODIFIER},
    {"_near", KW_MODIFIER},
    {"_pascal", KW_MODIFIER},
    {"_saveregs", KW_MODIFIER},
    {"__cdecl", KW_MODIFIER},
    {"__export", KW_MODIFIER},
    {"__far", KW_MODIFIER},
    {"__fastcall", KW_MODIFIER},
    {"__fortran", KW_MODIFIER},
    {"__huge", KW_MODIFIER},
    {"__import", KW_MODIFIER},
    {"__inline", KW_MODIFIER},
    {"__interrupt", KW_MODIFIER},
    {"__loadds", KW_MODIFIER},
    {"__near", KW_MODIFIER},
    {"__pascal", KW_MODIFIER},
    {"__saveregs", KW_MODIFIER},
    {"__stdcall", KW_MODIFIER},
    {"__syscall", KW_MODIFIER},
    {"_inline", KW_MODIFIER},
    {"_stdcall", KW_MODIFIER},
    {"_far16", KW_MODIFIER},
    {"_Seg16", KW_MODIFIER},
    {"__far16", KW_MODIFIER},
    {"__Seg16", KW_MODIFIER},
    {"_based", KW_BASED},
    {"__based", KW_BASED},
    {"_single_inheritance", KW_INHERITANCE},
    {"_multiple_inheritance", KW_INHERITANCE},
    {"_virtual_inheritance", KW_INHERITANCE},
    {"__single_inheritance", KW_INHERITANCE},
    {"__multiple_inheritance", KW_INHERITANCE},
    {"__virtual_inheritance", KW_INHERITANCE},
    {"_leave", KW_SEH_LEAVE},
    {"__leave", KW_SEH_LEAVE},
    {"_int8", KW_SIZED_INT},
    {"_int16", KW_SIZED_INT},
    {"_int32", KW_SIZED_INT},
    {"_int64", KW_SIZED_INT},
    {"__int8", KW_SIZED_INT},
    {"__int16", KW_SIZED_INT},
    {"__int32", KW_SIZED_INT},
    {"__int64", KW_SIZED_INT},
    {"__pragma", KW_PRAGMA_OP},
    {"__if_exists", KW_IF_EXISTS},
    {"__if_not_exists", KW_IF_EXISTS},
};

constexpr keyword_row borland_table[] = {
    {"_seg", KW_SEGMENT},
    {"__seg", KW_SEGMENT},
    {"cdecl", KW_MODIFIER},
    {"far", KW_MODIFIER},
    {"huge", KW_MODIFIER},
    {"interrupt", KW_MODIFIER},
    {"near", KW_MODIFIER},
    {"pascal", KW_MODIFIER},
    {"_cdecl", KW_MODIFIER},
    {"_far", KW_MODIFIER},
    {"_huge", KW_MODIFIER},
    {"_interrupt", KW_MODIFIER},
    {"_near", KW_MODIFIER},
    {"_pascal", KW_MODIFIER},
    {"__cdecl", KW_MODIFIER},
    {"__far", KW_MODIFIER},
    {"__huge", KW_MODIFIER},
    {"__interrupt", KW_MODIFIER},
    {"__near", KW_MODIFIER},
    {"__pascal", KW_MODIFIER},
    {"_export", KW_MODIFIER},
    {"_fastcall", KW_MODIFIER},
    {"_import", KW_MODIFIER},
    {"_loadds", KW_MODIFIER},
    {"_saveregs", KW_MODIFIER},
    {"__export", KW_MODIFIER},
    {"__fastcall", KW_MODIFIER},
    {"__import", KW_MODIFIER},
    {"__loadds", KW_MODIFIER},
    {"__saveregs", KW_MODIFIER},
    {"_cs", KW_MODIFIER},
    {"_ds", KW_MODIFIER},
    {"_es", KW_MODIFIER},
    {"_ss", KW_MODIFIER},
    {"__cs", KW_MODIFIER},
    {"__ds", KW_MODIFIER},
    {"__es", KW_MODIFIER},
    {"__ss", KW_MODIFIER},
    {"_stdcall", KW_MODIFIER},
    {"_syscall", KW_MODIFIER},
    {"__stdcall", KW_MODIFIER},
    {"__syscall", KW_MODIFIER},
    {"__rtti", KW_MODIFIER},
    {"__thread", KW_MODIFIER},
    {"_far16", KW_MODIFIER},
    {"__far16", KW_MODIFIER},
};

// Searched when the language is not C.
constexpr keyword_row operator_words[] = {
    {"and", TOK_ANDAND},      {"and_eq", TOK_ASSIGN_OP}, {"bitand", TOK_AMP},
    {"bitor", TOK_OPERATOR},  {"compl", TOK_TILDE},      {"not", TOK_NOT},
    {"not_eq", TOK_OPERATOR}, {"or", TOK_OROR},          {"or_eq", TOK_ASSIGN_OP},
    {"xor", TOK_OPERATOR},    {"xor_eq", TOK_ASSIGN_OP},
};

// An index over a constant table, built once: open addressing over a power-of-two
// table with an FNV-1a hash. Words longer than the table's longest are rejected before
// any hashing, which settles most identifiers of system headers at once.
struct word_slot {
  const char *word;
  std::uint32_t length;
  std::uint32_t kind;
};

struct word_index {
  std::vector<word_slot> slots;
  std::size_t mask = 0;
  std::size_t longest = 0;
};

std::uint32_t word_hash(const char *word, std::size_t length) {
  std::uint32_t h = 2166136261u;
  for (std::size_t i = 0; i < length; i++) h = (h ^ static_cast<unsigned char>(word[i])) * 16777619u;
  return h;
}

// The first row of a word wins.
template <std::size_t N>
word_index make_index(const keyword_row (&rows)[N]) {
  word_index index;
  std::size_t size = 16;
  while (size < N * 4) size *= 2;
  index.slots.assign(size, word_slot{nullptr, 0, 0});
  index.mask = size - 1;
  for (const keyword_row &row : rows) {
    std::size_t length = std::strlen(row.word);
    if (length > index.longest) index.longest = length;
    for (std::size_t at = word_hash(row.word, length) & index.mask;; at = (at + 1) & index.mask) {
      word_slot &slot = index.slots[at];
      if (!slot.word) {
        slot = word_slot{row.word, static_cast<std::uint32_t>(length), row.kind};
        break;
      }
      if (slot.length == length && std::memcmp(slot.word, row.word, length) == 0) break;
    }
  }
  return index;
}

std::uint32_t search(const word_index &index, std::string_view word, std::uint32_t hash) {
  if (word.size() > index.longest) return TOK_NONE;
  for (std::size_t at = hash & index.mask;; at = (at + 1) & index.mask) {
    const word_slot &slot = index.slots[at];
    if (!slot.word) return TOK_NONE;
    if (slot.length == word.size() && std::memcmp(slot.word, word.data(), word.size()) == 0) return slot.kind;
  }
}

struct keyword_indexes {
  word_index common = make_index(common_table);
  word_index microsoft = make_index(microsoft_table);
  word_index borland = make_index(borland_table);
  word_index operators = make_index(operator_words);
  std::size_t longest = 0;
  keyword_indexes() {
    for (const word_index *ix : {&common, &microsoft, &borland, &operators})
      if (ix->longest > longest) longest = ix->longest;
  }
};

const keyword_indexes &indexes() {
  static const keyword_indexes built;
  return built;
}

}  // namespace

std::uint32_t pre_family_of_dialect(const char *dialect) {
  if (!dialect) return FAMILY_ANSI;
  if (std::strcmp(dialect, "MICROSOFT") == 0) return FAMILY_MICROSOFT;
  if (std::strcmp(dialect, "BORLAND") == 0) return FAMILY_BORLAND;
  return FAMILY_ANSI;
}

const char *pre_dialect_parameter(std::uint32_t language) {
  return language == LANG_CXX ? "DIALECT_CXX" : "DIALECT_C";
}

void pre_set_language_dialect(std::uint32_t language, const char *dialect) {
  source_language = language;
  compiler_family = pre_family_of_dialect(dialect);
}

void pre_set_language(std::uint32_t language) {
  pre_set_language_dialect(language, conf_get(pre_dialect_parameter(language)));
}

bool lang_not_c() { return source_language != LANG_C; }
bool lang_is_c() { return source_language == LANG_C; }
bool lang_is_objc() { return source_language == LANG_OBJC; }
bool lang_is_csharp() { return source_language == LANG_CSHARP; }
bool lang_is_java() { return source_language == LANG_JAVA; }
bool family_is_ansi() { return compiler_family == FAMILY_ANSI; }
bool family_is_microsoft() { return compiler_family == FAMILY_MICROSOFT; }
bool family_is_borland() { return compiler_family == FAMILY_BORLAND; }

std::uint32_t pre_keyword_kind(const char *text) {
  const keyword_indexes &ix = indexes();
  std::string_view word(text ? text : "");
  if (word.size() > ix.longest) return TOK_NONE;  // no table holds a word this long
  std::uint32_t hash = word_hash(word.data(), word.size());
  std::uint32_t kind = search(ix.common, word, hash);
  if (kind == TOK_NONE) {
    if (compiler_family == FAMILY_MICROSOFT)
      kind = search(ix.microsoft, word, hash);
    else if (compiler_family == FAMILY_BORLAND)
      kind = search(ix.borland, word, hash);
  }
  if (kind == TOK_NONE && lang_not_c()) kind = search(ix.operators, word, hash);
  if (kind == TOK_NONE) {
    if (lang_is_csharp() && word == "foreach")
      kind = KW_FOREACH;
    else if (lang_is_java() && word == "finally")
      kind = KW_FINALLY;
    else if (lang_is_java() && word == "synchronized")
      kind = KW_SYNCHRONIZED;
  }
  if (lang_is_c() && ((kind >= KW_CLASS && kind <= KW_THREAD_LOCAL) || kind == KW_INHERITANCE))
    return TOK_NONE;
  return kind;
}
