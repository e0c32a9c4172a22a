// The instrumented text has exactly the tokens of its input, keeps its line structure,
// and compiles with the compiler that produced the input.
#include <gtest/gtest.h>

#include <string>
#include <unistd.h>
#include <vector>

#include "driver/pipeline.h"
#include "driver/run_state.h"
#include "preparse/token.h"
#include "test_util.h"

using namespace qubtest;

namespace {

class InvariantTest : public testing::Test {
 protected:
  std::string dir;
  void SetUp() override {
    if (!have_tool("gcc") || !have_tool("g++") || !have_tool("clang")) GTEST_SKIP() << "compilers missing";
    dir = make_temp_dir(testing::UnitTest::GetInstance()->current_test_info()->name());
    ASSERT_FALSE(dir.empty());
    pre_run_state_reset();
  }
  void TearDown() override {
    if (!dir.empty()) run_command("rm -rf '" + dir + "'");
  }

  // Preprocesses source text with `compiler`, instruments it, and returns the
  // instrumented file's path.
  std::string instrument(const std::string &name, const std::string &text, const std::string &compiler,
                         const std::string &flags, bool preprocess = true) {
    std::string src = dir + "/" + name;
    write_file(src, text);
    std::string pre = src + ".i";
    if (preprocess) {
      command_result r = run_command(compiler + " " + flags + " -E '" + src + "' -o '" + pre + "'");
      EXPECT_EQ(r.status, 0) << r.output;
    } else {
      write_file(pre, text);
    }
    source_language = compiler == "gcc" ? LANG_C : LANG_CXX;
    std::string out = dir + "/instrumented_" + name;
    EXPECT_EQ(pre_instrument_preprocessed(pre.c_str(), src.c_str(), out.c_str()), STATUS_OK);
    return out;
  }

  void expect_same_tokens(const std::string &input, const std::string &output, const std::string &lang) {
    std::vector<std::string> a = clang_tokens(input, lang), b = clang_tokens(output, lang);
    ASSERT_GT(a.size(), 0u);
    ASSERT_EQ(a.size(), b.size());
    for (std::size_t i = 0; i < a.size(); i++) ASSERT_EQ(a[i], b[i]) << "token " << i;
  }

