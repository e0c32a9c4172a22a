// Path names, absolute and canonical forms, source ids, patterns and exclusion.
#include <gtest/gtest.h>

#include <climits>
#include <cstdlib>
#include <cstring>
#include <deque>
#include <filesystem>
#include <fstream>
#include <map>
#include <string>
#include <unistd.h>
#include <vector>

#include "config/config.h"
#include "driver/run_state.h"
#include "prepath/prepath.h"

namespace {

namespace fs = std::filesystem;

std::string take(char *text) {
  std::string s = text;
  std::free(text);
  return s;
}

std::string abs_of(const char *path) { return take(pre_abs_path(path)); }

// Each test runs in a fresh directory of its own, with an empty path cache and store.
class PathTest : public ::testing::Test {
 protected:
  void SetUp() override {
    char pattern[] = "/tmp/qub_prepath_XXXXXX";
    ASSERT_NE(mkdtemp(pattern), nullptr);
    char real[PATH_MAX];
    ASSERT_NE(realpath(pattern, real), nullptr);
    dir_ = real;
    old_dir_ = fs::current_path().string();
    ASSERT_EQ(chdir(dir_.c_str()), 0);
    conf_reset();
    pre_path_cache_destroy();
    pre_path_cache_create();
    g_run.current_record = nullptr;
    g_path.file_instrumented = true;
  }

  void TearDown() override {
    pre_path_cache_destroy();
    g_run.current_record = nullptr;
    g_path.file_instrumented = true;
    conf_reset();
    EXPECT_EQ(chdir(old_dir_.c_str()), 0);
    fs::remove_all(dir_);
  }

  // One statement into the configuration store.
  void set(const char *statement) { ASSERT_EQ(conf_apply_line(statement), STATUS_OK) << statement; }

  void make_file(const std::string &relative) {
    fs::path p = fs::path(dir_) / relative;
    fs::create_directories(p.parent_path());
    std::ofstream(p.string()) << "int x;\n";
  }

  void set_top_level(const char *source) {
    record_.source = const_cast<char *>(source);
    g_run.current_record = &record_;
  }

