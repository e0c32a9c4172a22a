#!/usr/bin/env bash
# The per-file path on bad and unusual input: never a crash, numbered errors, exit
# statuses 0 and 1, and no temporary file left behind.
source "$(dirname "$0")/lib.sh"

tmp="$WORK/tmp"
mkdir -p "$tmp"
export TEMP="$tmp"

run_pipe() {  # run_pipe INPUT-TEXT-FILE [-k]: sets rc, err
  local input=$1
  shift
  err=$("$QUB_PIPE" "$@" "$input" "src.c" "$WORK/out.c" 2>&1 >/dev/null)
  rc=$?
}

# Empty file: exit 0, a frame with no body, temporary files gone.
: >"$WORK/empty.i"
run_pipe "$WORK/empty.i"
check "empty file exits 0" test "$rc" -eq 0
check "empty file output has #line 1" grep -q '^#line 1 "src.c"$' "$WORK/out.c"
check "no temporary file after success" test -z "$(ls -A "$tmp")"

# A NUL byte in the middle of a line.
printf 'int a;\nint b\0 = 3;\nint c;\n' >"$WORK/nul.i"
run_pipe "$WORK/nul.i"
check "NUL byte does not crash" test "$rc" -eq 0

# Unterminated string and raw string: error 26 when the token is copied, no crash.
printf 'char *s = "never closed;\nint x;\n' >"$WORK/unterminated.i"
run_pipe "$WORK/unterminated.i"
check "unterminated string exits 1 ($rc)" test "$rc" -eq 1
check "unterminated string gives error 26" \
  test "$err" = "QUB++ error 26: Syntax error in file $WORK/unterminated.i at line 3 "
printf 'const char *r = R"d(never\nclosed\n' >"$WORK/raw.i"
err=$("$QUB_PIPE" -x c++ "$WORK/raw.i" src.cpp "$WORK/out.cpp" 2>&1 >/dev/null)
rc=$?
check "unterminated raw string ends without a crash ($rc)" test "$rc" -le 1
check "no temporary file after an unterminated raw string" test -z "$(ls -A "$tmp")"

# A 20000-byte identifier: error 26, exit 1, temporary files gone.
{ printf 'int '; head -c 20000 /dev/zero | tr '\0' 'a'; printf ';\n'; } >"$WORK/longid.i"
run_pipe "$WORK/longid.i"
check "long identifier exits 1" test "$rc" -eq 1
check "long identifier gives error 26" \
  test "$err" = "QUB++ error 26: Syntax error in file $WORK/longid.i at line 1 (token too long)"
check "no temporary file after error 26" test -z "$(ls -A "$tmp")"

# -k keeps the instrumented temporary file.
run_pipe "$WORK/nul.i" -k
check "-k run exits 0" test "$rc" -eq 0
check "-k keeps the temporary file" test -n "$(ls -A "$tmp")"
rm -f "$tmp"/*

# An identifier beginning with qub_: warning 10, the run goes on.
printf 'int qub_x;\n' >"$WORK/qubid.i"
run_pipe "$WORK/qubid.i"
check "qub_ identifier exits 0" test "$rc" -eq 0
check "qub_ identifier gives warning 10" \
  test "$err" = "QUB++ warning 10: Identifier begins with 'qub_' in file $WORK/qubid.i at line 1"

# An unreadable input: error 22.
run_pipe "$WORK/does-not-exist.i"
check "missing input exits 1" test "$rc" -eq 1
check "missing input gives error 22" \
  test "$err" = "QUB++ error 22: Cannot open file $WORK/does-not-exist.i: No such file or directory"

# An unhandled failure prints the failure line and ends by the same signal.
mkfifo "$WORK/fifo.i"
"$QUB_PIPE" "$WORK/fifo.i" src.c "$WORK/out.c" 2>"$WORK/fail.err" &
pid=$!
sleep 0.3
kill -SEGV "$pid"
wait "$pid"
rc=$?
check "failure ends by the signal ($rc)" test "$rc" -eq 139
check "failure line is printed" test "$(cat "$WORK/fail.err")" = "QUB: application failure (0x0000000b)"

finish
