#!/usr/bin/env bash
# Words reach the compiler as the user wrote them: the compiler's @files by its own
# rules, words that some shells expand, -C values with double quotes at any depth of
# nested runs; and a stop signal ends the run, its child and its temporary files.
source "$(dirname "$0")/plain_lib.sh"

cat >"$SRC/show.c" <<'C'
#include <stdio.h>
int main(void) { puts(STR); puts(Q); puts(D); puts(B); puts(N); return 0; }
C
# GNU rules: a backslash takes any character along, also inside quotes; quotes group.
cat >"$SRC/flags.rsp" <<'RSP'
-DSTR=\"a\ b\" '-DQ="single quoted"'
"-DD=\"double \\\\ quoted\"" @more.rsp
RSP
printf -- "'-DB=\"{a,b} brace\"' '-DN=\"!bang\"'\n" >"$SRC/more.rsp"
for cc in gcc clang; do
  have "$cc" || continue
  same_as_plain "$cc @file with backslashes and quotes" . "$cc" @flags.rsp -o show show.c
  same_output "$cc @file" show
  same_as_plain "$cc with words that shells expand" . "$cc" '-DSTR="{x,y}"' '-DQ="!x"' '-DD="a{b}c"' \
    '-DB="$HOME"' '-DN="*"' -o show show.c
  same_output "$cc expanded words" show
done
# gcc keeps a word @name that names no file as it is (and then fails on it).
same_as_plain "gcc @file that names no file" . gcc @missing.rsp -DSTR='"s"' -DQ='"q"' -DD='"d"' -DB='"b"' \
  -DN='"n"' -c show.c

# A -C value with double quotes reaches the configuration as typed, also in runs nested
# through QUBOPTS (a hook that runs qub again, three levels deep).
mkdir -p "$WORK/nest" && cd "$WORK/nest" || exit 1
printf 'int f(void) { return 1; }\n' >f.c
cat >hook <<'SH'
#!/bin/sh
depth=$((HOOK_DEPTH + 1))
[ "$depth" -gt 3 ] && exit 0
mkdir -p "$NEST/$depth"
HOOK_DEPTH=$depth TEMP="$NEST/$depth" "$QUB" -dump-config gcc -c "$NEST/f.c" -o "$NEST/$depth/f.o" >/dev/null 2>&1
SH
chmod +x hook
mkdir -p top
NEST="$WORK/nest" HOOK_DEPTH=0 QUB="$QUB" TEMP="$WORK/nest/top" \
  "$QUB" -dump-config -C 'DATAFILE="my data.dat"' -C RUN_AFTER_CPP="$WORK/nest/hook" gcc -c f.c -o f.o
check "a nested run: the outer run succeeds" test $? -eq 0
for level in top 1 2 3; do
  check "the -C value at level $level is as typed" grep -qx -- '- DATAFILE=my data.dat' "$WORK/nest/$level"/qublog/*
done

# A stop signal during a compile: exit status 128 + signal, the compiler and what it
# started are ended, no temporary file is left.
mkdir -p "$WORK/stop/bin" "$WORK/stop/tmp"
cd "$WORK/stop" || exit 1
cat >bin/slowcc <<'SH'
#!/bin/sh
for a in "$@"; do [ "$a" = -E ] && exec gcc "$@"; done
sleep 60 &
echo $! >"$STOP_PID"
wait
SH
chmod +x bin/slowcc
printf '[slowcc]\nCOMMAND = slowcc\n' >qub.ini
printf 'int main(void) { return 0; }\n' >a.c
set -m  # background runs get the default action for SIGINT, as from a terminal
for sig in TERM INT HUP; do
  rm -f child.pid
  PATH="$WORK/stop/bin:$PATH" STOP_PID="$WORK/stop/child.pid" TEMP="$WORK/stop/tmp" "$QUB" slowcc -o app a.c &
  qub_pid=$!
  for i in $(seq 1 100); do [ -s child.pid ] && break; sleep 0.1; done
  kill -"$sig" "$qub_pid"
  wait "$qub_pid"
  rc=$?
  expected=$((128 + $(kill -l "$sig")))
  check "SIG$sig: exit status $expected ($rc)" test "$rc" -eq "$expected"
  sleep 0.2
  child=$(cat child.pid 2>/dev/null)
  state=$(sed 's/.*) //' "/proc/${child:-0}/stat" 2>/dev/null | cut -d' ' -f1)  # its state, or none
  check "SIG$sig: the compiler's own child is ended ($state)" test -z "$state" -o "${state#Z}" != "$state"
  [ -n "$state" ] && [ "${state#Z}" = "$state" ] && kill "$child"
  check "SIG$sig: no temporary file left" test -z "$(ls -A tmp)"
  check "SIG$sig: no object or program left" test ! -e app -a ! -e a.o
done
set +m

finish
