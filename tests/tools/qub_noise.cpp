// Test input generator: a reproducible mix of C and C++ fragments, directives, broken
// literals, long runs and random bytes. Usage: qub_noise SEED SIZE
#include <cstdio>
#include <cstdlib>
#include <string>

int main(int argc, char **argv) {
  if (argc != 3) {
    std::fputs("usage: qub_noise SEED SIZE\n", stderr);
    return 2;
  }
  unsigned long state = std::strtoul(argv[1], nullptr, 10) * 2654435761u + 1;
  auto next = [&state]() {
    state = state * 6364136223846793005ull + 1442695040888963407ull;
    return static_cast<unsigned>(state >> 33);
  };
  static const char *fragments[] = {
      "int", " ", "\n", "x", "::", "<", ">", ">>", "(", ")", "{", "}", "[", "]", "[[", "]]", ";", ",",
      "\"str", "\"", "'", "'c'", "R\"d(", ")d\"", "R\"(", "u8\"", "L'", "\\", "\\\n", "/*", "*/", "//",
      "#", "# 12 \"f.h\"\n", "#line 3\n", "#pragma QUB skip\n", "#pragma QUB endskip\n",
      "#pragma QUB count", "#define A(x) x \\\n y\n", "?\?=", "?\?/", "?\?(", "<:", ":>", "<%", "%>", "%:",
      "0x1p3", "1.2.3", "1e+", "0b101", "'\\x", "template", "operator", "~", "::*", ".*", "->*", "...",
      "qub_id", "@interface", "@end", "\t", "\r\n", "\f", "asm", "__asm", "class", "struct", "if", "else",
      "while", "for", "switch", "case", "default", "return", "?", ":", "&&", "||", "!", "=", "==",
  };
  const std::size_t nfrag = sizeof fragments / sizeof *fragments;
  std::size_t size = std::strtoul(argv[2], nullptr, 10);
  std::string out;
  while (out.size() < size) {
    unsigned r = next() % 100;
    if (r < 80) {
      out += fragments[next() % nfrag];
    } else if (r < 95) {
      out += static_cast<char>(next() & 0xFF);
    } else {  // a long run of one character, across the line buffer's size
      std::size_t n = next() % 20000;
      out.append(n, "a\"x1 /"[next() % 6]);
    }
  }
  std::fwrite(out.data(), 1, out.size(), stdout);
  return 0;
}
