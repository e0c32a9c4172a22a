#!/usr/bin/env bash
# An installed qub finds its configuration, header and runtime with nothing set.
source "$(dirname "$0")/lib.sh"
export TEMP="$WORK/tmp"
mkdir -p "$TEMP"
cmake --install "$QUB_BINARY_DIR" --prefix "$WORK/inst" >/dev/null
for f in bin/qub share/qub/qub.ini include/qub.h lib/libqub.a; do
  check "installed $f" test -f "$WORK/inst/$f"
done
cd "$WORK" || exit 1
printf '#include <stdio.h>\nint main(void) { puts("installed"); return 0; }\n' >hello.c
env -u QUBHOME "$WORK/inst/bin/qub" gcc -o hello hello.c
check "the installed qub builds a program" test "$(./hello)" = installed
check "its symbol file describes the source" grep -q "^@$WORK/hello.c\$" MON.sym
out=$(env -u QUBHOME "$WORK/inst/bin/qub" -V 2>&1)
check "-V shows the installed configuration loaded" grep -q "$WORK/inst/share/qub/qub.ini ... Loaded" <<<"$out"
finish
