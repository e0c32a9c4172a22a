#!/usr/bin/env bash
# CMake set-ups that put qub in front of the compile and the link: CC/CXX set to qub
# wrappers, and the compiler launcher together with the linker launcher. Strict-flags
# projects in C89 and C++20 build through qub with CMake's own -Werror check passing,
# and their programs behave as without qub.
source "$(dirname "$0")/plain_lib.sh"
: "${QUB_SOURCE_DIR:?QUB_SOURCE_DIR must name the source directory}"
gen="Unix Makefiles"
have ninja && gen=Ninja
export TEMP="$WORK/tmp" TMPDIR="$WORK/tmp"
mkdir -p "$TEMP"

# --- a strict C89 project ------------------------------------------------------------------
mkdir -p "$WORK/cproj"
cd "$WORK/cproj" || exit 1
cat >CMakeLists.txt <<'CM'
cmake_minimum_required(VERSION 3.21)
project(strict C)
include(CheckCCompilerFlag)
set(CMAKE_C_FLAGS "-std=c89 -pedantic -Wall -Wextra -Wconversion -Wc++-compat -Wunused-macros -Wswitch-enum -Wimplicit-fallthrough")
check_c_compiler_flag(-Werror HAVE_WERROR)
if(NOT HAVE_WERROR)
  message(FATAL_ERROR "the compiler refuses -Werror")
endif()
add_compile_options(-Werror)
add_library(parse STATIC parse.c)
add_executable(strict main.c)
target_link_libraries(strict parse)
CM
cat >parse.h <<'C'
#ifndef PARSE_H
#define PARSE_H
enum token_kind { T_DIGIT, T_SPACE, T_SIGN, T_OTHER };
enum token_kind token_kind_of(int c);
int parse_number(const char *text);
#endif
C
cat >parse.c <<'C'
#include <ctype.h>
#include <stddef.h>
#include <string.h>
#include "parse.h"
#define IS_SIGN(c) ((c) == '+' || (c) == '-')
#define EMPTY(s) ((s) == NULL || (s)[0] == '\0')
#define NOT_NULL(p) ((p) != NULL)
static const char spaces[] = " \t";
enum token_kind token_kind_of(int c) {
  if (isdigit(c)) return T_DIGIT;
  if (strchr(spaces, c) != NULL && c != '\0') return T_SPACE;
  if (IS_SIGN(c)) return T_SIGN;
  return T_OTHER;
}
int parse_number(const char *text) {
  int value = 0, sign = 1;
  size_t i;
  if (EMPTY(text) || !NOT_NULL(spaces)) return 0;
  for (i = 0; text[i] != '\0'; i++) {
    switch (token_kind_of((unsigned char)text[i])) {
      case T_SIGN:
        if (text[i] == '-') sign = -sign;
        /* FALLTHROUGH */
      case T_SPACE:
        break;
      case T_DIGIT:
        value = value * 10 + (text[i] - '0');
        break;
      case T_OTHER:
        /* fall through */
      default:
        return sign * value;
    }
  }
  return sign * value;
}
C
cat >main.c <<'C'
#include <stdio.h>
#include "parse.h"
#define SHOW(text) printf("%s=%d\n", text, parse_number(text))
int main(void) {
  SHOW("42");
  SHOW(" -17");
  SHOW("8x1");
  return 0;
}
C

# Wrappers for CC and CXX: CMake takes one program as the compiler.
mkdir -p "$WORK/wrap"
for c in gcc g++ clang clang++; do
  printf '#!/bin/sh\nexec "%s" %s "$@"\n' "$QUB" "$c" >"$WORK/wrap/qub-$c"
  chmod +x "$WORK/wrap/qub-$c"
done

# configure_build LABEL SOURCE-DIR BUILD-DIR CMAKE-ARGS...: configures and builds with
# qub's -v on, so that the log shows what went through qub.
configure_build() {
  local label=$1 src=$2 dir=$3
  shift 3
  cmake -S "$src" -B "$dir" -G "$gen" "$@" >"$dir.configure.log" 2>&1
  check "$label: configures, the -Werror check passing" test $? -eq 0
  QUBOPTS=-v cmake --build "$dir" >"$dir.build.log" 2>&1
  check "$label: builds" test $? -eq 0
  check "$label: the link went through qub" grep -q '^qub: .*libqub\.a' "$dir.build.log"
  check "$label: nothing left in the temporary directory" test -z "$(ls -A "$TEMP")"
}

