// Keywords by language and compiler family.
#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <vector>

#include "config/config.h"
#include "preparse/keywords.h"
#include "preparse/token.h"

namespace {

const std::uint32_t all_languages[] = {LANG_C, LANG_CXX, LANG_OBJC, LANG_CSHARP, LANG_JAVA};
const char *const all_dialects[] = {"ANSI", "MICROSOFT", "BORLAND"};

// Keeps the shared language and family of the surrounding run intact.
class Keywords : public ::testing::Test {
 protected:
  void SetUp() override {
    saved_language = source_language;
    saved_family = compiler_family;
  }
  void TearDown() override {
    source_language = saved_language;
    compiler_family = saved_family;
  }
  // Kind of a word in a language under a dialect text.
  static std::uint32_t kind_in(std::uint32_t language, const char *dialect, const char *word) {
    pre_set_language_dialect(language, dialect);
    return pre_keyword_kind(word);
  }
  std::uint32_t saved_language = 0;
  std::uint32_t saved_family = 0;
};

struct word_kind {
  const char *word;
  std::uint32_t kind;
};

TEST_F(Keywords, DialectTextsMapToFamiliesExactly) {
  EXPECT_EQ(pre_family_of_dialect("ANSI"), FAMILY_ANSI);
  EXPECT_EQ(pre_family_of_dialect("MICROSOFT"), FAMILY_MICROSOFT);
  EXPECT_EQ(pre_family_of_dialect("BORLAND"), FAMILY_BORLAND);
  // No case folding, no trimming: only the exact texts select a family.
  EXPECT_EQ(pre_family_of_dialect("microsoft"), FAMILY_ANSI);
  EXPECT_EQ(pre_family_of_dialect("BORLAND "), FAMILY_ANSI);
  EXPECT_EQ(pre_family_of_dialect(""), FAMILY_ANSI);
  EXPECT_EQ(pre_family_of_dialect(nullptr), FAMILY_ANSI);
}

TEST_F(Keywords, CxxReadsDialectCxxAndEveryOtherLanguageDialectC) {
  EXPECT_STREQ(pre_dialect_parameter(LANG_CXX), "DIALECT_CXX");
  // Objective-C, C# and Java are analysed with the C dialect although they are not C.
  for (std::uint32_t language : {LANG_C, LANG_OBJC, LANG_CSHARP, LANG_JAVA})
    EXPECT_STREQ(pre_dialect_parameter(language), "DIALECT_C") << language;
}

TEST_F(Keywords, SettingTheLanguageSettlesTheFamilyFromTheConfiguration) {
  for (std::uint32_t language : all_languages) {
    // A family left over from the previous file must not survive.
    pre_set_language_dialect(LANG_CXX, language == LANG_CXX ? "BORLAND" : "MICROSOFT");
    pre_set_language(language);
    EXPECT_EQ(source_language, language);
    EXPECT_EQ(compiler_family, pre_family_of_dialect(conf_get(pre_dialect_parameter(language))))
        << language;
  }
}

TEST_F(Keywords, EachFileHasItsOwnFamily) {
  // One command may compile a C file under one dialect and a C++ file under another.
  pre_set_language_dialect(LANG_C, "MICROSOFT");
  EXPECT_TRUE(family_is_microsoft());
  EXPECT_EQ(pre_keyword_kind("__int64"), KW_SIZED_INT);
  pre_set_language_dialect(LANG_CXX, "ANSI");
  EXPECT_TRUE(family_is_ansi());
  EXPECT_EQ(pre_keyword_kind("__int64"), TOK_NONE);
  pre_set_language_dialect(LANG_OBJC, "BORLAND");
  EXPECT_TRUE(family_is_borland());
  EXPECT_EQ(pre_keyword_kind("_cs"), KW_MODIFIER);
}

TEST_F(Keywords, LanguageAndFamilyPredicates) {
  struct row {
    std::uint32_t language;
    bool not_c, is_c, objc, csharp, java;
  } rows[] = {
      {LANG_C, false, true, false, false, false},   {LANG_CXX, true, false, false, false, false},
      {LANG_OBJC, true, false, true, false, false}, {LANG_CSHARP, true, false, false, true, false},
      {LANG_JAVA, true, false, false, false, true},
  };
  for (const row &r : rows) {
    pre_set_language_dialect(r.language, "ANSI");
    EXPECT_EQ(lang_not_c(), r.not_c) << r.language;
    EXPECT_EQ(lang_is_c(), r.is_c) << r.language;
    EXPECT_EQ(lang_is_objc(), r.objc) << r.language;
    EXPECT_EQ(lang_is_csharp(), r.csharp) << r.language;
    EXPECT_EQ(lang_is_java(), r.java) << r.language;
  }
  pre_set_language_dialect(LANG_C, "ANSI");
  EXPECT_TRUE(family_is_ansi());
  EXPECT_FALSE(family_is_microsoft() || family_is_borland());
  pre_set_language_dialect(LANG_C, "MICROSOFT");
  EXPECT_TRUE(family_is_microsoft());
  EXPECT_FALSE(family_is_ansi() || family_is_borland());
  pre_set_language_dialect(LANG_C, "BORLAND");
  EXPECT_TRUE(family_is_borland());
  EXPECT_FALSE(family_is_ansi() || family_is_microsoft());
}

TEST_F(Keywords, CommonWordsAreKeywordsInEveryLanguageAndFamily) {
  const word_kind words[] = {
      {"auto", KW_AUTO},         {"break", KW_BREAK},         {"case", KW_CASE},
      {"char", KW_CHAR},         {"const", KW_CONST},         {"continue", KW_CONTINUE},
      {"default", KW_DEFAULT},   {"do", KW_DO},               {"double", KW_DOUBLE},
      {"else", KW_ELSE},         {"enum", KW_ENUM},           {"extern", KW_EXTERN},
      {"float", KW_FLOAT},       {"for", KW_FOR},             {"goto", KW_GOTO},
      {"if", KW_IF},             {"int", KW_INT},             {"long", KW_LONG},
      {"register", KW_REGISTER}, {"return", KW_RETURN},       {"short", KW_SHORT},
      {"signed", KW_SIGNED},     {"sizeof", KW_SIZEOF},       {"static", KW_STATIC},
      {"struct", KW_STRUCT},     {"switch", KW_SWITCH},       {"typedef", KW_TYPEDEF},
      {"union", KW_UNION},       {"unsigned", KW_UNSIGNED},   {"void", KW_VOID},
      {"volatile", KW_VOLATILE}, {"__volatile__", KW_VOLATILE}, {"__volatile", KW_VOLATILE},
      {"while", KW_WHILE},       {"_declspec", KW_DECLSPEC},  {"__declspec", KW_DECLSPEC},
      {"asm", KW_ASM},           {"__asm", KW_ASM},           {"_asm", KW_ASM},
      {"__asm__", KW_ASM},       {"__try", KW_SEH_TRY},       {"__except", KW_SEH_EXCEPT},
      {"__finally", KW_FINALLY}, {"__attribute__", KW_ATTRIBUTE}, {"__attribute", KW_ATTRIBUTE},
      {"__extension__", KW_EXTENSION}, {"__restrict__", KW_RESTRICT}, {"__restrict", KW_RESTRICT},
      {"@", TOK_AT},
  };
  for (std::uint32_t language : all_languages)
    for (const char *dialect : all_dialects)
      for (const word_kind &w : words)
        EXPECT_EQ(kind_in(language, dialect, w.word), w.kind)
            << w.word << " language " << language << " " << dialect;
}

TEST_F(Keywords, CxxWordsAreKeywordsOutsideCOnly) {
  const word_kind words[] = {
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
  for (const char *dialect : all_dialects) {
    for (const word_kind &w : words) {
      EXPECT_EQ(kind_in(LANG_C, dialect, w.word), TOK_NONE) << w.word << " in C, " << dialect;
      for (std::uint32_t language : {LANG_CXX, LANG_OBJC, LANG_CSHARP, LANG_JAVA})
        EXPECT_EQ(kind_in(language, dialect, w.word), w.kind)
            << w.word << " language " << language << " " << dialect;
    }
  }
}

TEST_F(Keywords, WordsNoTableHoldsStayIdentifiers) {
  const char *words[] = {"override", "final", "sealed", "abstract", "naked", "each",
                         "costate", "interface", "implementation", "end", "concept",
                         "requires", "add", "remove", "get", "set", "__irq", "__swi",
                         "fallthrough", "autoreleasepool", "main", ""};
  for (std::uint32_t language : all_languages)
    for (const char *dialect : all_dialects)
      for (const char *word : words)
        EXPECT_EQ(kind_in(language, dialect, word), TOK_NONE)
            << word << " language " << language << " " << dialect;
}

TEST_F(Keywords, ComparisonIsCaseSensitiveAndWhole) {
  const char *words[] = {"Class", "WHILE", "If", "__INT64", "__Cdecl", "whil", "while_",
                         "inlinE", "And", "_Int64", "int "};
  for (std::uint32_t language : all_languages)
    for (const char *dialect : all_dialects)
      for (const char *word : words)
        EXPECT_EQ(kind_in(language, dialect, word), TOK_NONE) << "'" << word << "'";
}

TEST_F(Keywords, ClassIsAKeywordInCxxAndAnIdentifierInC) {
  EXPECT_EQ(kind_in(LANG_CXX, "ANSI", "class"), KW_CLASS);
  EXPECT_EQ(kind_in(LANG_C, "ANSI", "class"), TOK_NONE);
  // The neighbours of the C++ range stay keywords in C.
  EXPECT_EQ(kind_in(LANG_C, "ANSI", "asm"), KW_ASM);        // 303
  EXPECT_EQ(kind_in(LANG_C, "ANSI", "__try"), KW_SEH_TRY);  // 346
  EXPECT_EQ(kind_in(LANG_C, "ANSI", "__except"), KW_SEH_EXCEPT);
  EXPECT_EQ(kind_in(LANG_C, "ANSI", "__finally"), KW_FINALLY);
  EXPECT_EQ(kind_in(LANG_C, "ANSI", "__attribute__"), KW_ATTRIBUTE);
}

TEST_F(Keywords, SizedIntegersUnderMicrosoftOnly) {
  const char *words[] = {"_int8", "_int16", "_int32", "_int64",
                         "__int8", "__int16", "__int32", "__int64"};
  for (std::uint32_t language : all_languages) {
    for (const char *word : words) {
      EXPECT_EQ(kind_in(language, "MICROSOFT", word), KW_SIZED_INT) << word;
      EXPECT_EQ(kind_in(language, "ANSI", word), TOK_NONE) << word;
      EXPECT_EQ(kind_in(language, "BORLAND", word), TOK_NONE) << word;
    }
  }
}

TEST_F(Keywords, ModifiersByFamily) {
  for (std::uint32_t language : all_languages) {
    // Both families.
    for (const char *word : {"__cdecl", "cdecl", "far", "pascal", "__fastcall", "__stdcall",
                             "_export", "__import", "_far16", "__far16"}) {
      EXPECT_EQ(kind_in(language, "MICROSOFT", word), KW_MODIFIER) << word;
      EXPECT_EQ(kind_in(language, "BORLAND", word), KW_MODIFIER) << word;
      EXPECT_EQ(kind_in(language, "ANSI", word), TOK_NONE) << word;
    }
    // MICROSOFT only.
    for (const char *word : {"__inline", "_inline", "fortran", "_fortran", "__fortran",
                             "_Seg16", "__Seg16"}) {
      EXPECT_EQ(kind_in(language, "MICROSOFT", word), KW_MODIFIER) << word;
      EXPECT_EQ(kind_in(language, "BORLAND", word), TOK_NONE) << word;
      EXPECT_EQ(kind_in(language, "ANSI", word), TOK_NONE) << word;
    }
    // BORLAND only.
    for (const char *word : {"_cs", "_ds", "_es", "_ss", "__cs", "__ds", "__es", "__ss",
                             "__rtti", "__thread", "_import", "_syscall"}) {
      EXPECT_EQ(kind_in(language, "BORLAND", word), KW_MODIFIER) << word;
      EXPECT_EQ(kind_in(language, "MICROSOFT", word), TOK_NONE) << word;
      EXPECT_EQ(kind_in(language, "ANSI", word), TOK_NONE) << word;
    }
  }
}

TEST_F(Keywords, OtherFamilyWords) {
  for (std::uint32_t language : all_languages) {
    // Segments: different spellings per family.
    for (const char *word : {"_segment", "__segment"}) {
      EXPECT_EQ(kind_in(language, "MICROSOFT", word), KW_SEGMENT) << word;
      EXPECT_EQ(kind_in(language, "BORLAND", word), TOK_NONE) << word;
    }
    for (const char *word : {"_seg", "__seg"}) {
      EXPECT_EQ(kind_in(language, "BORLAND", word), KW_SEGMENT) << word;
      EXPECT_EQ(kind_in(language, "MICROSOFT", word), TOK_NONE) << word;
    }
    const word_kind microsoft_only[] = {
        {"_based", KW_BASED},         {"__based", KW_BASED},
        {"_leave", KW_SEH_LEAVE},     {"__leave", KW_SEH_LEAVE},
        {"__pragma", KW_PRAGMA_OP},   {"__if_exists", KW_IF_EXISTS},
        {"__if_not_exists", KW_IF_EXISTS},
    };
    for (const word_kind &w : microsoft_only) {
      EXPECT_EQ(kind_in(language, "MICROSOFT", w.word), w.kind) << w.word;
      EXPECT_EQ(kind_in(language, "BORLAND", w.word), TOK_NONE) << w.word;
      EXPECT_EQ(kind_in(language, "ANSI", w.word), TOK_NONE) << w.word;
    }
    // A word of the common table keeps its kind in a family that lists it too.
    for (const char *dialect : all_dialects) EXPECT_EQ(kind_in(language, dialect, "__asm"), KW_ASM);
  }
}

TEST_F(Keywords, InheritanceWordsAreCxxOnlyUnderMicrosoft) {
  const char *words[] = {"_single_inheritance", "_multiple_inheritance", "_virtual_inheritance",
                         "__single_inheritance", "__multiple_inheritance",
                         "__virtual_inheritance"};
  for (const char *word : words) {
    EXPECT_EQ(kind_in(LANG_CXX, "MICROSOFT", word), KW_INHERITANCE) << word;
    EXPECT_EQ(kind_in(LANG_C, "MICROSOFT", word), TOK_NONE) << word;
    EXPECT_EQ(kind_in(LANG_CXX, "ANSI", word), TOK_NONE) << word;
    EXPECT_EQ(kind_in(LANG_CXX, "BORLAND", word), TOK_NONE) << word;
  }
  // Other MICROSOFT words stay keywords in C: only the inheritance words are dropped.
  EXPECT_EQ(kind_in(LANG_C, "MICROSOFT", "__inline"), KW_MODIFIER);
  EXPECT_EQ(kind_in(LANG_C, "MICROSOFT", "__based"), KW_BASED);
  EXPECT_EQ(kind_in(LANG_C, "MICROSOFT", "__leave"), KW_SEH_LEAVE);
}

TEST_F(Keywords, AlternativeOperatorWordsOutsideC) {
  const word_kind words[] = {
      {"and", TOK_ANDAND},       {"and_eq", TOK_ASSIGN_OP}, {"bitand", TOK_AMP},
      {"bitor", TOK_OPERATOR},   {"compl", TOK_TILDE},      {"not", TOK_NOT},
      {"not_eq", TOK_OPERATOR},  {"or", TOK_OROR},          {"or_eq", TOK_ASSIGN_OP},
      {"xor", TOK_OPERATOR},     {"xor_eq", TOK_ASSIGN_OP},
  };
  for (const char *dialect : all_dialects) {
    for (const word_kind &w : words) {
      EXPECT_EQ(kind_in(LANG_C, dialect, w.word), TOK_NONE) << w.word;
      for (std::uint32_t language : {LANG_CXX, LANG_OBJC, LANG_CSHARP, LANG_JAVA})
        EXPECT_EQ(kind_in(language, dialect, w.word), w.kind) << w.word << " " << language;
    }
  }
}

TEST_F(Keywords, WordsOfOneLanguage) {
  const std::uint32_t none = TOK_NONE;
  for (const char *dialect : all_dialects) {
    for (std::uint32_t language : all_languages) {
      EXPECT_EQ(kind_in(language, dialect, "foreach"),
                language == LANG_CSHARP ? KW_FOREACH : none)
          << language;
      EXPECT_EQ(kind_in(language, dialect, "synchronized"),
                language == LANG_JAVA ? KW_SYNCHRONIZED : none)
          << language;
      // In C# `finally` stays an identifier; `__finally` is a keyword everywhere.
      EXPECT_EQ(kind_in(language, dialect, "finally"),
                language == LANG_JAVA ? KW_FINALLY : none)
          << language;
      EXPECT_EQ(kind_in(language, dialect, "__finally"), KW_FINALLY) << language;
    }
  }
}

TEST_F(Keywords, ObjectiveCUsesTheCDialectYetKeepsCxxWords) {
  // An Objective-C file reads DIALECT_C, yet it is no C file for the keyword rules.
  pre_set_language_dialect(LANG_OBJC, "MICROSOFT");
  EXPECT_TRUE(lang_not_c());
  EXPECT_EQ(pre_keyword_kind("class"), KW_CLASS);
  EXPECT_EQ(pre_keyword_kind("__single_inheritance"), KW_INHERITANCE);
  EXPECT_EQ(pre_keyword_kind("and"), TOK_ANDAND);
  EXPECT_EQ(pre_keyword_kind("__int32"), KW_SIZED_INT);
  EXPECT_EQ(pre_keyword_kind("@"), TOK_AT);
}

TEST_F(Keywords, KindsHaveTheirFixedNumbers) {
  // The numbers are shared with the symbol records and the other analysers.
  EXPECT_EQ(KW_AUTO, 266u);
  EXPECT_EQ(KW_WHILE, 297u);
  EXPECT_EQ(KW_ASM, 303u);
  EXPECT_EQ(KW_CLASS, 304u);
  EXPECT_EQ(KW_NOEXCEPT, 339u);
  EXPECT_EQ(KW_NULLPTR, 343u);
  EXPECT_EQ(KW_THREAD_LOCAL, 345u);
  EXPECT_EQ(KW_FINALLY, 348u);
  EXPECT_EQ(KW_SEH_LEAVE, 380u);
  EXPECT_EQ(KW_RESTRICT, 386u);
  EXPECT_EQ(KW_FOREACH, 388u);
  EXPECT_EQ(KW_SYNCHRONIZED, 402u);
  // Keyword kinds never collide with the other token kinds around them.
  EXPECT_EQ(KW_AUTO, TOK_FLOAT_CONST + 1);
  EXPECT_EQ(KW_FINALLY + 1, TOK_SCOPE);
  EXPECT_EQ(KW_SEH_LEAVE, TOK_DIRECTIVE + 1);
  EXPECT_EQ(KW_RESTRICT + 1, TOK_USHR);
  EXPECT_EQ(KW_FOREACH, TOK_USHR + 1);
  EXPECT_EQ(KW_SYNCHRONIZED, TOK_LAMBDA_ARROW + 1);
}

}  // namespace
