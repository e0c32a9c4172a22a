#!/usr/bin/env bash
# A qub that waits for the symbol file's lock file ends at SIGINT, SIGTERM or SIGHUP
# with 128 plus the signal, leaves the holder's lock file and the symbol file alone,
# and leaves no temporary file behind.
source "$(dirname "$0")/lib.sh"
export TEMP="$WORK/tmp"
mkdir -p "$TEMP" "$WORK/src"
cd "$WORK/src" || exit 1
printf 'int f(int x)\n{\n  return x ? 1 : 2;\n}\n' >a.c
printf 'int g;\n' >b.c
check "first build" "$QUB" gcc -c b.c -o b.o
cp MON.sym before.sym

sleep 300 &
holder=$!
printf '%d\n' "$holder" >MON.sym.lock
export QUB_LOCK_MAX_WAIT=60
set -m  # background jobs of a script would otherwise ignore SIGINT from the start
for sig in INT TERM HUP; do
  "$QUB" gcc -c a.c -o a.o &
  waiter=$!
  sleep 0.5
  kill -0 "$waiter" 2>/dev/null
  check "SIG$sig: still waiting" test $? -eq 0
  kill -s "$sig" "$waiter"
  wait "$waiter"
  status=$?
  check "SIG$sig: exit status 128 + $(kill -l "$sig") ($status)" test "$status" -eq $((128 + $(kill -l "$sig")))
  check "SIG$sig: the holder's lock file stays" test "$(cat MON.sym.lock)" = "$holder"
  check "SIG$sig: the symbol file is unchanged" cmp -s before.sym MON.sym
  check "SIG$sig: no temporary file is left" test -z "$(ls -A "$TEMP")"
  check "SIG$sig: nothing beside the symbol file" test "$(ls MON.sym*)" = "$(printf 'MON.sym\nMON.sym.lock')"
done
set +m
kill "$holder"
wait "$holder" 2>/dev/null
rm -f MON.sym.lock
check "after the holder is gone the build goes through" "$QUB" gcc -c a.c -o a.o
check "and a.c is described" grep -q "^@$WORK/src/a.c\$" MON.sym
finish
