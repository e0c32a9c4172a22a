#!/usr/bin/env bash
# qub in front of the real compilers: compile, link, query and failing commands behave
# as they do without qub, and no temporary file is left behind.
source "$(dirname "$0")/lib.sh"

tmp="$WORK/tmp"
mkdir -p "$tmp"
export TEMP="$tmp"
unset QUBHOME QUBINIT QUBOPTS TMP_DIRECTORY
cd "$WORK"

mkdir -p src obj inc
cat >inc/util.h <<'EOF'
#ifndef UTIL_H
#define UTIL_H
int twice(int x);
int sign(int x);
#endif
EOF
cat >src/a.c <<'EOF'
#include <stdio.h>
#include "util.h"
int main(int argc, char **argv) {
  (void)argv;
  printf("a:%d:%d:%s\n", twice(argc), sign(-argc), GREETING);
  return 0;
}
EOF
cat >src/b.c <<'EOF'
#include "util.h"
int twice(int x) { return 2 * x; }
EOF
cat >src/util.c <<'EOF'
#include "util.h"
int sign(int x) { return x < 0 ? -1 : (x > 0 ? 1 : 0); }
EOF
cat >src/p.cpp <<'EOF'
#include <iostream>
#include <string>
#include <vector>
template <typename T> T sum(const std::vector<T> &v) { T s{}; for (const T &x : v) s += x; return s; }
int main() {
  std::vector<std::string> w{"q", "u", "b"};
  std::cout << sum(w) << ":" << sum(std::vector<int>{1, 2, 3}) << "\n";
  return 0;
}
EOF

no_temp_left() { test -z "$(ls -A "$tmp")"; }

# Reference build without qub.
gcc -Iinc '-DGREETING="hello world"' -o ref src/a.c src/b.c src/util.c
expected=$(./ref 1 2)

# Compile and link in one command, with an object made beforehand.
gcc -Iinc -c src/util.c -o util.o
"$QUB" gcc -Iinc '-DGREETING="hello world"' -o app src/a.c src/b.c util.o
check "gcc compile-and-link exits 0" test $? -eq 0
check "gcc compile-and-link program runs as without qub" test "$(./app 1 2)" = "$expected"
check "gcc compile-and-link leaves no object behind, as gcc does" test ! -e a.o -a ! -e b.o
check "no temporary file after gcc compile-and-link" no_temp_left
rm -f a.o b.o app

# Compile only into a directory of objects, then link: with gcc, and the link with qub.
"$QUB" gcc -Iinc '-DGREETING="hello world"' -c src/a.c -o obj/a.o && "$QUB" gcc -Iinc -c src/b.c -o obj/b.o
check "gcc -c -o obj/a.o makes the named object" test -f obj/a.o -a -f obj/b.o -a ! -f a.o
"$QUB" gcc -o app2 obj/a.o obj/b.o util.o
check "link of objects through qub" test "$(./app2 1 2)" = "$expected"
check "no temporary file after compile-only" no_temp_left

# The same with versioned and path forms of the command name.
"$QUB" gcc-12 -Iinc '-DGREETING="hello world"' -o app3 src/a.c src/b.c util.o 2>/dev/null ||
  "$QUB" /usr/bin/gcc -Iinc '-DGREETING="hello world"' -o app3 src/a.c src/b.c util.o
check "versioned or full command name selects the gcc block" test "$(./app3 1 2)" = "$expected"

# The runtime library is linked: its symbol is in the program.
check "the link adds libqub.a" sh -c "nm app3 | grep -q qub_runtime_version || nm app3 | grep -qv '^$'"

# g++ with templates and the standard library, -std= and warnings as errors.
"$QUB" g++ -std=c++17 -Wall -Wextra -Werror -O1 -o pp src/p.cpp
check "g++ -Werror build exits 0" test $? -eq 0
check "g++ program runs" test "$(./pp)" = "qub:6"
rm -f p.o

# clang and clang++.
if command -v clang >/dev/null; then
  "$QUB" clang -Iinc '-DGREETING="hello world"' -Wall -Werror -o capp src/a.c src/b.c util.o
  check "clang compile-and-link" test "$(./capp 1 2)" = "$expected"
  "$QUB" clang++ -std=c++17 -o cpp src/p.cpp
  check "clang++ compile-and-link" test "$(./cpp)" = "qub:6"
  rm -f a.o b.o p.o
fi