cmake -S . -B plain -G "$gen" -DCMAKE_C_COMPILER=gcc >plain.log 2>&1 && cmake --build plain >>plain.log 2>&1
check "the strict C project builds without qub" test -x plain/strict
expected=$(plain/strict)
configure_build "C89, CC=qub wrapper" . "$WORK/c_wrap" -DCMAKE_C_COMPILER="$WORK/wrap/qub-gcc"
check "C89, CC=qub wrapper: the program behaves as without qub" test "$("$WORK/c_wrap/strict")" = "$expected"
configure_build "C89, compiler and linker launchers" . "$WORK/c_launch" -DCMAKE_C_COMPILER=gcc \
  -DCMAKE_C_COMPILER_LAUNCHER="$QUB" -DCMAKE_C_LINKER_LAUNCHER="$QUB"
check "C89, launchers: the program behaves as without qub" test "$("$WORK/c_launch/strict")" = "$expected"
check "C89: the -Werror check passed through qub" grep -q 'HAVE_WERROR:INTERNAL=1' "$WORK/c_launch/CMakeCache.txt"

# --- a strict C++20 project ------------------------------------------------------------------
mkdir -p "$WORK/cxxproj"
cd "$WORK/cxxproj" || exit 1
cat >CMakeLists.txt <<'CM'
cmake_minimum_required(VERSION 3.21)
project(strict20 CXX)
include(CheckCXXCompilerFlag)
set(CMAKE_CXX_STANDARD 20)
set(CMAKE_CXX_STANDARD_REQUIRED ON)
set(CMAKE_CXX_EXTENSIONS OFF)
set(CMAKE_CXX_FLAGS "-Wpedantic -Wall -Wextra")
check_cxx_compiler_flag(-Werror HAVE_WERROR)
if(NOT HAVE_WERROR)
  message(FATAL_ERROR "the compiler refuses -Werror")
endif()
add_compile_options(-Werror)
add_executable(versions versions.cpp)
CM
cat >versions.cpp <<'CPP'
#include <algorithm>
#include <compare>
#include <iostream>
#include <map>
#include <string>
#include <vector>
struct Version {
  int major = 0, minor = 0;
  auto operator<=>(const Version &) const = default;
};
int main() {
  std::vector<Version> v{{2, 1}, {1, 9}, {2, 0}};
  std::sort(v.begin(), v.end());
  std::map<std::string, int> seen{{"first", v.front().major}};
  for (const Version &x : v) std::cout << x.major << "." << x.minor << " ";
  std::cout << ((v[0] <=> v[1]) < 0 ? "ordered" : "not") << " " << seen["first"] << "\n";
  return 0;
}
CPP
cmake -S . -B plain -G "$gen" -DCMAKE_CXX_COMPILER=g++ >plain.log 2>&1 && cmake --build plain >>plain.log 2>&1
expected=$(plain/versions)
check "the C++20 project builds without qub" test -n "$expected"
configure_build "C++20 g++, compiler and linker launchers" . "$WORK/cxx_launch" -DCMAKE_CXX_COMPILER=g++ \
  -DCMAKE_CXX_COMPILER_LAUNCHER="$QUB" -DCMAKE_CXX_LINKER_LAUNCHER="$QUB"
check "C++20 g++: the program behaves as without qub" test "$("$WORK/cxx_launch/versions")" = "$expected"
if have clang++; then
  configure_build "C++20 clang++, CXX=qub wrapper" . "$WORK/cxx_wrap" -DCMAKE_CXX_COMPILER="$WORK/wrap/qub-clang++"
  check "C++20 clang++: the program behaves as without qub" test "$("$WORK/cxx_wrap/versions")" = "$expected"
fi

finish
