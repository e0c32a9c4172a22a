#!/usr/bin/env bash
# One small project with a shared library, a program and a test, built by meson
# (CC="qub gcc" meson setup), by autotools with libtool (CC="qub gcc" ./configure), and
# by CMake with qub as compiler and linker launcher: each build succeeds, its test
# passes, the program behaves as without qub, every source is described in the one
# symbol file, and the counts equal those of gcc's own coverage build.
source "$(dirname "$0")/lib.sh"
need gcc python3
probes=0
have_function_probes && probes=1
[ $probes = 1 ] || echo "NOTE: qub places no function probes yet; the count checks are left out"

# --- the project's sources -----------------------------------------------------------------------
mkdir -p "$WORK/proj/lib" "$WORK/proj/app" "$WORK/proj/tests"
cd "$WORK/proj" || exit 1
cat >lib/shape.h <<'C'
#ifndef SHAPE_H
#define SHAPE_H
typedef struct { int w, h; } shape;
int shape_area(const shape *s);
int shape_kind(const shape *s);
int shapes_total(const shape *s, int n);
#endif
C
cat >lib/shape.c <<'C'
#include "shape.h"
static int clamp(int x) {
  if (x < 0) return 0;
  return x;
}
int shape_area(const shape *s) { return clamp(s->w) * clamp(s->h); }
int shape_kind(const shape *s) {
  switch (s->w == s->h ? 0 : s->w > s->h ? 1 : 2) {
    case 0: return 'q';
    case 1: return 'w';
    default: return 't';
  }
}
int shapes_total(const shape *s, int n) {
  int t = 0, i;
  for (i = 0; i < n; i++) t += shape_area(&s[i]);
  while (t > 1000) t -= 1000;
  return t;
}
C
cat >app/main.c <<'C'
#include <stdio.h>
#include "shape.h"
int main(void) {
  shape s[3] = {{2, 3}, {4, 4}, {-1, 5}};
  int i;
  for (i = 0; i < 3; i++) printf("%c", shape_kind(&s[i]));
  printf(" %d\n", shapes_total(s, 3));
  return 0;
}
C
cat >tests/check.c <<'C'
#include "shape.h"
int main(void) {
  shape a = {3, 3}, b = {-2, 7};
  if (shape_area(&a) != 9) return 1;
  if (shape_area(&b) != 0) return 1;
  return shape_kind(&a) == 'q' ? 0 : 1;
}
C
expected=$(gcc -Ilib lib/shape.c app/main.c -o "$WORK/plain-app" && "$WORK/plain-app")

# same_program LABEL PROGRAM: the program prints what the plain program prints
same_program() { check "$1: the program behaves as without qub" test "$("$2" 2>&1)" = "$expected"; }
# described LABEL SYMFILE: the symbol file describes the library, the program and the test
described() {
  local f
  for f in lib/shape.c app/main.c tests/check.c; do
    check "$1: the symbol file describes $f" grep -q "^@.*/$f\$" "$2"
  done
}
# oracle_counts LABEL QUB_COPY GCOV_COPY RUN...: runs the same command in both copies and
# compares the counts
oracle_counts() {
  local label=$1 q=$2 g=$3
  shift 3
  [ $probes = 1 ] || return 0
  counts_agree "$label" "$q" "$g" 4
}

# --- meson -----------------------------------------------------------------------------------------
if command -v meson >/dev/null && command -v ninja >/dev/null; then
  cat >meson.build <<'M'
project('shapes', 'c')
inc = include_directories('lib')
shapes = shared_library('shapes', 'lib/shape.c', include_directories : inc)
executable('shapes-app', 'app/main.c', include_directories : inc, link_with : shapes)
check = executable('shape_check', 'tests/check.c', include_directories : inc, link_with : shapes)
test('check', check)
M
  for side in qub gcov; do
    rm -rf "$WORK/meson-$side"
    cp -r "$WORK/proj" "$WORK/meson-$side"
  done
  (cd "$WORK/meson-qub" && CC="$QUB -i m gcc" meson setup build -Dbuildtype=plain -Dc_args=-O2 &&
    ninja -C build && meson test -C build) >"$WORK/meson.out" 2>&1
  check "meson: CC=\"qub gcc\" builds and the test passes" test $? -eq 0 || tail -n 30 "$WORK/meson.out" >&2
  same_program "meson" "$WORK/meson-qub/build/shapes-app"
  described "meson" "$WORK/meson-qub/build/MON.sym"
  check "meson: nothing left in the temporary directory" test -z "$(ls -A "$TMPDIR")"
  if [ $probes = 1 ]; then
    (cd "$WORK/meson-gcov" && CC=gcc meson setup build -Dbuildtype=plain -Dc_args='-O0 --coverage' \
      -Dc_link_args=--coverage && ninja -C build && meson test -C build && ./build/shapes-app) >/dev/null 2>&1
    # the qub side's symbol file is in meson's build directory, where the compiles ran
    "$WORK/meson-qub/build/shapes-app" >/dev/null
    mv "$WORK/meson-qub/build/MON.sym" "$WORK/meson-qub/build/MON.dat" "$WORK/meson-qub/" 2>/dev/null
    oracle_counts "meson" "$WORK/meson-qub" "$WORK/meson-gcov"
  fi
else
  echo "NOTE: meson or ninja is not installed; the meson build is left out"
fi