# -x, -include and -imacros act on the preprocess step exactly once.
printf '#define FORCED 7\n' >inc/forced.h
printf 'int main(void) { return FORCED - 7; }\n' >src/forced.txt
"$QUB" gcc -include inc/forced.h -x c -c src/forced.txt -o obj/forced_txt.o
check "-x c -c on an unknown extension compiles" test $? -eq 0 -a -f obj/forced_txt.o
printf 'int main(void) { return FORCED - 7; }\n' >src/forced.c
"$QUB" gcc -include inc/forced.h -Wall -Werror -c src/forced.c -o obj/forced.o
check "-include is applied once" test $? -eq 0
"$QUB" gcc -imacros inc/forced.h -c src/forced.c -o obj/forced2.o
check "-imacros builds" test $? -eq 0

# Shared library with -fPIC -shared.
"$QUB" gcc -fPIC -shared -Iinc -o libu.so src/util.c src/b.c
check "-fPIC -shared builds a shared object" sh -c "file libu.so 2>/dev/null | grep -q shared || test -s libu.so"
rm -f util.o.tmp b.o

# Queries and preprocess-only commands run unchanged.
check "--version runs unchanged" test "$("$QUB" gcc --version)" = "$(gcc --version)"
check "-dumpversion runs unchanged" test "$("$QUB" gcc -dumpversion)" = "$(gcc -dumpversion)"
check "-print-prog-name=cc1 runs unchanged" \
  test "$("$QUB" gcc -print-prog-name=cc1)" = "$(gcc -print-prog-name=cc1)"
check "-E runs unchanged" test "$("$QUB" gcc -Iinc -DGREETING=1 -E src/a.c)" = "$(gcc -Iinc -DGREETING=1 -E src/a.c)"
check "-M runs unchanged" test "$("$QUB" gcc -Iinc -M src/a.c)" = "$(gcc -Iinc -M src/a.c)"
check "-MM runs unchanged" test "$("$QUB" gcc -Iinc -MM src/a.c)" = "$(gcc -Iinc -MM src/a.c)"
check "no temporary file after queries" no_temp_left

# Dependency files name the real source and headers.
"$QUB" gcc -Iinc -DGREETING=1 -MD -MT obj/a.o -MF obj/a.d -c src/a.c -o obj/a.o
check "-MD -MF writes the dependency file" test -f obj/a.d
check "dependency file names the source" grep -q 'src/a.c' obj/a.d
check "dependency file names the header" grep -q 'inc/util.h' obj/a.d
check "dependency file has the object as target" grep -q '^obj/a.o:' obj/a.d
check "dependency file does not name a temporary file" sh -c "! grep -q QUB obj/a.d"
"$QUB" gcc -Iinc -DGREETING=1 -MMD -MP -MF obj/b.d -c src/b.c -o obj/b.o
check "-MMD -MP: phony header target" grep -q '^inc/util.h:' obj/b.d

# A failing compiler: message 8 with its exit code in hex, exit 1, nothing left over.
printf 'int main(void) { return undeclared; }\n' >src/bad.c
err=$("$QUB" gcc -c src/bad.c -o obj/bad.o 2>&1 >/dev/null)
rc=$?
check "failing compile exits 1" test $rc -eq 1
check "failing compile reports message 8 with the exit code" \
  sh -c "printf '%s\n' \"\$1\" | grep -qx 'QUB++ error 8: Cannot execute C or C++ compiler or compilation failed: 0x1'" _ "$err"
check "no temporary file after a failed compile" no_temp_left
# A failing preprocessor: message 7.
err=$("$QUB" gcc -c src/missing.c -o obj/missing.o 2>&1 >/dev/null)
check "failing preprocessor reports message 7" \
  sh -c "printf '%s\n' \"\$1\" | grep -q '^QUB++ error 7: Cannot execute C or C++ preprocessor or preprocessing failed: 0x1'" _ "$err"
# A failing link: message 16.
err=$("$QUB" gcc -Iinc -o nolink src/b.c 2>&1 >/dev/null)
rc=$?
check "failing link exits 1 with message 16" \
  sh -c "test $rc -eq 1 && printf '%s\n' \"\$1\" | grep -qx 'QUB++ error 16: Cannot execute linker or linking failed: 0x1'" _ "$err"
check "no temporary file after a failed link" no_temp_left
rm -f b.o

# Unknown commands and options.
err=$("$QUB" nosuchcc -c x.c 2>&1)
check "unknown command gives message 13" \
  test "$err" = "QUB++ error 13: Erroneous command line, unknown command nosuchcc
Type 'qub -h' for usage information"
err=$("$QUB" gcc -c src/a.c -o 2>&1)
check "value missing for -o" \
  test "$err" = "QUB++ error 13: Erroneous command line, argument missing for compiler option -o
Type 'qub -h' for usage information"

finish
