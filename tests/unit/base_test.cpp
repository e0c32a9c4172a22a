// Memory, strings, lists and the text map.
#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "base/base.h"

namespace {

TEST(StringBuilder, GrowsToTwiceTheNeedMinusTheOldCapacity) {
  char *text = nullptr;
  std::uint64_t cap = 0;
  pre_str_builder_append(&text, &cap, "123456789");
  EXPECT_EQ(cap, 20u);
  EXPECT_STREQ(text, "123456789");
  pre_str_builder_append(&text, &cap, "abcdefghijklmnopqrst");
  EXPECT_EQ(cap, 40u);
  EXPECT_STREQ(text, "123456789abcdefghijklmnopqrst");
  pre_str_builder_set(&text, &cap, "short");
  EXPECT_EQ(cap, 40u);  // fits: done in place
  EXPECT_STREQ(text, "short");
  std::free(text);
}

TEST(Strings, CatBoundedCutsSilentlyAndLeavesAFullDestinationAlone) {
  char buf[8] = "abc";
  pre_str_cat_bounded(buf, "defghijk", sizeof buf);
  EXPECT_STREQ(buf, "abcdefg");
  pre_str_cat_bounded(buf, "xyz", sizeof buf);
  EXPECT_STREQ(buf, "abcdefg");
}

TEST(Strings, TrimLowerEscapeUnescape) {
  char blanks[] = " \t\n  ";
  pre_str_trim(blanks);
  EXPECT_STREQ(blanks, "");
  char t[] = "\t  a b \n";
  pre_str_trim(t);
  EXPECT_STREQ(t, "a b");
  char l[] = "AbC_9Z";
  pre_str_lower(l);
  EXPECT_STREQ(l, "abc_9z");
  char *e = pre_str_escape('\\', "c:\\dir\\a.c");
  EXPECT_STREQ(e, "c:\\\\dir\\\\a.c");
  pre_str_unescape(e);
  EXPECT_STREQ(e, "c:\\dir\\a.c");
  std::free(e);
  char *q = pre_str_escape('"', "f(\"x\")");
  EXPECT_STREQ(q, "f(\\\"x\\\")");
  std::free(q);
}

TEST(Strings, ReplaceAll) {
  char *t = pre_str_replace_all(pre_xstrdup("no line feed"), "\n", "");
  EXPECT_STREQ(t, "no line feed");
  t = pre_str_replace_all(t, "e", "EE");
  EXPECT_STREQ(t, "no linEE fEEEEd");
  t = pre_str_replace_all(t, "EE", "");
  EXPECT_STREQ(t, "no lin fd");
  std::free(t);
  char *overlap = pre_str_replace_all(pre_xstrdup("aaa"), "aa", "b");
  EXPECT_STREQ(overlap, "ba");
  std::free(overlap);
}

TEST(List, CursorFindRemove) {
  pre_list *list = pre_list_new(pre_list_text_equal);
  EXPECT_EQ(pre_list_first(list), nullptr);
  EXPECT_EQ(pre_list_next(list), nullptr);
  char a[] = "a", b[] = "b", c[] = "c";
  pre_list_add(list, a);
  pre_list_add(list, b);
  pre_list_add(list, c);
  EXPECT_EQ(pre_list_first(list), a);
  // Removing the item under the cursor keeps the cursor valid.
  EXPECT_EQ(pre_list_remove(list, "b"), b);
  EXPECT_EQ(pre_list_next(list), c);
  EXPECT_EQ(pre_list_next(list), nullptr);
  EXPECT_EQ(pre_list_find(list, "c"), c);
  EXPECT_EQ(pre_list_remove(list, "c"), c);
  char d[] = "d";
  pre_list_add(list, d);  // the tail moved back to "a"
  EXPECT_EQ(pre_list_count(list), 2u);
  EXPECT_EQ(pre_list_first(list), a);
  EXPECT_EQ(pre_list_next(list), d);
  pre_list_free(list);
}

TEST(List, WithoutComparatorFindsTheSamePointer) {
  pre_list *list = pre_list_new(nullptr);
  char x[] = "x";
  char y[] = "x";
  pre_list_add(list, x);
  EXPECT_EQ(pre_list_find(list, x), x);
  EXPECT_EQ(pre_list_find(list, y), nullptr);
  pre_list_free(list);
}

TEST(StrMap, ThousandKeysByDoublingAndReplacement) {
  pre_str_map *map = pre_str_map_new();
  ASSERT_NE(map, nullptr);
  EXPECT_EQ(map->capacity, 256u);
  std::vector<std::string> keys;
  for (int i = 0; i < 1000; i++) keys.push_back("key" + std::to_string(i));
  for (int i = 0; i < 1000; i++)
    ASSERT_EQ(pre_str_map_put(map, keys[i].c_str(), reinterpret_cast<void *>(static_cast<intptr_t>(i + 1))), 0);
  EXPECT_EQ(map->count, 1000u);
  EXPECT_GE(map->capacity, 2048u);
  for (int i = 0; i < 1000; i++) {
    void *v = nullptr;
    ASSERT_EQ(pre_str_map_get(map, keys[i].c_str(), &v), 0) << keys[i];
    EXPECT_EQ(reinterpret_cast<intptr_t>(v), i + 1);
  }
  std::string again = "key7";
  ASSERT_EQ(pre_str_map_put(map, again.c_str(), reinterpret_cast<void *>(77)), 0);
  EXPECT_EQ(map->count, 1000u);
  void *v = nullptr;
  EXPECT_EQ(pre_str_map_get(map, "key7", &v), 0);
  EXPECT_EQ(reinterpret_cast<intptr_t>(v), 77);
  EXPECT_EQ(pre_str_map_get(map, "missing", &v), -3);
  int seen = 0;
  EXPECT_EQ(pre_str_map_each(map, [](void *arg, const char *, void *) { ++*static_cast<int *>(arg); return 0; }, &seen), 0);
  EXPECT_EQ(seen, 1000);
  EXPECT_EQ(pre_str_map_each(map, [](void *, const char *, void *) { return 5; }, nullptr), 5);
  pre_str_map_free(map);
  pre_str_map *empty = pre_str_map_new();
  EXPECT_EQ(pre_str_map_each(empty, [](void *, const char *, void *) { return 0; }, nullptr), -3);
  EXPECT_EQ(pre_str_map_each(nullptr, [](void *, const char *, void *) { return 0; }, nullptr), -3);
  pre_str_map_free(empty);
}

}  // namespace
