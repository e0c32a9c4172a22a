// The table of names and scopes.
#include <gtest/gtest.h>

#include <algorithm>
#include <cctype>
#include <cstring>
#include <map>
#include <sstream>
#include <string>
#include <vector>

#include "emit/text_list.h"
#include "preparse/keywords.h"
#include "preparse/token.h"
#include "symbol/names.h"

namespace {

class Names : public ::testing::Test {
 protected:
  void SetUp() override {
    saved_language = source_language;
    saved_family = compiler_family;
    pre_set_language_dialect(LANG_CXX, "ANSI");
    pre_name_clear();
    text = pre_text_list_create();
  }
  void TearDown() override {
    pre_name_clear();
    pre_text_list_destroy(&text);
    source_language = saved_language;
    compiler_family = saved_family;
  }

  struct param_list {
    pre_text_piece *first;
    pre_text_piece *last;
  };

  // Copies a parameter list as the analysers do: one piece per token with its
  // blank, with a kind-0 line break and a line directive in between to be passed over.
  param_list params(const std::string &tokens) {
    std::istringstream in(tokens);
    std::string word;
    param_list list{nullptr, nullptr};
    int n = 0;
    while (in >> word) {
      pre_text_piece *p = pre_text_list_append(text, kind_of(word), 1, (word + " ").c_str());
      if (!list.first) list.first = p;
      list.last = p;
      if (++n == 2) pre_text_list_append(text, 0, 1, "\n");
      if (n == 3) pre_text_list_append(text, TOK_LINE_DIRECTIVE, 1, "#line 7 \"x.c\"\n");
    }
    pre_text_list_append(text, TOK_SEMI, 1, "; ");  // text behind the list is no part of it
    return list;
  }

  static std::uint32_t kind_of(const std::string &w) {
    static const std::map<std::string, std::uint32_t> punct = {
        {"(", TOK_LPAREN}, {")", TOK_RPAREN},   {",", TOK_COMMA},    {"=", TOK_ASSIGN},
        {"*", TOK_STAR},   {"&", TOK_AMP},      {"[", TOK_LBRACKET}, {"]", TOK_RBRACKET},
        {"{", TOK_LBRACE}, {"}", TOK_RBRACE},   {"...", TOK_ELLIPSIS}, {"-", TOK_OPERATOR},
    };
    auto it = punct.find(w);
    if (it != punct.end()) return it->second;
    if (std::isdigit(static_cast<unsigned char>(w[0]))) return TOK_INT_CONST;
    std::uint32_t kw = pre_keyword_kind(w.c_str());
    if (kw != TOK_NONE) return kw;
    return std::isupper(static_cast<unsigned char>(w[0])) ? TOK_TYPE_NAME : TOK_IDENT;
  }

  bool equal(const std::string &a, const std::string &b) {
    param_list la = params(a), lb = params(b);
    bool forward = pre_params_equal(la.first, la.last, lb.first, lb.last);
    bool backward = pre_params_equal(lb.first, lb.last, la.first, la.last);
    EXPECT_EQ(forward, backward) << a << " | " << b;
    return forward;
  }

  // Names of a bucket's chain, front to back.
  static std::vector<std::string> chain(std::uint32_t bucket) {
    std::vector<std::string> names;
    for (pre_name_node *n = g_names.buckets[bucket]; n; n = n->next) names.push_back(n->entry->name);
    return names;
  }

  static int count_named(const char *name) {
    int count = 0;
    for (pre_name_node *n = g_names.buckets[pre_name_bucket(name)]; n; n = n->next)
      if (std::strcmp(n->entry->name, name) == 0) ++count;
    return count;
  }

  static std::string qualified(const pre_name_entry *entry) {
    static char buffer[MAX_TOKEN + 1];
    pre_name_qualified(entry, buffer);
    return buffer;
  }

