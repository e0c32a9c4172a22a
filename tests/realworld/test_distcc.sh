#!/usr/bin/env bash
# qub in front of distcc's compiler links (/usr/lib/distcc/gcc): instrumentation and
# the symbol file stay on this machine, the instrumented text is compiled by a distccd
# that the test starts on 127.0.0.1, and the program counts as a local build does.
source "$(dirname "$0")/lib.sh"
need gcc g++ distcc distccd python3
masq=/usr/lib/distcc
[ -x "$masq/gcc" ] && [ -x "$masq/g++" ] || skip "no distcc compiler links in $masq"

# --- a distccd of our own on the loopback address --------------------------------------------
chmod 711 "$WORK"
mkdir -m 1777 "$WORK/server"
log=$WORK/server/distccd.log
: >"$log"
chmod 666 "$log"
user_opt=()
[ "$(id -u)" = 0 ] && user_opt=(--user nobody)
port=
for try in 1 2 3 4 5; do
  p=$((20000 + RANDOM % 40000))
  TMPDIR=$WORK/server distccd --no-detach --daemon --allow 127.0.0.1 --listen 127.0.0.1 --port "$p" \
    --jobs 2 --log-file "$log" --log-level info "${user_opt[@]}" &
  pid=$!
  for _ in $(seq 50); do
    if (exec 3<>"/dev/tcp/127.0.0.1/$p") 2>/dev/null; then port=$p; break; fi
    kill -0 "$pid" 2>/dev/null || break
    sleep 0.1
  done
  [ -n "$port" ] && break
  kill "$pid" 2>/dev/null
  wait "$pid" 2>/dev/null
done
[ -n "$port" ] || { tail -n 5 "$log"; skip "distccd would not listen on 127.0.0.1"; }
cleanup_hooks+=("kill $pid 2>/dev/null; wait $pid 2>/dev/null")
export DISTCC_HOSTS="127.0.0.1:$port/2" DISTCC_DIR=$WORK/distcc DISTCC_FALLBACK=0 DISTCC_SKIP_LOCAL_RETRY=1
unset DISTCC_VERBOSE DISTCC_LOG DISTCC_SAVE_TEMPS DISTCC_POTENTIAL_HOSTS
mkdir -p "$DISTCC_DIR"

# --- the project -------------------------------------------------------------------------------
mkdir -p "$WORK/src"
cd "$WORK/src" || exit 1
cat >calc.h <<'C'
#define CALC_LIMIT 40
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
  for (i = 0; i < n && i < CALC_LIMIT; i++) s += calc_step(i);
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
int main(int argc, char **argv) {
  printf("%d %d\n", calc_sum(argc > 1 ? 10 : 50), words_count(argc > 1 ? argv[1] : "a b c d"));
  return 0;
}
C
expected=$(gcc -c calc.c main.c && g++ -c words.cpp && g++ -o plain calc.o main.o words.o && ./plain)
rm -f ./*.o plain

cp -r "$WORK/src" "$WORK/qub"
cd "$WORK/qub" || exit 1
jobs_before=$(grep -c 'COMPILE_OK' "$log")
"$QUB" -i m "$masq/gcc" -O2 -c calc.c -o calc.o >"$WORK/build.out" 2>&1 &&
  "$QUB" -i m "$masq/gcc" -O2 -c main.c -o main.o >>"$WORK/build.out" 2>&1 &&
  "$QUB" -i m "$masq/g++" -O2 -c words.cpp -o words.o >>"$WORK/build.out" 2>&1 &&
  "$QUB" g++ -o app calc.o main.o words.o >>"$WORK/build.out" 2>&1
check "the build through qub and distcc succeeds" test $? -eq 0 || { cat "$WORK/build.out"; tail "$log"; } >&2
check "distccd compiled three sources" test "$(($(grep -c 'COMPILE_OK' "$log") - jobs_before))" = 3
for f in calc.c main.c words.cpp; do
  # qub's instrumented text of a source lies in a temporary directory of its own
  check "distccd compiled qub's instrumented text of $f" grep -q "COMPILE_OK .*/QUB\.[0-9]*\.[0-9]*/$f\$" "$log"
  check "the symbol file here describes $f" grep -q "^@$WORK/qub/$f\$" MON.sym
done
check "the program behaves as without qub" test "$(./app)" = "$expected"
check "nothing left in the temporary directory" test -z "$(ls -A "$TMPDIR")"
check "distcc fell back to no local compile" test -z "$(grep -l 'failed to distribute' "$WORK/build.out")"

if have_function_probes; then
  (./app && ./app x) >/dev/null
  cp -r "$WORK/src" "$WORK/gcov"
  (cd "$WORK/gcov" && gcc -O0 --coverage -c calc.c main.c && g++ -O0 --coverage -c words.cpp &&
    g++ --coverage -o app calc.o main.o words.o && ./app && ./app x) >/dev/null
  counts_agree "distcc build" "$WORK/qub" "$WORK/gcov" 5
else
  echo "NOTE: qub places no function probes yet; the count checks are left out"
fi
finish
