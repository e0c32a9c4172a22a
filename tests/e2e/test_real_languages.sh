#!/usr/bin/env bash
# The language of a source as the compiler sees it: C++20 with the standard library,
# -x in front of sources, g++ and clang++ on .c files; each command with qub ends and
# runs as without it.
source "$(dirname "$0")/plain_lib.sh"

cat >"$SRC/cmp.cpp" <<'CPP'
#include <compare>
#include <iostream>
#include <string>
#include <vector>
struct Version {
  int major, minor;
  auto operator<=>(const Version &) const = default;
};
int main() {
  std::vector<Version> v{{1, 2}, {1, 10}};
  std::string s = (v[0] <=> v[1]) < 0 ? "older" : "newer";
  std::cout << s << " " << ((3 <=> 3) == 0) << "\n";
  return 0;
}
CPP
# C++ in a .c file: it only compiles as C++.
cat >"$SRC/cxx_in.c" <<'CPP'
#include <cstdio>
template <typename T> T twice(T x) { return x + x; }
int main() { std::printf("%d\n", twice(21)); return 0; }
CPP
cat >"$SRC/prog.inc" <<'C'
#include <stdio.h>
int main(void) { printf("from an .inc file\n"); return 0; }
C
cat >"$SRC/plain.c" <<'C'
#include <stdio.h>
int main(void) { int class = 1; printf("C %d\n", class); return 0; }
C

for cxx in g++ clang++; do
  have "$cxx" || continue
  same_as_plain "$cxx -std=c++20 with <=> and the standard library" . \
    "$cxx" -std=c++20 -Wall -Wextra -Wpedantic -Werror -o cmp cmp.cpp
  same_output "$cxx -std=c++20" cmp
  same_as_plain "$cxx on a .c file compiles it as C++" . "$cxx" -Wall -o cxx_in cxx_in.c
  same_output "$cxx on a .c file" cxx_in
done
for cc in gcc clang; do
  have "$cc" || continue
  same_as_plain "$cc -x c++ in front of a .c file" . "$cc" -x c++ -c cxx_in.c -o cxx_in.o
  same_as_plain "$cc -x c on a .inc file, compile and link" . "$cc" -x c prog.inc -o prog
  same_output "$cc -x c prog.inc" prog
  same_as_plain "$cc -x c++ a.cpp -x none b.c: the language ends at -x none" . \
    "$cc" -x c++ -c cmp.cpp -std=c++20 -x none plain.c
  # A C source that is no C++: -x c++ must make it fail as it makes the compiler fail.
  same_as_plain "$cc -x c++ on C that is no C++ fails as without qub" . "$cc" -x c++ -c plain.c
done
# A header compiled on its own is not instrumented and comes out as the compiler makes it.
printf 'static inline int h(void) { return 1; }\n' >"$SRC/h.h"
same_as_plain "gcc -x c-header makes a precompiled header" . gcc -x c-header -c h.h -o h.h.gch

finish