  pre_text_list *text = nullptr;
  std::uint32_t saved_language = 0;
  std::uint32_t saved_family = 0;
};

TEST_F(Names, BucketHashDoublesAndXorsSignedCharacters) {
  EXPECT_EQ(pre_name_bucket(""), 0u);
  EXPECT_EQ(pre_name_bucket("a"), 97u);
  EXPECT_EQ(pre_name_bucket("ab"), (97u * 2) ^ 98u);
  // A character above 127 counts as negative, so its sign bits reach the bucket.
  EXPECT_EQ(pre_name_bucket("\xE9"), 0x1FE9u);
  // Long names wrap in 32 bits and keep 13 bits.
  std::string longer(40, 'z');
  std::uint32_t h = 0;
  for (char c : longer) h = (h * 2) ^ static_cast<std::uint32_t>(static_cast<signed char>(c));
  EXPECT_EQ(pre_name_bucket(longer.c_str()), h & 0x1FFF);
  EXPECT_LT(pre_name_bucket(longer.c_str()), NAME_BUCKETS);
}

TEST_F(Names, ChainsStaySortedWhateverTheOrderOfAdding) {
  // Gather names that share one bucket, then add them in descending order.
  std::map<std::uint32_t, std::vector<std::string>> by_bucket;
  for (int i = 0; i < 40000; ++i) {
    std::string name = "n" + std::to_string(i);
    by_bucket[pre_name_bucket(name.c_str())].push_back(name);
  }
  std::uint32_t bucket = 0;
  for (auto &b : by_bucket)
    if (b.second.size() >= 5) {
      bucket = b.first;
      break;
    }
  std::vector<std::string> names = by_bucket[bucket];
  ASSERT_GE(names.size(), 5u);
  std::sort(names.begin(), names.end());
  for (auto it = names.rbegin(); it != names.rend(); ++it)
    ASSERT_NE(pre_name_add(it->c_str(), st_class, nullptr, nullptr), nullptr);
  pre_name_add_function(names[1].c_str(), "f.c", 3, nullptr, nullptr, nullptr, false, false);
  std::vector<std::string> expected = names;
  expected.insert(expected.begin() + 2, names[1]);
  EXPECT_EQ(chain(bucket), expected);
  for (const std::string &name : names)
    EXPECT_NE(pre_name_lookup(name.c_str(), nullptr, false), nullptr) << name;
}

TEST_F(Names, EntriesKeepWhatTheyWereGiven) {
  pre_name_entry *ns = pre_name_add("N", st_namespace, nullptr, nullptr);
  pre_name_entry *cls = pre_name_add("C", st_class, nullptr, ns);
  ASSERT_NE(ns, nullptr);
  ASSERT_NE(cls, nullptr);
  EXPECT_STREQ(cls->name, "C");
  EXPECT_EQ(cls->kind, st_class);
  EXPECT_EQ(pre_name_scope(cls), ns);
  EXPECT_EQ(pre_name_scope(ns), nullptr);
  EXPECT_EQ(pre_name_scope(nullptr), nullptr);

  param_list p = params("( int a )");
  pre_name_entry *f = pre_name_add_function("f", "src/a.cpp", 42, p.first, p.last, cls, true, true);
  const char *file = nullptr;
  std::uint32_t line = 0;
  pre_text_piece *first = nullptr, *last = nullptr;
  bool defined = false;
  pre_name_function_fields(f, &file, &line, &first, &last, &defined);
  EXPECT_STREQ(file, "src/a.cpp");
  EXPECT_EQ(line, 42u);
  EXPECT_EQ(first, p.first);
  EXPECT_EQ(last, p.last);
  EXPECT_TRUE(defined);
  EXPECT_TRUE(pre_name_is_template_member(f));
  EXPECT_FALSE(pre_name_is_template_member(cls));
  EXPECT_EQ(pre_name_scope(f), cls);
  // A function is no answer to the look-up of types, and the other way round.
  EXPECT_EQ(pre_name_lookup("f", cls, true), nullptr);
  EXPECT_EQ(pre_name_lookup_any_function("C", ns, true), nullptr);
  EXPECT_EQ(pre_name_lookup_any_function("f", cls, true), f);
}

TEST_F(Names, ReAddingANameChangesItsKindInPlace) {
  pre_name_entry *e = pre_name_add("X", st_class, nullptr, nullptr);
  pre_name_entry *base = pre_name_add("B", st_class, nullptr, nullptr);
  pre_name_add_base(base, e);
  ASSERT_NE(e->bases, nullptr);
  pre_name_entry *t = pre_name_add("T", st_class, nullptr, nullptr);
  // A typedef of a name known as a class: the same entry, its base list freed.
  EXPECT_EQ(pre_name_add("X", st_typedef, t, nullptr), e);
  EXPECT_EQ(e->kind, st_typedef);
  EXPECT_EQ(e->bases, nullptr);
  EXPECT_EQ(e->target, t);
  EXPECT_EQ(count_named("X"), 1);
  // Back to a class: no alias target any more.
  EXPECT_EQ(pre_name_add("X", st_class, nullptr, nullptr), e);
  EXPECT_EQ(e->target, nullptr);
  EXPECT_EQ(pre_name_add("X", st_template, nullptr, nullptr), e);
  EXPECT_TRUE(pre_name_is_template_kind(e));
  EXPECT_FALSE(pre_name_is_template_kind(t));
  EXPECT_FALSE(pre_name_is_template_kind(nullptr));
  // The same name in another scope is another entry.
  pre_name_entry *other = pre_name_add("X", st_enum, nullptr, t);
  EXPECT_NE(other, e);
  EXPECT_EQ(count_named("X"), 2);
  EXPECT_EQ(pre_name_lookup("X", nullptr, true), e);
  EXPECT_EQ(pre_name_lookup("X", t, true), other);
}

TEST_F(Names, TypedefOfAStructWithItsOwnNameAddsNothing) {
  pre_name_entry *s = pre_name_add("S", st_class, nullptr, nullptr);
  EXPECT_EQ(pre_name_add("S", st_typedef, s, nullptr), nullptr);
  EXPECT_EQ(count_named("S"), 1);
  EXPECT_EQ(pre_name_lookup("S", nullptr, false), s);
  EXPECT_EQ(s->kind, st_class);
  // In another scope the same words make an alias of the global struct.
  pre_name_entry *ns = pre_name_add("N", st_namespace, nullptr, nullptr);
  pre_name_entry *alias = pre_name_add("S", st_typedef, s, ns);
  ASSERT_NE(alias, nullptr);
  EXPECT_EQ(alias->target, s);
}

TEST_F(Names, TypedefsAreFollowedToWhatTheyAlias) {
  pre_name_entry *c = pre_name_add("C", st_class, nullptr, nullptr);
  pre_name_entry *a = pre_name_add("A", st_typedef, c, nullptr);
  pre_name_entry *b = pre_name_add("B", st_typedef, a, nullptr);
  EXPECT_EQ(b->target, c);  // stored already followed
  EXPECT_EQ(pre_name_follow_alias(b), c);
  // A scope given by an alias stands for the class itself.
  pre_name_entry *m = pre_name_add("M", st_class, nullptr, b);
  EXPECT_EQ(pre_name_scope(m), c);
  EXPECT_EQ(pre_name_lookup("M", a, true), m);
  pre_name_entry *f = pre_name_add_function("g", "x.cpp", 1, nullptr, nullptr, a, false, false);
  EXPECT_EQ(pre_name_scope(f), c);
  // A typedef of a pointer aliases nothing and is a type name of its own.
  pre_name_entry *p = pre_name_add("PC", st_typedef, nullptr, nullptr);
  EXPECT_EQ(p->target, nullptr);
  EXPECT_EQ(pre_name_follow_alias(p), nullptr);
}

TEST_F(Names, AliasesThatLeadBackDoNotHang) {
  pre_name_entry *c = pre_name_add("C", st_class, nullptr, nullptr);
  pre_name_entry *a = pre_name_add("A", st_typedef, c, nullptr);
  // C becomes an alias of A, which aliases C: no entry may alias itself.
  pre_name_entry *again = pre_name_add("C", st_typedef, a, nullptr);
  EXPECT_EQ(again, c);
  EXPECT_NE(c->target, c);
  EXPECT_FALSE(pre_name_is_template(a, true));
  EXPECT_EQ(pre_name_lookup("nothing", a, false), nullptr);
}

TEST_F(Names, LookupGoesUpwardUnlessLocalOnly) {
  pre_name_entry *outer = pre_name_add("outer", st_namespace, nullptr, nullptr);
  pre_name_entry *inner = pre_name_add("inner", st_namespace, nullptr, outer);
  pre_name_entry *cls = pre_name_add("K", st_class, nullptr, inner);
  pre_name_entry *global_t = pre_name_add("G", st_typedef, nullptr, nullptr);
  pre_name_entry *outer_t = pre_name_add("O", st_enum, nullptr, outer);
  pre_name_entry *shadow_outer = pre_name_add("S", st_class, nullptr, outer);
  pre_name_entry *shadow_inner = pre_name_add("S", st_class, nullptr, inner);

  EXPECT_EQ(pre_name_lookup("O", cls, false), outer_t);
  EXPECT_EQ(pre_name_lookup("G", cls, false), global_t);
  EXPECT_EQ(pre_name_lookup("O", cls, true), nullptr);
  EXPECT_EQ(pre_name_lookup("O", outer, true), outer_t);
  // The nearest scope wins.
  EXPECT_EQ(pre_name_lookup("S", cls, false), shadow_inner);
  EXPECT_EQ(pre_name_lookup("S", outer, false), shadow_outer);
  EXPECT_EQ(pre_name_lookup("S", nullptr, false), nullptr);
  // Global look-up sees only global names.
  EXPECT_EQ(pre_name_lookup("K", nullptr, false), nullptr);
  EXPECT_EQ(pre_name_lookup("missing", cls, false), nullptr);
  EXPECT_EQ(pre_name_lookup(nullptr, cls, false), nullptr);
}

TEST_F(Names, ABaseNameResolvesToTheBaseInADerivedClass) {
  pre_name_entry *ns = pre_name_add("lib", st_namespace, nullptr, nullptr);
  pre_name_entry *base = pre_name_add("Base", st_class, nullptr, ns);
  pre_name_entry *other = pre_name_add("Other", st_class, nullptr, ns);
  pre_name_entry *derived = pre_name_add("Derived", st_class, nullptr, nullptr);
  pre_name_add_base(base, derived);
  pre_name_add_base(other, derived);
  ASSERT_EQ(pre_list_count(derived->bases), 2u);
  // Base is not visible from the global level, but inside Derived its name is the base.
  EXPECT_EQ(pre_name_lookup("Base", nullptr, false), nullptr);
  EXPECT_EQ(pre_name_lookup("Base", derived, false), base);
  EXPECT_EQ(pre_name_lookup("Other", derived, true), other);
  // Also from a class nested in the derived one, on the way upward.
  pre_name_entry *nested = pre_name_add("Nested", st_class, nullptr, derived);
  EXPECT_EQ(pre_name_lookup("Base", nested, false), base);
  // Only classes have base lists.
  pre_name_add_base(base, ns);
  EXPECT_EQ(ns->bases, nullptr);
  // Becoming a class again starts with no bases.
  pre_name_add("Derived", st_class, nullptr, nullptr);
  EXPECT_EQ(derived->bases, nullptr);
  EXPECT_EQ(pre_name_lookup("Base", derived, false), nullptr);
}

TEST_F(Names, OverloadsAreFoundInTheOrderOfDeclaration) {
  pre_name_entry *ns = pre_name_add("N", st_namespace, nullptr, nullptr);
  pre_name_entry *f1 = pre_name_add_function("f", "a.cpp", 1, nullptr, nullptr, nullptr, false, false);
  pre_name_entry *f2 = pre_name_add_function("f", "a.cpp", 2, nullptr, nullptr, nullptr, false, false);
  pre_name_entry *f3 = pre_name_add_function("f", "a.cpp", 3, nullptr, nullptr, ns, false, false);
  pre_name_add("f", st_other, nullptr, nullptr);  // a variable f next to the functions
  EXPECT_EQ(count_named("f"), 4);
  EXPECT_EQ(pre_name_lookup_any_function("f", nullptr, false), f1);
  EXPECT_EQ(pre_name_lookup_any_function("f", ns, true), f3);
  pre_name_entry *cls = pre_name_add("C", st_class, nullptr, ns);
  EXPECT_EQ(pre_name_lookup_any_function("f", cls, false), f3);
  EXPECT_EQ(pre_name_lookup_any_function("f", cls, true), nullptr);
  pre_name_entry *ns2 = pre_name_add("M", st_namespace, nullptr, nullptr);
  EXPECT_EQ(pre_name_lookup_any_function("f", ns2, false), f1);
  std::vector<pre_name_entry *> order;
  for (pre_name_node *n = g_names.buckets[pre_name_bucket("f")]; n; n = n->next)
    if (n->entry->kind == st_function) order.push_back(n->entry);
  EXPECT_EQ(order, (std::vector<pre_name_entry *>{f1, f2, f3}));
}

TEST_F(Names, ParameterListsAllowForNamesAndDefaults) {
  EXPECT_TRUE(equal("( int a = 1 , char b )", "( int , char c )"));
  EXPECT_FALSE(equal("( int )", "( long )"));
  EXPECT_TRUE(equal("( int x , char * p )", "( int y , char * q )"));
  EXPECT_TRUE(equal("( const T & t )", "( const T & )"));
  EXPECT_TRUE(equal("( int = 1 )", "( int a )"));
  // A default value may hold brackets and commas of its own.
  EXPECT_TRUE(equal("( int a = f ( 1 , 2 ) , int b )", "( int , int )"));
  EXPECT_TRUE(equal("( int a = - 1 )", "( int )"));
  EXPECT_TRUE(equal("( )", "( )"));
  EXPECT_TRUE(equal("( void )", "( void )"));
  EXPECT_FALSE(equal("( void )", "( )"));
  EXPECT_FALSE(equal("( int )", "( int , char )"));
  EXPECT_FALSE(equal("( int a , char b )", "( int a , long b )"));
  EXPECT_FALSE(equal("( int * )", "( int & )"));
  // Two different names at one place are a type and a parameter name, not two names.
  EXPECT_FALSE(equal("( A x )", "( B x )"));
  EXPECT_TRUE(equal("( A x )", "( A y )"));
  // The walk ends when either list is at its end.
  EXPECT_TRUE(equal("( int ) const", "( int )"));
  EXPECT_TRUE(pre_params_equal(nullptr, nullptr, nullptr, nullptr));
}

TEST_F(Names, DefinitionFindsItsDeclaration) {
  param_list d_int = params("( int a )");
  param_list d_long = params("( long )");
  pre_name_entry *cls = pre_name_add("X", st_class, nullptr, nullptr);
  // One declaration in the class: found for its definition whatever the parameters.
  pre_name_entry *member = pre_name_add_function("f", "a.cpp", 1, d_int.first, d_int.last, cls, false, false);
  param_list def = params("( double d , int )");
  EXPECT_EQ(pre_name_lookup_function("f", def.first, def.last, cls), member);
  // Found through an alias of the class as well.
  pre_name_entry *alias = pre_name_add("XA", st_typedef, cls, nullptr);
  EXPECT_EQ(pre_name_lookup_function("f", def.first, def.last, alias), member);
  // Two declarations in the class: the parameters decide.
  pre_name_entry *member2 = pre_name_add_function("f", "a.cpp", 2, d_long.first, d_long.last, cls, false, false);
  param_list def_long = params("( long v )");
  EXPECT_EQ(pre_name_lookup_function("f", def_long.first, def_long.last, cls), member2);
  param_list def_int = params("( int b )");
  EXPECT_EQ(pre_name_lookup_function("f", def_int.first, def_int.last, cls), member);
  EXPECT_EQ(pre_name_lookup_function("f", def.first, def.last, cls), nullptr);
  // Definitions are no declarations to be found.
  pre_name_add_function("g", "a.cpp", 3, d_int.first, d_int.last, cls, true, false);
  EXPECT_EQ(pre_name_lookup_function("g", d_int.first, d_int.last, cls), nullptr);
  EXPECT_EQ(pre_name_lookup_function("h", d_int.first, d_int.last, cls), nullptr);
}

TEST_F(Names, GlobalDefinitionsCompareParametersExceptInC) {
  param_list d_int = params("( int )");
  param_list def_long = params("( long n )");
  pre_name_entry *decl = pre_name_add_function("f", "a.c", 1, d_int.first, d_int.last, nullptr, false, false);
  // C++: even a single global declaration must match, since it may be an overload.
  EXPECT_EQ(pre_name_lookup_function("f", def_long.first, def_long.last, nullptr), nullptr);
  param_list def_int = params("( int n )");
  EXPECT_EQ(pre_name_lookup_function("f", def_int.first, def_int.last, nullptr), decl);
  // C has no overloads: the one declaration is taken as it is.
  pre_set_language_dialect(LANG_C, "ANSI");
  EXPECT_EQ(pre_name_lookup_function("f", def_long.first, def_long.last, nullptr), decl);
  EXPECT_EQ(pre_name_lookup_function("missing", def_long.first, def_long.last, nullptr), nullptr);
  // With two declarations, C too compares the parameters.
  param_list d_long = params("( long )");
  pre_name_entry *decl2 = pre_name_add_function("f", "a.c", 2, d_long.first, d_long.last, nullptr, false, false);
  EXPECT_EQ(pre_name_lookup_function("f", def_long.first, def_long.last, nullptr), decl2);
}

TEST_F(Names, UsingListsHoldEachNamespaceOnce) {
  pre_name_entry *g = pre_name_global_scope();
  pre_name_add_using("a", g);
  EXPECT_STREQ(g->using_list, ";a;");
  pre_name_add_using("a", g);
  EXPECT_STREQ(g->using_list, ";a;");
  pre_name_add_using("ab", g);
  pre_name_add_using("b", g);
  pre_name_add_using("a", g);
  EXPECT_STREQ(g->using_list, ";a;ab;b;");
  // A name that is only part of a listed name is a name of its own.
  pre_name_entry *s = pre_name_add("S", st_namespace, nullptr, nullptr);
  pre_name_add_using("std::chrono", s);
  pre_name_add_using("std", s);
  EXPECT_STREQ(s->using_list, ";std::chrono;std;");
  pre_name_add_using("x", nullptr);  // no scope: nothing to record
}

TEST_F(Names, UsingNamespacesMakeTheirNamesVisible) {
  pre_name_entry *a = pre_name_add("a", st_namespace, nullptr, nullptr);
  pre_name_entry *ab = pre_name_add("ab", st_namespace, nullptr, nullptr);
  pre_name_entry *b = pre_name_add("b", st_namespace, nullptr, nullptr);
  pre_name_entry *in_a = pre_name_add("T", st_class, nullptr, a);
  pre_name_entry *in_ab = pre_name_add("U", st_class, nullptr, ab);
  pre_name_entry *in_b = pre_name_add("V", st_class, nullptr, b);
  pre_name_add("W", st_class, nullptr, nullptr);

  // Nothing is used before a using directive.
  EXPECT_EQ(pre_name_lookup_using_global("T"), nullptr);
  pre_name_add_using("a", pre_name_global_scope());
  EXPECT_EQ(pre_name_lookup_using_global("T"), in_a);
  EXPECT_EQ(pre_name_lookup_using_global("U"), nullptr);  // "ab" is not "a"
  EXPECT_EQ(pre_name_lookup_using_global("V"), nullptr);
  EXPECT_EQ(pre_name_lookup_using_global("W"), nullptr);  // global names have no scope

  // A using directive inside a scope, reached also through an alias of it.
  pre_name_entry *cls = pre_name_add("C", st_class, nullptr, nullptr);
  pre_name_entry *alias = pre_name_add("CA", st_typedef, cls, nullptr);
  pre_name_add_using("b", cls);
  EXPECT_EQ(pre_name_lookup_using_scope("V", alias), in_b);
  EXPECT_EQ(pre_name_lookup_using_scope("V", cls), in_b);
  EXPECT_EQ(pre_name_lookup_using_scope("T", cls), nullptr);
  EXPECT_EQ(pre_name_lookup_using_scope("V", nullptr), nullptr);
  EXPECT_EQ(pre_name_lookup_using_global("V"), nullptr);
  pre_name_add_using("ab", pre_name_global_scope());
  EXPECT_EQ(pre_name_lookup_using_global("U"), in_ab);
}

TEST_F(Names, TheGlobalScopeEntry) {
  pre_name_entry *g = pre_name_global_scope();
  ASSERT_NE(g, nullptr);
  EXPECT_STREQ(g->name, "global scope");
  EXPECT_EQ(g->kind, st_namespace);
  EXPECT_EQ(pre_name_scope(g), nullptr);
  EXPECT_EQ(g->using_list, nullptr);
  EXPECT_EQ(pre_name_global_scope(), g);
  // Global names do not lie in it.
  pre_name_entry *x = pre_name_add("x", st_other, nullptr, nullptr);
  EXPECT_EQ(pre_name_scope(x), nullptr);
  EXPECT_EQ(qualified(x), "x");
}

TEST_F(Names, QualifiedNamesCarryTheirScopes) {
  pre_name_entry *a = pre_name_add("A", st_namespace, nullptr, nullptr);
  pre_name_entry *b = pre_name_add("B", st_class, nullptr, a);
  pre_name_entry *f = pre_name_add_function("f", "a.cpp", 1, nullptr, nullptr, b, true, false);
  EXPECT_EQ(qualified(f), "A::B::f");
  EXPECT_EQ(qualified(b), "A::B");
  EXPECT_EQ(qualified(a), "A");
  EXPECT_EQ(qualified(nullptr), "");
  // A scope that would take the text past its limit ends the text before it.
  std::string huge(MAX_TOKEN - 5, 'h');
  pre_name_entry *big = pre_name_add(huge.c_str(), st_namespace, nullptr, nullptr);
  pre_name_entry *mid = pre_name_add("mid", st_namespace, nullptr, big);
  pre_name_entry *leaf = pre_name_add("x", st_class, nullptr, mid);
  EXPECT_EQ(qualified(leaf), "mid::x");
  pre_name_entry *tiny = pre_name_add("t", st_class, nullptr, big);  // "hh..h::t" still fits
  EXPECT_EQ(qualified(tiny).size(), MAX_TOKEN - 2);
}

TEST_F(Names, TemplateMarks) {
  pre_name_entry *c = pre_name_add("Vec", st_class, nullptr, nullptr);
  EXPECT_FALSE(pre_name_is_template(c, false));
  pre_name_mark_template(c, true);
  EXPECT_TRUE(pre_name_is_template(c, false));
  pre_name_entry *alias = pre_name_add("IntVec", st_typedef, c, nullptr);
  EXPECT_FALSE(pre_name_is_template(alias, false));
  EXPECT_TRUE(pre_name_is_template(alias, true));
  EXPECT_FALSE(pre_name_is_template(nullptr, true));
  // Entering the class again (its definition after a declaration) clears the mark.
  pre_name_add("Vec", st_class, nullptr, nullptr);
  EXPECT_FALSE(pre_name_is_template(c, false));
  pre_name_mark_template(c, true);
  pre_name_mark_template(c, false);
  EXPECT_FALSE(pre_name_is_template(c, false));
  // Only classes count as templates; variable templates and concepts have a kind of their own.
  pre_name_entry *v = pre_name_add("pi", st_template, nullptr, nullptr);
  pre_name_mark_template(v, true);
  EXPECT_FALSE(pre_name_is_template(v, false));
  EXPECT_TRUE(pre_name_is_template_kind(v));
  pre_name_entry *tf = pre_name_add_function("make", "a.cpp", 1, nullptr, nullptr, nullptr, false, true);
  pre_name_entry *pf = pre_name_add_function("plain", "a.cpp", 2, nullptr, nullptr, nullptr, false, false);
  EXPECT_TRUE(pre_name_is_template_member(tf));
  EXPECT_FALSE(pre_name_is_template_member(pf));
  EXPECT_FALSE(pre_name_is_template_member(nullptr));
}

TEST_F(Names, ClearingEmptiesTheTableForTheNextFile) {
  pre_name_entry *g = pre_name_global_scope();
  pre_name_add_using("std", g);
  pre_name_entry *ns = pre_name_add("std", st_namespace, nullptr, nullptr);
  pre_name_entry *cls = pre_name_add("string", st_class, nullptr, ns);
  pre_name_add_base(pre_name_add("base", st_class, nullptr, ns), cls);
  pre_name_add_function("f", "a.cpp", 1, nullptr, nullptr, cls, false, false);
  pre_name_clear();
  for (std::uint32_t i = 0; i < NAME_BUCKETS; ++i) ASSERT_EQ(g_names.buckets[i], nullptr) << i;
  EXPECT_EQ(pre_name_lookup("std", nullptr, false), nullptr);
  EXPECT_EQ(pre_name_lookup_using_global("string"), nullptr);
  // The next file gets a fresh global scope with an empty using list.
  pre_name_entry *g2 = pre_name_global_scope();
  EXPECT_EQ(g2->using_list, nullptr);
  EXPECT_EQ(count_named("global scope"), 1);
  pre_name_clear();
  pre_name_clear();  // clearing an empty table is harmless
  EXPECT_EQ(count_named("global scope"), 0);
}

}  // namespace
