#!/usr/bin/env bash
# Many qub processes at once build into one symbol file: no description is lost and
# the file stays well formed, under the system lock and under the lock file.
source "$(dirname "$0")/lib.sh"
export TEMP="$WORK/tmp"
mkdir -p "$TEMP" "$WORK/src"
cd "$WORK/src" || exit 1

files=192
for i in $(seq 1 $files); do
  printf 'int f%d(int x);\nint v%d = %d;\n' "$i" "$i" "$i" >"f$i.c"
done

build_all() {  # build_all: compiles every file with 32 processes at a time
  seq 1 $files | xargs -P 32 -I{} "$QUB" gcc -c f{}.c -o f{}.o
}

well_formed() {  # well_formed SYMFILE COUNT
  local sym=$1 want=$2
  [ "$(head -n 1 "$sym")" = "QUB++ sym 9" ] || return 1
  [ "$(grep -c '^@' "$sym")" -eq "$want" ] || return 1
  [ "$(grep -c '^%' "$sym")" -eq "$want" ] || return 1
  [ "$(sort "$sym" | grep '^@' | uniq -d | wc -l)" -eq 0 ] || return 1
  [ "$(tail -n 1 "$sym")" = 'END OF SYMBOLFILE' ]
}

for mode in system lockfile; do
  rm -f MON.sym MON.sym.lock ./*.o
  if [ $mode = lockfile ]; then export QUB_LOCK_MAX_WAIT=60; else unset QUB_LOCK_MAX_WAIT; fi
  build_all
  check "$mode: every compile succeeded" test "$(ls ./*.o | wc -l)" -eq $files
  check "$mode: one description per file" well_formed MON.sym $files
  # Again, with half of the files changed: updated in place, nothing lost.
  for i in $(seq 1 2 $files); do printf 'int w%d;\n' "$i" >>"f$i.c"; done
  build_all
  check "$mode: rebuild keeps one description per file" well_formed MON.sym $files
  check "$mode: no lock file left" test ! -e MON.sym.lock
done

# A lock file left by a process that no longer exists does not block the build.
sh -c 'exit 0' &
dead=$!
wait $dead
printf '%d' "$dead" >MON.sym.lock
export QUB_LOCK_MAX_WAIT=10
printf 'int fresh;\n' >fresh.c
check "a stale lock file is taken over" "$QUB" gcc -c fresh.c -o fresh.o
check "the stale lock file is gone" test ! -e MON.sym.lock
check "the new description is there" grep -q "^@$WORK/src/fresh.c\$" MON.sym
check "no temporary file is left" test -z "$(ls -A "$TEMP")"

finish