  std::string dir_;
  std::string old_dir_;
  file_record record_{};
};

// --- name operations -----------------------------------------------------------

TEST(PathNames, CompareIsCaseSensitiveWithBothSeparatorsEqual) {
  EXPECT_EQ(pre_path_compare("a/b\\c.c", "a\\b/c.c"), 0);
  EXPECT_TRUE(pre_path_equal("\\\\srv/x", "//srv\\x"));
  EXPECT_NE(pre_path_compare("a.c", "A.c"), 0);
  EXPECT_FALSE(pre_path_equal("x.C", "x.c"));
  EXPECT_EQ(pre_path_compare("A.c", "a.c"), -1);
  EXPECT_EQ(pre_path_compare("a.c", "A.c"), 1);
  EXPECT_EQ(pre_path_compare("ab", "abc"), -1);
  EXPECT_EQ(pre_path_compare("abc", "ab"), 1);
  EXPECT_EQ(pre_path_compare("", ""), 0);
  // Characters above 127 sort after plain ASCII, the same way round from both sides.
  EXPECT_EQ(pre_path_compare("\xc3\xa9", "z"), 1);
  EXPECT_EQ(pre_path_compare("z", "\xc3\xa9"), -1);
  // The separator counts as one character, whichever is written.
  EXPECT_EQ(pre_path_compare("a/b", "a\\c"), pre_path_compare("a/b", "a/c"));
}

TEST(PathNames, FilePartAndDirPart) {
  EXPECT_STREQ(pre_file_part("dir/sub\\x.c"), "x.c");
  EXPECT_STREQ(pre_file_part("x.c"), "x.c");
  EXPECT_STREQ(pre_file_part("dir/"), "");
  EXPECT_STREQ(pre_file_part("c:x.c"), "c:x.c");  // no drives: ':' is a name character
  const char *p = "a/b.c";
  EXPECT_EQ(pre_file_part(p), p + 2);
  EXPECT_EQ(take(pre_dir_part("dir/sub\\x.c")), "dir/sub\\");
  EXPECT_EQ(take(pre_dir_part("x.c")), "");
  EXPECT_EQ(take(pre_dir_part("/x.c")), "/");
  EXPECT_EQ(take(pre_dir_part("c:x.c")), "");
}

TEST(PathNames, ExtensionAndBaseNameLookAtTheFilePartOnly) {
  EXPECT_STREQ(pre_extension("src/x.tar.gz"), ".gz");
  EXPECT_STREQ(pre_extension("a.d/Makefile"), "");
  const char *no_ext = "a.d\\Makefile";
  EXPECT_EQ(pre_extension(no_ext), no_ext + std::strlen(no_ext));  // the end of the path
  EXPECT_STREQ(pre_extension(".profile"), ".profile");
  EXPECT_STREQ(pre_extension("a."), ".");
  EXPECT_EQ(take(pre_base_name(".profile")), "");
  EXPECT_EQ(take(pre_base_name("src/x.tar.gz")), "x.tar");
  EXPECT_EQ(take(pre_base_name("a.d/Makefile")), "Makefile");
  EXPECT_EQ(take(pre_base_name("dir/")), "");
  EXPECT_EQ(take(pre_base_name("a.")), "a");
  EXPECT_EQ(take(pre_extension_with_dot("d.x/y.cpp")), ".cpp");
  EXPECT_EQ(take(pre_extension_with_dot("d.x/y")), "");
}

TEST(PathNames, HasExtensionNeedsADotAndANameInFrontOfIt) {
  EXPECT_TRUE(pre_has_extension("x.c", "c"));
  EXPECT_TRUE(pre_has_extension("dir\\main.cpp", "cpp"));
  EXPECT_FALSE(pre_has_extension(".c", "c"));
  EXPECT_FALSE(pre_has_extension("c", "c"));
  EXPECT_FALSE(pre_has_extension("x.C", "c"));  // gcc reads x.C as C++: case counts
  EXPECT_TRUE(pre_has_extension("x.C", "C"));
  EXPECT_FALSE(pre_has_extension("x.cpp", "pp"));
  EXPECT_FALSE(pre_has_extension("x.cc", "c"));
  EXPECT_TRUE(pre_has_extension("x.tar.gz", "tar.gz"));
  EXPECT_TRUE(pre_has_extension("x.a/b", "a\\b"));  // compared as paths
}

TEST(PathNames, TempSuffixKeepsOnlyPortableCharacters) {
  EXPECT_EQ(take(pre_temp_suffix("a b.c", ".i")), ".a_b.i");
  EXPECT_EQ(take(pre_temp_suffix("dir with blank\\sub/my-file_1.x.cpp", ".cpp")), ".my-file_1.x.cpp");
  EXPECT_EQ(take(pre_temp_suffix("caf\xc3\xa9(2)$.c", ".i")), ".caf___2__.i");
  EXPECT_EQ(take(pre_temp_suffix(".profile", ".i")), "..i");
}

// --- absolute forms ----------------------------------------------------------------

TEST_F(PathTest, RelativePathsStartFromTheCurrentDirectory) {
  EXPECT_EQ(abs_of("a/b.c"), dir_ + "/a/b.c");
  EXPECT_EQ(abs_of("b.c"), dir_ + "/b.c");
  EXPECT_EQ(abs_of("."), dir_ + "/");
  EXPECT_EQ(abs_of(""), dir_ + "/");
  EXPECT_EQ(abs_of("./a/./b/."), dir_ + "/a/b/");
  EXPECT_EQ(abs_of("c:/work"), dir_ + "/c:/work");  // no drives
  EXPECT_EQ(take(pre_abs_path_no_drive("a/b.c")), dir_ + "/a/b.c");
}

TEST_F(PathTest, SeparatorsRunsAndTrailingOnes) {
  EXPECT_EQ(abs_of("a//b\\\\\\c"), dir_ + "/a/b\\c");
  EXPECT_EQ(abs_of("a/b\\c"), dir_ + "/a/b\\c");  // mixed separators stay as written
  EXPECT_EQ(abs_of("a/b/"), dir_ + "/a/b/");
  EXPECT_EQ(abs_of("a\\b\\"), dir_ + "/a\\b\\");
  EXPECT_EQ(abs_of("a//"), dir_ + "/a/");
  EXPECT_EQ(abs_of("/usr//include/./x.h"), "/usr/include/x.h");
  EXPECT_EQ(abs_of("\\usr\\x.h"), "/usr\\x.h");  // the root is always '/'
  EXPECT_EQ(abs_of("/"), "/");
}

TEST_F(PathTest, TwoLeadingSeparatorsAreKept) {
  EXPECT_EQ(abs_of("//server/share/a"), "//server/share/a");
  EXPECT_EQ(abs_of("\\\\server\\share\\a"), "\\\\server\\share\\a");
  EXPECT_EQ(abs_of("/\\server/a"), "/\\server/a");
  EXPECT_EQ(abs_of("///a"), "//a");
  EXPECT_EQ(abs_of("//server/.."), "//");
  EXPECT_EQ(abs_of("//server/share/../x"), "//server/x");
  EXPECT_EQ(abs_of("//.."), "/");  // nothing to climb: the root
  EXPECT_EQ(take(pre_abs_path_no_drive("//server/a")), "//server/a");
}

TEST_F(PathTest, DotDotClimbsAndNeverFailsAboveTheRoot) {
  EXPECT_EQ(abs_of("/a/b/../c"), "/a/c");
  EXPECT_EQ(abs_of("/a/b/.."), "/a/");
  EXPECT_EQ(abs_of("/a\\b\\..\\c"), "/a\\c");
  EXPECT_EQ(abs_of("/x/a\\..\\..\\..\\b"), "/b");
  EXPECT_EQ(abs_of("/.."), "/");
  EXPECT_EQ(abs_of("/../../a/../../b/"), "/b/");
  // The current directory's own components climb too.
  std::string up;
  for (char c : dir_)
    if (c == '/') up += "../";
  EXPECT_EQ(abs_of((up + "etc").c_str()), "/etc");
  EXPECT_EQ(abs_of((up + "../../etc").c_str()), "/etc");
  EXPECT_EQ(abs_of("../x"), fs::path(dir_).parent_path().string() + "/x");
}

TEST_F(PathTest, RunsOfDotsClimbOneLevelForEachDotAfterTheFirst) {
  EXPECT_EQ(abs_of("/p/q/x/.../y"), "/p/y");
  EXPECT_EQ(abs_of("/p/q/x\\...\\y"), "/p/y");
  EXPECT_EQ(abs_of("/p/q/x/r/...\\y"), "/p/q/y");
  EXPECT_EQ(abs_of("/p/q/..../y"), "/y");  // three levels, only two to climb
  EXPECT_EQ(abs_of("/p/....."), "/");
  EXPECT_EQ(abs_of("/p/q/...."), "/");
  // Dots inside or around a name are an ordinary name.
  EXPECT_EQ(abs_of("/a/..x/.b/c../x.y"), "/a/..x/.b/c../x.y");
  EXPECT_EQ(abs_of("x/.../y"), fs::path(dir_).parent_path().string() + "/y");
}

TEST_F(PathTest, AbsoluteFormIsStable) {
  for (const char *p : {"a/../b//c\\", "//s/./t/...", "/x/y/../../..", "./q.c", "\\a/b\\.."}) {
    std::string once = abs_of(p);
    EXPECT_EQ(abs_of(once.c_str()), once) << p;
  }
}

TEST_F(PathTest, MissingCurrentDirectoryIsStatus12) {
  fs::create_directory(dir_ + "/gone");
  EXPECT_EXIT(
      {
        if (chdir((dir_ + "/gone").c_str()) != 0 || rmdir((dir_ + "/gone").c_str()) != 0) std::exit(3);
        pre_path_cache_destroy();  // forgets the directory read before
        pre_abs_path("x.c");
        std::exit(0);
      },
      ::testing::ExitedWithCode(1),
      "^QUB\\+\\+ error 12: Cannot get current directory: No such file or directory\n$");
  // An absolute path needs no current directory.
  EXPECT_EXIT(
      {
        fs::create_directory(dir_ + "/gone2");
        if (chdir((dir_ + "/gone2").c_str()) != 0 || rmdir((dir_ + "/gone2").c_str()) != 0) std::exit(3);
        pre_path_cache_destroy();
        char *a = pre_abs_path("/usr/x.h");
        std::exit(std::strcmp(a, "/usr/x.h") == 0 ? 0 : 4);
      },
      ::testing::ExitedWithCode(0), "");
}

// --- canonical forms and source ids ------------------------------------------------

TEST_F(PathTest, CanonicalFormResolvesExistingFilesOnly) {
  make_file("real/f.c");
  fs::create_directory_symlink(dir_ + "/real", dir_ + "/link");
  fs::create_symlink(dir_ + "/real/f.c", dir_ + "/alias.c");
  EXPECT_STREQ(pre_canonical_path("link/f.c"), (dir_ + "/real/f.c").c_str());
  EXPECT_STREQ(pre_canonical_path("alias.c"), (dir_ + "/real/f.c").c_str());
  EXPECT_STREQ(pre_canonical_path("./real/../link//f.c"), (dir_ + "/real/f.c").c_str());
  EXPECT_STREQ(pre_canonical_path("link/"), (dir_ + "/real").c_str());
  // A file that doesn't exist keeps the absolute form, links and all.
  EXPECT_STREQ(pre_canonical_path("link/new.c"), (dir_ + "/link/new.c").c_str());
  EXPECT_STREQ(pre_canonical_path("gen/../x\\y.c"), (dir_ + "/x\\y.c").c_str());
  EXPECT_TRUE(pre_same_file("alias.c", "real/f.c"));
  EXPECT_TRUE(pre_same_file("link/f.c", "./real//f.c"));
  EXPECT_TRUE(pre_same_file("gen/a.h", "gen\\a.h"));
  EXPECT_FALSE(pre_same_file("real/f.c", "real/F.c"));
}

TEST_F(PathTest, CanonicalFormIsCachedPerPathAsWritten) {
  make_file("one/f.c");
  make_file("two/f.c");
  fs::create_directory_symlink(dir_ + "/one", dir_ + "/link");
  const char *first = pre_canonical_path("link/f.c");
  EXPECT_STREQ(first, (dir_ + "/one/f.c").c_str());
  fs::remove(dir_ + "/link");
  fs::create_directory_symlink(dir_ + "/two", dir_ + "/link");
  // The same text is served from the cache, unchanged.
  EXPECT_EQ(pre_canonical_path("link/f.c"), first);
  EXPECT_STREQ(first, (dir_ + "/one/f.c").c_str());
  // Another spelling is another key, and asks the file system afresh.
  EXPECT_STREQ(pre_canonical_path("./link/f.c"), (dir_ + "/two/f.c").c_str());
  // A new cache forgets.
  pre_path_cache_destroy();
  EXPECT_EQ(g_path.pre_path_cache, nullptr);
  pre_path_cache_create();
  EXPECT_STREQ(pre_canonical_path("link/f.c"), (dir_ + "/two/f.c").c_str());
}

TEST_F(PathTest, CanonicalFormWorksWithoutACreatedCache) {
  pre_path_cache_destroy();
  make_file("a.c");
  EXPECT_STREQ(pre_canonical_path("a.c"), (dir_ + "/a.c").c_str());
  EXPECT_NE(g_path.pre_path_cache, nullptr);
}

TEST_F(PathTest, CacheHoldsManyPaths) {
  std::vector<std::string> expected;
  for (int i = 0; i < 2000; i++) {
    std::string p = "d" + std::to_string(i % 7) + "/../f" + std::to_string(i) + ".c";
    EXPECT_STREQ(pre_canonical_path(p.c_str()), (dir_ + "/f" + std::to_string(i) + ".c").c_str());
  }
  for (int i = 0; i < 2000; i += 97) {
    std::string p = "d" + std::to_string(i % 7) + "/../f" + std::to_string(i) + ".c";
    EXPECT_STREQ(pre_canonical_path(p.c_str()), (dir_ + "/f" + std::to_string(i) + ".c").c_str());
  }
  EXPECT_EQ(g_path.pre_path_cache->count, 2000u);
}

TEST_F(PathTest, SourceIdForEachIdentification) {
  make_file("real/f.c");
  fs::create_symlink(dir_ + "/real/f.c", dir_ + "/alias.c");
  const std::string canonical = dir_ + "/real/f.c";
  // Not set, or empty: absolute.
  EXPECT_EQ(take(pre_source_id("./alias.c")), canonical);
  set("SOURCE_IDENTIFICATION = ");
  EXPECT_EQ(take(pre_source_id("./alias.c")), canonical);
  set("SOURCE_IDENTIFICATION = absolute");
  EXPECT_EQ(take(pre_source_id("./alias.c")), canonical);
  set("SOURCE_IDENTIFICATION = absolute_without_drive");
  EXPECT_EQ(take(pre_source_id("./alias.c")), canonical);
  set("SOURCE_IDENTIFICATION = basename");
  EXPECT_EQ(take(pre_source_id("./alias.c")), "f.c");  // of the canonical form
  EXPECT_EQ(take(pre_source_id("sub\\gen.c")), "gen.c");
  set("SOURCE_IDENTIFICATION = as_given");
  EXPECT_EQ(take(pre_source_id("./alias.c")), "./alias.c");
  EXPECT_EQ(take(pre_source_id("a//b\\..\\c.c")), "a//b\\..\\c.c");
  // A source that doesn't exist is named by its absolute form.
  set("SOURCE_IDENTIFICATION = absolute");
  EXPECT_EQ(take(pre_source_id("gen/../new.c")), dir_ + "/new.c");
  EXPECT_EQ(take(pre_source_id("//srv/x/../a.c")), "//srv/a.c");
}

// --- patterns ----------------------------------------------------------------------

TEST_F(PathTest, IncludesSelectsEverythingButTheTopLevelFile) {
  make_file("main.c");
  make_file("inc/a.h");
  fs::create_symlink(dir_ + "/main.c", dir_ + "/other.c");
  // While the words are classified there is no top-level file.
  EXPECT_FALSE(pre_path_match("inc/a.h", "%INCLUDES%"));
  EXPECT_FALSE(pre_path_match("main.c", "%INCLUDES%"));
  set_top_level("main.c");
  EXPECT_EQ(pre_top_level_file(), record_.source);
  EXPECT_FALSE(pre_path_match("main.c", "%INCLUDES%"));
  EXPECT_FALSE(pre_path_match("./main.c", "%INCLUDES%"));
  EXPECT_FALSE(pre_path_match((dir_ + "/main.c").c_str(), "%INCLUDES%"));
  EXPECT_FALSE(pre_path_match("other.c", "%INCLUDES%"));  // the same file by another name
  EXPECT_TRUE(pre_path_match("inc/a.h", "%INCLUDES%"));
  EXPECT_TRUE(pre_path_match("/usr/include/stdio.h", "%INCLUDES%"));
  EXPECT_TRUE(pre_path_match("Main.c", "%INCLUDES%"));
  EXPECT_FALSE(pre_path_match("inc/a.h", "%includes%"));  // not the pattern: a name
}

TEST_F(PathTest, ExtensionPatterns) {
  EXPECT_TRUE(pre_path_match("Makefile", "*."));
  EXPECT_TRUE(pre_path_match("a.d/Makefile", "*."));
  EXPECT_FALSE(pre_path_match("a.c", "*."));
  EXPECT_FALSE(pre_path_match("a.", "*."));  // a lone dot is an extension
  EXPECT_TRUE(pre_path_match("a.c", "*.*"));
  EXPECT_TRUE(pre_path_match(".profile", "*.*"));
  EXPECT_FALSE(pre_path_match("a.d/Makefile", "*.*"));
}

TEST_F(PathTest, SuffixPatterns) {
  EXPECT_TRUE(pre_path_match("inc/a.h", "*.h"));
  EXPECT_TRUE(pre_path_match("/usr/include/stdio.h", "*.h"));
  EXPECT_FALSE(pre_path_match("inc/a.H", "*.h"));
  EXPECT_FALSE(pre_path_match("inc/a.hpp", "*.h"));
  EXPECT_TRUE(pre_path_match("x/inc/a.h", "*\\inc\\a.h"));
  EXPECT_TRUE(pre_path_match("x\\inc/a.h", "*/inc/a.h"));
  EXPECT_FALSE(pre_path_match("x/include/a.h", "*/inc/a.h"));
  // The suffix is matched against the absolute form.
  EXPECT_TRUE(pre_path_match("sub/../a.c", "*/a.c"));
  EXPECT_FALSE(pre_path_match("sub/../a.c", "*sub/../a.c"));
  EXPECT_TRUE(pre_path_match("a.c", "*"));
  // A suffix longer than the path selects nothing.
  std::string long_pattern = "*" + std::string(5000, 'x') + ".c";
  EXPECT_FALSE(pre_path_match("x.c", long_pattern.c_str()));
}

TEST_F(PathTest, DirectoryPatternsStopAtComponentBoundaries) {
  // EXCLUDE = lib with the current directory <dir>.
  EXPECT_TRUE(pre_path_match("lib/x.c", "lib"));
  EXPECT_TRUE(pre_path_match((dir_ + "/lib").c_str(), "lib"));
  EXPECT_TRUE(pre_path_match("lib\\sub\\y.c", "lib"));
  EXPECT_FALSE(pre_path_match("library.c", "lib"));
  EXPECT_FALSE(pre_path_match("lib.c", "lib"));
  EXPECT_FALSE(pre_path_match("Lib/x.c", "lib"));
  EXPECT_FALSE(pre_path_match("other/lib/x.c", "lib"));
  // A trailing separator names the directory's contents.
  EXPECT_TRUE(pre_path_match("lib/x.c", "lib/"));
  EXPECT_TRUE(pre_path_match("lib/", "lib/"));
  EXPECT_FALSE(pre_path_match("lib", "lib/"));
  EXPECT_FALSE(pre_path_match("library.c", "lib/"));
  // An absolute pattern, separators mixed either way.
  std::string abs_pattern = dir_ + "\\lib/";
  EXPECT_TRUE(pre_path_match("lib\\x.c", abs_pattern.c_str()));
  EXPECT_FALSE(pre_path_match((dir_ + "/lib/x.c").c_str(), (dir_ + "/LIB/").c_str()));
  // The pattern is made absolute as a path: dots in it count.
  EXPECT_TRUE(pre_path_match("lib/x.c", "tmp/../lib"));
  EXPECT_TRUE(pre_path_match("lib/x.c", "./lib//"));
  EXPECT_TRUE(pre_path_match("/usr/include/stdio.h", "/usr/include"));
  EXPECT_TRUE(pre_path_match("/usr/include/stdio.h", "\\usr\\include\\"));
  EXPECT_FALSE(pre_path_match("/usr/include2/stdio.h", "/usr/include"));
  // A path that ends in a separator is selected by a pattern that goes on below it.
  EXPECT_TRUE(pre_path_match("lib/", "lib/x*"));
  EXPECT_FALSE(pre_path_match("lib", "lib/x*"));
}

TEST_F(PathTest, WildcardWalk) {
  // A '*' in a pattern that doesn't begin with one is a name character while the
  // pattern is made absolute, and a wildcard in the walk; it spans separators.
  EXPECT_TRUE(pre_path_match("src/a.c", "src/*.c"));
  EXPECT_TRUE(pre_path_match("src/sub/b.c", "src/*.c"));
  EXPECT_FALSE(pre_path_match("other/a.c", "src/*.c"));
  EXPECT_FALSE(pre_path_match("src/a.h", "src/*.c"));
  EXPECT_TRUE(pre_path_match("src", "src*"));
  EXPECT_TRUE(pre_path_match("srcx/y.c", "src*"));
  EXPECT_TRUE(pre_path_match("src/a.c", "./x/../src/*"));
  // Patterns beginning with '*' and holding another.
  EXPECT_TRUE(pre_path_match("src/inc/a.h", "*\\inc\\*.h"));
  EXPECT_TRUE(pre_path_match("/usr/inc/sys/t.h", "*/inc/*.h"));
  EXPECT_FALSE(pre_path_match("src/inc/a.c", "*\\inc\\*.h"));
  EXPECT_FALSE(pre_path_match("src/include/a.h", "*\\inc\\*.h"));
  EXPECT_FALSE(pre_path_match("src/INC/a.h", "*\\inc\\*.h"));
  EXPECT_TRUE(pre_path_match("a/lib/x", "*lib*"));
  EXPECT_TRUE(pre_path_match("src/a.c", "src/**.c"));
  // After a stretch the name must end at a component boundary.
  EXPECT_TRUE(pre_path_match("src/a.h/b.x", "src/*.h"));
  EXPECT_FALSE(pre_path_match("src/a.hx/b.h", "*/src/*.h"));
  // The first place where the stretch stands is taken, with no later try.
  EXPECT_FALSE(pre_path_match("src/xa.ca.c", "src/*a.c"));
  EXPECT_TRUE(pre_path_match("src/xa.c", "src/*a.c"));
  // A stretch that isn't in the rest of the path.
  EXPECT_FALSE(pre_path_match("src/a.c", "src/*.cpp"));
  EXPECT_FALSE(pre_path_match("a.c", "*z-z*"));
}

// --- exclusion ---------------------------------------------------------------------

TEST_F(PathTest, NothingConfiguredExcludesNothing) {
  EXPECT_FALSE(pre_is_excluded("a.c"));
  EXPECT_FALSE(pre_is_excluded("/usr/include/stdio.h"));
}

TEST_F(PathTest, ExcludeBySuffixAndByMissingExtension) {
  set("EXCLUDE = *.h");
  EXPECT_TRUE(pre_is_excluded("inc/a.h"));
  EXPECT_FALSE(pre_is_excluded("a.c"));
  set("EXCLUDE = *.");
  EXPECT_TRUE(pre_is_excluded("include/vector"));
  EXPECT_FALSE(pre_is_excluded("a.c"));
  set("EXCLUDE = *.c, lib");  // the second value selects
  EXPECT_TRUE(pre_is_excluded("lib/x.h"));
  EXPECT_FALSE(pre_is_excluded("library.h"));
}

TEST_F(PathTest, EmptyValuesAreSkipped) {
  // An empty pattern would name the current directory and select everything in it.
  EXPECT_TRUE(pre_path_match("a.c", ""));
  set("EXCLUDE = , *.h");
  EXPECT_FALSE(pre_is_excluded("a.c"));
  EXPECT_TRUE(pre_is_excluded("a.h"));
  set("EXCLUDE = *.h");
  set("NO_EXCLUDE = ");
  EXPECT_TRUE(pre_is_excluded("a.h"));
  set("NO_INCLUDE = ");
  EXPECT_FALSE(pre_is_excluded("a.c"));
}

TEST_F(PathTest, IncludesWithNoExcludeTakingHeadersBack) {
  make_file("main.c");
  make_file("inc/a.h");
  make_file("other/b.h");
  set("EXCLUDE = %INCLUDES%");
  set("NO_EXCLUDE = *\\inc\\*.h");
  set_top_level("main.c");
  EXPECT_FALSE(pre_is_excluded("main.c"));
  EXPECT_FALSE(pre_is_excluded("inc/a.h"));
  EXPECT_TRUE(pre_is_excluded("other/b.h"));
  EXPECT_TRUE(pre_is_excluded("/usr/include/stdio.h"));
  // Outside the file loop %INCLUDES% selects nothing.
  g_run.current_record = nullptr;
  EXPECT_FALSE(pre_is_excluded("other/b.h"));
}

TEST_F(PathTest, NoExcludeTakesBackExcludeOnly) {
  set("EXCLUDE = lib");
  set("NO_EXCLUDE = */keep.c");
  EXPECT_TRUE(pre_is_excluded("lib/x.c"));
  EXPECT_FALSE(pre_is_excluded("lib/keep.c"));
  set("NO_INCLUDE = *.c");
  EXPECT_TRUE(pre_is_excluded("lib/keep.c"));
  EXPECT_TRUE(pre_is_excluded("src/y.c"));
  EXPECT_FALSE(pre_is_excluded("src/y.h"));
  // NO_INCLUDE = * excludes everything, whatever NO_EXCLUDE says.
  set("NO_INCLUDE = *");
  set("NO_EXCLUDE = *");
  EXPECT_TRUE(pre_is_excluded("lib/keep.c"));
  EXPECT_TRUE(pre_is_excluded("a.h"));
  // NO_EXCLUDE alone takes back nothing that EXCLUDE didn't select.
  set("NO_INCLUDE =");
  set("EXCLUDE =");
  EXPECT_FALSE(pre_is_excluded("a.h"));
}

TEST_F(PathTest, QuestionMarkEndsTheRunWhenReached) {
  const char *excl = "^QUB\\+\\+ error 0: Configuration parameter EXCLUDE has illegal value \"x\\?\\.c\"\n$";
  set("EXCLUDE = *.h, x?.c");
  // Behind the first value that selects, the value is never reached.
  EXPECT_TRUE(pre_is_excluded("a.h"));
  EXPECT_EXIT(pre_is_excluded("a.c"), ::testing::ExitedWithCode(1), excl);

  set("EXCLUDE = *.h");
  set("NO_EXCLUDE = inc, bad?");
  EXPECT_FALSE(pre_is_excluded("inc/a.h"));  // the first value takes it back
  EXPECT_FALSE(pre_is_excluded("a.c"));      // NO_EXCLUDE is read only after a match
  EXPECT_EXIT(pre_is_excluded("a.h"), ::testing::ExitedWithCode(1),
              "^QUB\\+\\+ error 0: Configuration parameter NO_EXCLUDE has illegal value \"bad\\?\"\n$");

  set("NO_EXCLUDE = ");
  set("NO_INCLUDE = ?");
  EXPECT_TRUE(pre_is_excluded("a.h"));  // excluded before NO_INCLUDE is read
  EXPECT_EXIT(pre_is_excluded("a.c"), ::testing::ExitedWithCode(1),
              "^QUB\\+\\+ error 0: Configuration parameter NO_INCLUDE has illegal value \"\\?\"\n$");
}

TEST_F(PathTest, NoteCurrentFileFollowsTheSelection) {
  make_file("main.c");
  set("EXCLUDE = %INCLUDES%");
  set_top_level("main.c");
  pre_note_current_file("/usr/include/stdio.h");
  EXPECT_FALSE(g_path.file_instrumented);
  pre_note_current_file("main.c");
  EXPECT_TRUE(g_path.file_instrumented);
  pre_note_current_file("inc/x.h");
  EXPECT_FALSE(g_path.file_instrumented);
  pre_note_current_file(dir_.c_str());
  EXPECT_FALSE(g_path.file_instrumented);
  pre_note_current_file((dir_ + "/main.c").c_str());
  EXPECT_TRUE(g_path.file_instrumented);
}

}  // namespace
