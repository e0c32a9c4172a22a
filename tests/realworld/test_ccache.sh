#!/usr/bin/env bash
# qub in front of ccache's compiler links (/usr/lib/ccache/gcc, or that directory first
# in PATH): the instrumented text goes through ccache; a rebuild of unchanged sources
# takes every object from the cache, the objects and the symbol file stay as they were,
# and the counts of the rebuilt program are still right.
source "$(dirname "$0")/lib.sh"
need gcc g++ ccache python3
masq=/usr/lib/ccache
[ -x "$masq/gcc" ] && [ -x "$masq/g++" ] || skip "no ccache compiler links in $masq"
export CCACHE_DIR=$WORK/ccache CCACHE_CONFIGPATH=$WORK/ccache.conf
unset CCACHE_DISABLE CCACHE_NOSTATS CCACHE_RECACHE CCACHE_READONLY CCACHE_PREFIX CCACHE_LOGFILE
: >"$CCACHE_CONFIGPATH"

mkdir -p "$WORK/src"
cd "$WORK/src" || exit 1
cat >calc.h <<'C'
int calc_step(int x);
int calc_sum(int n);
C
cat >calc.c <<'C'
#include "calc.h"
int calc_step(int x) {
  if (x % 3 == 0) return x / 3;
  return x + 1;
}
int calc_sum(int n) {
  int s = 0, i;
  for (i = 0; i < n; i++) s += calc_step(i);
  return s;
}
C
cat >words.cpp <<'C'
#include <string>
#include <vector>
template <typename T> T twice(T x) { return x + x; }
extern "C" int words_count(const char *text) {
  std::vector<std::string> words(1);
  for (const char *p = text; *p; p++) {
    if (*p == ' ') words.emplace_back();
    else words.back() += *p;
  }
  return twice(static_cast<int>(words.size()));
}
C
cat >main.c <<'C'
#include <stdio.h>
#include "calc.h"
int words_count(const char *text);
int main(void) {
  printf("%d %d\n", calc_sum(40), words_count("a b c d"));
  return 0;
}
C
expected=$(gcc -c calc.c main.c && g++ -c words.cpp && g++ -o plain calc.o main.o words.o && ./plain)
rm -f ./*.o plain

# stat NAME: one of ccache's counters
stat() { ccache --print-stats | awk -v k="$1" '$1 == k { print $2 }'; }
hits() { echo $(($(stat direct_cache_hit) + $(stat preprocessed_cache_hit))); }

# build DIR: compiles and links the three sources through qub and ccache in DIR
build() {
  rm -rf "$1"
  cp -r "$WORK/src" "$1"
  (cd "$1" && "$QUB" -i m "$masq/gcc" -O2 -c calc.c -o calc.o &&
    "$QUB" -i m "$masq/gcc" -O2 -c main.c -o main.o &&
    "$QUB" -i m "$masq/g++" -O2 -c words.cpp -o words.o &&
    "$QUB" "$masq/g++" -o app calc.o main.o words.o) >"$1.out" 2>&1
}

ccache -z >/dev/null
build "$WORK/one"
check "first build succeeds" test $? -eq 0 || cat "$WORK/one.out" >&2
check "first build: the program behaves as without qub" test "$(cd "$WORK/one" && ./app)" = "$expected"
check "first build: three cache misses" test "$(stat cache_miss)" = 3
check "first build: nothing taken from the cache" test "$(hits)" = 0

# The same sources built again in the same directory: every compile is a cache hit.
cp "$WORK/one/MON.sym" "$WORK/one.sym"
for o in calc main words; do cp "$WORK/one/$o.o" "$WORK/one.$o.o"; done
rm -f "$WORK/one/"*.o "$WORK/one/app"
(cd "$WORK/one" && "$QUB" -i m "$masq/gcc" -O2 -c calc.c -o calc.o &&
  "$QUB" -i m "$masq/gcc" -O2 -c main.c -o main.o &&
  "$QUB" -i m "$masq/g++" -O2 -c words.cpp -o words.o &&
  "$QUB" "$masq/g++" -o app calc.o main.o words.o) >"$WORK/again.out" 2>&1
check "rebuild succeeds" test $? -eq 0 || cat "$WORK/again.out" >&2
check "rebuild: all three compiles are cache hits" test "$(hits)" = 3
check "rebuild: no new cache miss" test "$(stat cache_miss)" = 3
for o in calc main words; do
  check "rebuild: $o.o is the same object" cmp -s "$WORK/one.$o.o" "$WORK/one/$o.o"
done
check "rebuild: the symbol file is unchanged" cmp -s "$WORK/one.sym" "$WORK/one/MON.sym"
check "rebuild: the program behaves as without qub" test "$(cd "$WORK/one" && ./app)" = "$expected"

# ccache's directory first in PATH, qub given the plain compiler names.
ccache -z >/dev/null
rm -rf "$WORK/path"
cp -r "$WORK/src" "$WORK/path"
(cd "$WORK/path" && PATH=$masq:$PATH "$QUB" -i m gcc -O2 -c calc.c -o calc.o &&
  PATH=$masq:$PATH "$QUB" -i m gcc -O2 -c main.c -o main.o &&
  PATH=$masq:$PATH "$QUB" -i m g++ -O2 -c words.cpp -o words.o &&
  PATH=$masq:$PATH "$QUB" g++ -o app calc.o main.o words.o) >"$WORK/path.out" 2>&1
check "compiler links first in PATH: the build succeeds" test $? -eq 0 || cat "$WORK/path.out" >&2
check "compiler links first in PATH: the compiles went through ccache" test "$(($(hits) + $(stat cache_miss)))" = 3

# A changed source misses, the others hit, and the symbol file takes the change.
ccache -z >/dev/null
printf 'int calc_extra(void) { return 7; }\n' >>"$WORK/one/calc.c"
(cd "$WORK/one" && "$QUB" -i m "$masq/gcc" -O2 -c calc.c -o calc.o &&
  "$QUB" -i m "$masq/gcc" -O2 -c main.c -o main.o &&
  "$QUB" "$masq/g++" -o app calc.o main.o words.o) >"$WORK/change.out" 2>&1
check "changed source: the build succeeds" test $? -eq 0 || cat "$WORK/change.out" >&2
check "changed source: one miss, one hit" test "$(stat cache_miss) $(hits)" = "1 1"
probes=0
have_function_probes && probes=1
[ $probes = 1 ] &&
  check "changed source: the symbol file changed" test -n "$(cmp "$WORK/one.sym" "$WORK/one/MON.sym" 2>&1)"

# Counts of the cached build, twice run, against gcc's own coverage of the same sources.
if [ $probes = 1 ]; then
  rm -f "$WORK/one/MON.dat"
  (cd "$WORK/one" && ./app && ./app) >/dev/null
  rm -rf "$WORK/gcov"
  cp -r "$WORK/one" "$WORK/gcov"
  (cd "$WORK/gcov" && rm -f ./*.o app MON.* && gcc -O0 --coverage -c calc.c main.c &&
    g++ -O0 --coverage -c words.cpp && g++ --coverage -o app calc.o main.o words.o && ./app && ./app) >/dev/null
  counts_agree "cached build" "$WORK/one" "$WORK/gcov" 5
else
  echo "NOTE: qub places no function probes yet; the count checks are left out"
fi
finish