# --- autotools with libtool ------------------------------------------------------------------------
if command -v autoreconf >/dev/null && command -v libtoolize >/dev/null && command -v make >/dev/null; then
  cd "$WORK/proj" || exit 1
  cat >configure.ac <<'A'
AC_INIT([shapes], [1.0])
AC_CONFIG_AUX_DIR([build-aux])
AC_CONFIG_MACRO_DIRS([m4])
AM_INIT_AUTOMAKE([foreign subdir-objects])
AC_PROG_CC
LT_INIT([shared disable-static])
AC_CONFIG_FILES([Makefile])
AC_OUTPUT
A
  cat >Makefile.am <<'A'
ACLOCAL_AMFLAGS = -I m4
lib_LTLIBRARIES = libshapes.la
libshapes_la_SOURCES = lib/shape.c lib/shape.h
libshapes_la_LDFLAGS = -version-info 1:0:0
bin_PROGRAMS = shapes-app
shapes_app_SOURCES = app/main.c
shapes_app_CPPFLAGS = -I$(srcdir)/lib
shapes_app_LDADD = libshapes.la
check_PROGRAMS = shape_check
shape_check_SOURCES = tests/check.c
shape_check_CPPFLAGS = -I$(srcdir)/lib
shape_check_LDADD = libshapes.la
TESTS = shape_check
A
  mkdir -p m4
  (autoreconf -fi) >"$WORK/autoreconf.out" 2>&1 || { cat "$WORK/autoreconf.out" >&2; fail "autotools: autoreconf"; }
  for side in qub gcov; do
    rm -rf "$WORK/auto-$side"
    cp -r "$WORK/proj" "$WORK/auto-$side"
  done
  (cd "$WORK/auto-qub" && ./configure CC="$QUB -i m -n $WORK/auto-qub/MON.sym gcc" CFLAGS=-O2 &&
    make && make check) >"$WORK/auto.out" 2>&1
  check "autotools: CC=\"qub gcc\" ./configure, make and make check succeed" test $? -eq 0 ||
    tail -n 30 "$WORK/auto.out" >&2
  check "autotools: libtool made a shared library" test -n "$(ls "$WORK"/auto-qub/.libs/libshapes.so* 2>/dev/null)"
  same_program "autotools" "$WORK/auto-qub/shapes-app"
  described "autotools" "$WORK/auto-qub/MON.sym"
  check "autotools: nothing left in the temporary directory" test -z "$(ls -A "$TMPDIR")"
  if [ $probes = 1 ]; then
    (cd "$WORK/auto-gcov" && ./configure CC=gcc CFLAGS='-O0 --coverage' LDFLAGS=--coverage &&
      make && make check && ./shapes-app) >/dev/null 2>&1
    "$WORK/auto-qub/shapes-app" >/dev/null
    oracle_counts "autotools" "$WORK/auto-qub" "$WORK/auto-gcov"
  fi
else
  echo "NOTE: autoconf, automake or libtool is not installed; the autotools build is left out"
fi

# --- CMake, compiler and linker launchers -----------------------------------------------------------
if command -v cmake >/dev/null; then
  cd "$WORK/proj" || exit 1
  cat >CMakeLists.txt <<'M'
cmake_minimum_required(VERSION 3.21)
project(shapes C)
enable_testing()
add_library(shapes SHARED lib/shape.c)
target_include_directories(shapes PUBLIC lib)
add_executable(shapes-app app/main.c)
target_link_libraries(shapes-app shapes)
add_executable(shape_check tests/check.c)
target_link_libraries(shape_check shapes)
add_test(NAME check COMMAND shape_check)
M
  for side in qub gcov; do
    rm -rf "$WORK/cmake-$side"
    cp -r "$WORK/proj" "$WORK/cmake-$side"
  done
  gen="Unix Makefiles"
  command -v ninja >/dev/null && gen=Ninja
  launcher="$QUB;-i;m;-n;$WORK/cmake-qub/MON.sym"
  (cd "$WORK/cmake-qub" && cmake -S . -B build -G "$gen" -DCMAKE_C_COMPILER=gcc -DCMAKE_C_FLAGS=-O2 \
    "-DCMAKE_C_COMPILER_LAUNCHER=$launcher" "-DCMAKE_C_LINKER_LAUNCHER=$launcher" &&
    cmake --build build && ctest --test-dir build --output-on-failure) >"$WORK/cmake.out" 2>&1
  check "cmake $gen: launcher build succeeds and the test passes" test $? -eq 0 || tail -n 30 "$WORK/cmake.out" >&2
  same_program "cmake" "$WORK/cmake-qub/build/shapes-app"
  described "cmake" "$WORK/cmake-qub/MON.sym"
  check "cmake: nothing left in the temporary directory" test -z "$(ls -A "$TMPDIR")"
  if [ $probes = 1 ]; then
    (cd "$WORK/cmake-gcov" && cmake -S . -B build -G "$gen" -DCMAKE_C_COMPILER=gcc "-DCMAKE_C_FLAGS=-O0 --coverage" \
      -DCMAKE_EXE_LINKER_FLAGS=--coverage -DCMAKE_SHARED_LINKER_FLAGS=--coverage &&
      cmake --build build && ctest --test-dir build && ./build/shapes-app) >/dev/null 2>&1
    "$WORK/cmake-qub/build/shapes-app" >/dev/null
    oracle_counts "cmake" "$WORK/cmake-qub" "$WORK/cmake-gcov"
  fi
else
  echo "NOTE: cmake is not installed; the CMake build is left out"
fi
finish