  void expect_compiles(const std::string &path, const std::string &compiler, const std::string &flags) {
    command_result r = run_command(compiler + " " + flags + " -w -c '" + path + "' -o '" + path + ".o'");
    EXPECT_EQ(r.status, 0) << r.output;
  }
};

const char *C_HEADERS =
    "#include <assert.h>\n#include <ctype.h>\n#include <errno.h>\n#include <float.h>\n"
    "#include <limits.h>\n#include <locale.h>\n#include <math.h>\n#include <setjmp.h>\n"
    "#include <signal.h>\n#include <stdarg.h>\n#include <stddef.h>\n#include <stdint.h>\n"
    "#include <stdio.h>\n#include <stdlib.h>\n#include <string.h>\n#include <time.h>\n"
    "#include <inttypes.h>\n#include <stdbool.h>\n#include <wchar.h>\n\n"
    "static int square(int x) { return x * x; }\n"
    "int main(int argc, char **argv) {\n"
    "  const char *s = \"a \\\"quoted\\\" string\\n\";\n"
    "  if (argc > 1 && argv[1][0] == 'x') printf(\"%s %d\\n\", s, square(argc));\n"
    "  return strlen(s) > 3 ? 0 : 1;\n}\n";

const char *CXX_HEADERS =
    "#include <iostream>\n#include <vector>\n#include <map>\n#include <regex>\n"
    "#include <functional>\n#include <memory>\n#include <algorithm>\n#include <thread>\n\n"
    "template <typename T> struct Box { T v; T get() const { return v; } };\n"
    "int main() {\n"
    "  std::vector<std::vector<int>> m{{1, 2}, {3}};\n"
    "  std::map<int, std::function<int(int)>> f{{1, [](int x) { return x >> 1; }}};\n"
    "  auto p = std::make_unique<Box<int>>(Box<int>{4});\n"
    "  std::regex r(R\"(\\d+)\");\n"
    "  std::thread t([] {});\n  t.join();\n"
    "  return std::count_if(m.begin(), m.end(), [](auto &v) { return v.size() > 1; }) + p->get() - 5;\n}\n";

TEST_F(InvariantTest, CStandardHeaders) {
  std::string out = instrument("stdheaders.c", C_HEADERS, "gcc", "");
  expect_same_tokens(dir + "/stdheaders.c.i", out, "-x c");
  expect_compiles(out, "gcc", "");
}

TEST_F(InvariantTest, CxxStandardHeaders) {
  std::string out = instrument("stdheaders.cpp", CXX_HEADERS, "g++", "-std=c++17");
  expect_same_tokens(dir + "/stdheaders.cpp.i", out, "-x c++ -std=c++17");
  expect_compiles(out, "g++", "-std=c++17");
}

TEST_F(InvariantTest, RawStringOverThreeLinesIsReproducedByteForByte) {
  std::string text = "const char *r = R\"xy(first  line\n  second \"line\"\nthird)xy\";\nint n = 1;\n";
  std::string out = instrument("raw.cpp", text, "g++", "-std=c++17", false);
  expect_same_tokens(dir + "/raw.cpp.i", out, "-x c++ -std=c++17");
  std::string body = read_file(out);
  EXPECT_NE(body.find("R\"xy(first  line\n  second \"line\"\nthird)xy\""), std::string::npos) << body;
  expect_compiles(out, "g++", "-std=c++17");
}

TEST_F(InvariantTest, LongStringLiteralIsSplitAndStillTheSameString) {
  std::string lit(20000, 'q');
  for (std::size_t i = 0; i < lit.size(); i += 97) lit[i] = static_cast<char>('a' + i % 26);
  std::string text = "#include <stdio.h>\n#include <string.h>\nstatic const char s[] = \"" + lit +
                     "\";\nint main(void) { printf(\"%zu %lu\\n\", strlen(s), (unsigned long)s[19999] + s[14000]); return 0; }\n";
  std::string out = instrument("long.c", text, "gcc", "");
  std::string body = read_file(out);
  EXPECT_EQ(body.find(lit), std::string::npos) << "the literal should be split";
  command_result orig = run_command("gcc -w '" + dir + "/long.c' -o '" + dir + "/orig' && '" + dir + "/orig'");
  command_result inst = run_command("gcc -w -x c '" + out + "' -o '" + dir + "/inst' && '" + dir + "/inst'");
  ASSERT_EQ(orig.status, 0) << orig.output;
  ASSERT_EQ(inst.status, 0) << inst.output;
  EXPECT_EQ(inst.output, orig.output);
  EXPECT_EQ(orig.output.substr(0, 6), "20000 ");
}

TEST_F(InvariantTest, TrigraphsDigraphsAndSplicedIdentifier) {
  // Trigraphs are replaced by the scanner; the compiler sees the same program.
  std::string text =
      "%:define TWICE(x) ((x) + (x))\n"
      "int ar<:3:> = <% 1, 2, 3 %>;\n"
      "int spl\\\nice = 5;\n"
      "const char *tri = \"?\?=?\?(?\?)\";\n"
      "int main(void) ?\?< return ar<:1:> + splice - 7; ?\?>\n";
  std::string out = instrument("graphs.c", text, "gcc", "-trigraphs", false);
  command_result r = run_command("gcc -trigraphs -w -x c '" + out + "' -o '" + dir + "/g' && '" + dir + "/g'");
  EXPECT_EQ(r.status, 0) << r.output << read_file(out);
  std::vector<std::string> a = clang_tokens(dir + "/graphs.c.i", "-x c -trigraphs");
  std::vector<std::string> b = clang_tokens(out, "-x c -trigraphs");
  EXPECT_EQ(a.size(), b.size());
}

// Every line of the input keeps its line: a deliberately broken line is reported at
// the same line of the same file for the original and the instrumented text.
TEST_F(InvariantTest, LineStructureIsKept) {
  std::string text = "#include <stdio.h>\n/* a comment\n   over lines */\nint a = 1;\n"
                     "#define LONG_MACRO(x) \\\n  ((x) + 1)\n"
                     "int b = LONG_MACRO(1);\n\n\n\nint broken = ;\nint c;\n";
  std::string out = instrument("lines.c", text, "gcc", "");
  command_result orig = run_command("gcc -fsyntax-only '" + dir + "/lines.c'");
  command_result inst = run_command("gcc -fsyntax-only -x c '" + out + "'");
  auto where = [](const std::string &diag) {
    std::size_t e = diag.find(": error:");
    std::size_t s = diag.rfind('\n', e);
    return diag.substr(s == std::string::npos ? 0 : s + 1, e - (s == std::string::npos ? 0 : s + 1));
  };
  ASSERT_NE(orig.status, 0);
  ASSERT_NE(inst.status, 0);
  std::string wo = where(orig.output), wi = where(inst.output);
  EXPECT_NE(wo.find("lines.c:11"), std::string::npos) << wo;
  EXPECT_EQ(wo.substr(wo.rfind('/')), wi.substr(wi.rfind('/'))) << orig.output << "\n---\n" << inst.output;
}

TEST_F(InvariantTest, LineCountOfTheBodyEqualsTheInput) {
  std::string text = "int a;\n\n/* x\n y */ int b;\n#pragma weak a\nint c; // tail\nint d\\\ne;\n";
  std::string out = instrument("count.c", text, "gcc", "", false);
  std::string body = read_file(out);
  body = body.substr(body.find("#line 1 "));
  body = body.substr(body.find('\n') + 1);
  std::size_t in_lines = 0, out_lines = 0;
  for (char c : text) in_lines += c == '\n';
  for (char c : body) out_lines += c == '\n';
  EXPECT_EQ(out_lines, in_lines + 1) << body;  // one line feed at the end of the input
}

}  // namespace
