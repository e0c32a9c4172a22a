#!/usr/bin/env bash
# Every word of a command reaches the compiler byte for byte, through the command
# interpreter, the direct start and a response file; hooks, RUN_BEFORE_ALL, -2comp,
# -no-comp, -k and excluded sources.
source "$(dirname "$0")/lib.sh"

tmp="$WORK/tmp"
mkdir -p "$tmp" "$WORK/bin"
export TEMP="$tmp"
unset QUBHOME QUBINIT QUBOPTS TMP_DIRECTORY
cd "$WORK"
no_temp_left() { test -z "$(ls -A "$tmp")"; }

# A fake compiler that records its argv, one "<word>" line per word, and makes the
# files a compiler would make. FAKECC_FAIL_ON="w1 w2" makes a call that has all of
# these words fail with exit code 3.
cat >bin/fakecc <<'EOF'
#!/usr/bin/env bash
{
  echo CALL
  for a in "$@"; do printf '<%s>\n' "$a"; done
} >>"$FAKECC_LOG"
out= prev= pre= missing=0
for f in ${FAKECC_FAIL_ON:-}; do
  found=0
  for a in "$@"; do [ "$a" = "$f" ] && found=1; done
  [ $found = 1 ] || missing=1
done
[ -n "${FAKECC_FAIL_ON:-}" ] && [ $missing = 0 ] && exit 3
for a in "$@"; do
  [ "$prev" = -o ] && out=$a
  [ "$prev" = -E ] && pre=$a
  [ "$prev" = -E ] && [ "$a" = -C ] && continue  # comments kept: the file comes next
  prev=$a
done
if [ -n "$pre" ]; then cp "$pre" "$out"; elif [ -n "$out" ]; then : >"$out"; fi
exit 0
EOF
chmod +x bin/fakecc
export PATH="$WORK/bin:$PATH"
export FAKECC_LOG="$WORK/fake.log"
printf '[fakecc]\nCOMMAND = fakecc\n' >qub.ini
printf 'int f(void) { return 1; }\n' >src.c

# calls KIND: the recorded calls of one kind (pre, comp, link), separated by CALL lines.
calls() {
  awk -v kind="$1" '
    function flush() { if (n) { k = "link"; for (i = 1; i <= n; i++) { if (w[i] == "<-E>") k = "pre"; else if (w[i] == "<-c>" && k != "pre") k = "comp" }
                       if (k == kind) { print "CALL"; for (i = 1; i <= n; i++) print w[i] } } n = 0 }
    /^CALL$/ { flush(); next } { w[++n] = $0 } END { flush() }' "$FAKECC_LOG"
}
lacks_word() { ! has_word "$@"; }
has_word() {  # has_word KIND WORD: the word stands as a whole in a call of that kind
  calls "$1" | grep -Fxq -- "<$2>"
}

# Options that every step gets (macros stay with the preprocess step).
words=('-ZNAME="value with blanks"' "-ZQ=it's" '-ZD=$HOME' '-ZS=*.c' '-ZB=back\slash' '-ZE=ends\'
       '-ZT=tab	in' '-ZP=a;b|c&d<e>f(g)' '-Z`x`' '-Z[y]?' "-Z#h" '-ZDQ=\"x\"' '-Z{a,b}' '-Z!x')
others=('~tilde' 'file with blanks.o' 'x$y.o')

check_words() {  # check_words LABEL: every word in the preprocess, compile and link calls
  local label=$1 w
  for w in "${words[@]}"; do
    check "$label: $w in the preprocess call" has_word pre "$w"
    check "$label: $w in the compile call" has_word comp "$w"
    check "$label: $w in the link call" has_word link "$w"
  done
  for w in "${others[@]}"; do
    check "$label: $w in the link call" has_word link "$w"
  done
}

# Through /bin/sh -c: short commands.
: >"$FAKECC_LOG"
"$QUB" fakecc "${words[@]}" src.c "${others[@]}" -o app
check "interpreter: run exits 0" test $? -eq 0
check_words interpreter
check "interpreter: compile call names a temporary object" \
  sh -c "grep -q '^<$tmp/QUB\\.[0-9]*\\.[0-9]*\\.src\\.o>$' '$FAKECC_LOG'"
check "no temporary file after the interpreter run" no_temp_left

# Direct start: longer than MAX_CMDLINE_LENGTH, no response file without OPTFILE.
: >"$FAKECC_LOG"
"$QUB" -C MAX_CMDLINE_LENGTH=30 -C OPTFILE= fakecc "${words[@]}" src.c "${others[@]}" -o app
check "direct start: run exits 0" test $? -eq 0
check_words "direct start"
check "direct start: no response file" sh -c "! grep -q '^<@' '$FAKECC_LOG'"

# Response file: with OPTFILE = @ the flags go to an @file.
: >"$FAKECC_LOG"
"$QUB" -k -C MAX_CMDLINE_LENGTH=30 fakecc "${words[@]}" src.c "${others[@]}" -o app
check "response file: run exits 0" test $? -eq 0
check "response file: the compile call reads an @file" sh -c "grep -q '^<@$tmp/QUB\\.[0-9]*\\.[0-9]*\\.rsp>$' '$FAKECC_LOG'"
check "-k keeps the response files" sh -c "ls '$tmp'/*.rsp >/dev/null 2>&1"
rm -rf "$tmp"/*

# The real compiler reads the same words from a response file and from the command
# line: a program that prints its macros gives the same text in every way.
cat >show.c <<'EOF'
#include <stdio.h>
int main(void) { puts(W1); puts(W2); puts(W3); puts(W4); puts(W5); puts(W6); puts(W7); puts(W8); return 0; }
EOF
macros=('-DW1="value with blanks"' '-DW2="dollar $HOME, star * and ?"' '-DW3="back\\slash"'
        "-DW4=\"it's\"" '-DW5="semi;amp&pipe|lt<gt>(paren)"' '-DW6="\"dq\""' '-DW7="#hash ~tilde `tick`"'
        '-DW8="brace {a,b} bang !x"')
gcc "${macros[@]}" -o show_ref show.c
"$QUB" gcc "${macros[@]}" -o show_sh show.c
"$QUB" -C MAX_CMDLINE_LENGTH=30 -C OPTFILE= gcc "${macros[@]}" -o show_direct show.c
"$QUB" -C MAX_CMDLINE_LENGTH=30 gcc "${macros[@]}" -o show_rsp show.c
check "gcc through the interpreter sees the same macros" test "$(./show_sh)" = "$(./show_ref)"
check "gcc through the direct start sees the same macros" test "$(./show_direct)" = "$(./show_ref)"
check "gcc through a response file sees the same macros" test "$(./show_rsp)" = "$(./show_ref)"
check "no temporary file after the response-file runs" no_temp_left

# Hooks: each gets the hook's own words, then the user's command.
cat >bin/hook <<'EOF'
#!/usr/bin/env bash
{ printf '%s' "$HOOK_NAME"; for a in "$@"; do printf ' <%s>' "$a"; done; echo; } >>"$WORK_HOOKLOG"
exit "${HOOK_EXIT:-0}"
EOF
chmod +x bin/hook
export WORK_HOOKLOG="$WORK/hook.log"
: >"$WORK_HOOKLOG"
: >"$FAKECC_LOG"
HOOK_NAME=all "$QUB" -C RUN_AFTER_CPP=hook -C RUN_AFTER_INSTR=hook -C RUN_AFTER_COMP=hook \
  fakecc -c src.c '-DX=a b'
check "three hooks ran" test "$(wc -l <"$WORK_HOOKLOG")" -eq 3
check "hook after preprocessing gets command, source and the .i file" \
  grep -q "^all <fakecc> <src.c> <$tmp/QUB\\.[0-9]*\\.[0-9]*\\.src\\.i> <fakecc> <-c> <src.c> <-DX=a b>$" "$WORK_HOOKLOG"
check "hook after instrumenting gets the instrumented file" \
  grep -q "^all <fakecc> <src.c> <$tmp/QUB\\.[0-9]*\\.[0-9]*/src\\.c> <fakecc>" "$WORK_HOOKLOG"
: >"$WORK_HOOKLOG"
HOOK_NAME=nocomp "$QUB" -no-comp -C RUN_AFTER_COMP=hook fakecc -c src.c
check "-no-comp skips RUN_AFTER_COMP" test ! -s "$WORK_HOOKLOG"
err=$(HOOK_EXIT=4 HOOK_NAME=fail "$QUB" -C RUN_AFTER_COMP=hook fakecc -c src.c 2>&1)
rc=$?
check "a failing hook exits 1" test $rc -eq 1
check "a failing hook gives message 30 with its command" \
  sh -c "printf '%s' \"\$1\" | grep -q '^QUB++ error 30: Cannot execute the user-specified command or the command failed: \"hook fakecc src.c $tmp/QUB.*src.c fakecc -c src.c\"$'" _ "$err"
check "no temporary file after a failed hook" no_temp_left

# RUN_BEFORE_ALL: the response adds options as if they stood before the command.
cat >bin/before <<'EOF'
#!/usr/bin/env bash
printf '%s\n' "$BEFORE_RESPONSE" >"$1"
shift
printf '%s\n' "$*" >"$WORK_HOOKLOG"
EOF
chmod +x bin/before
err=$(BEFORE_RESPONSE='-v' "$QUB" -C RUN_BEFORE_ALL=before fakecc -c src.c 2>&1)
check "RUN_BEFORE_ALL gets the user's command" test "$(cat "$WORK_HOOKLOG")" = "fakecc -c src.c"
check "RUN_BEFORE_ALL response -v takes effect" \
  sh -c "printf '%s\n' \"\$1\" | grep -qx 'qub: processing file src.c'" _ "$err"
err=$(BEFORE_RESPONSE='-no-comp stray -v' "$QUB" -C RUN_BEFORE_ALL=before fakecc -c src.c 2>&1)
check "RUN_BEFORE_ALL: a word that is no option ends the response" \
  sh -c "! printf '%s\n' \"\$1\" | grep -q 'processing file'" _ "$err"
: >"$FAKECC_LOG"
BEFORE_RESPONSE='-no-comp' "$QUB" -C RUN_BEFORE_ALL=before fakecc -c src.c
check "RUN_BEFORE_ALL response -no-comp takes effect" test -z "$(calls comp)"
check "no temporary file after RUN_BEFORE_ALL" no_temp_left

# -2comp: the command runs once unchanged first; its failure is warning 35.
: >"$FAKECC_LOG"
"$QUB" -2comp fakecc -c src.c
check "-2comp runs the user's command first" \
  sh -c "awk '/^CALL/{n++} n==1' '$FAKECC_LOG' | grep -qx '<src.c>'"
check "-2comp: three calls in all" test "$(grep -c '^CALL$' "$FAKECC_LOG")" -eq 3
err=$(FAKECC_FAIL_ON="-c src.c" "$QUB" -2comp fakecc -c src.c 2>&1)
rc=$?
check "-2comp failure gives warning 35 and the run goes on" \
  sh -c "test $rc -eq 0 && printf '%s\n' \"\$1\" | grep -qx 'QUB++ warning 35: Original compile/link command failed (-2comp)'" _ "$err"

# -k keeps the preprocessed and the instrumented file.
"$QUB" -k fakecc -c src.c
check "-k keeps the .i file" sh -c "ls '$tmp'/QUB.*.src.i >/dev/null"
check "-k keeps the instrumented file, in a directory of its own" sh -c "ls '$tmp'/QUB.*/src.c >/dev/null"
check "that directory is the user's alone" test "$(stat -c %a "$tmp"/QUB.*/)" = 700
rm -rf "$tmp"/*

# Excluded sources: compiled by the final command, uninstrumented.
printf 'int g(void) { return 2; }\n' >ex.c
: >"$FAKECC_LOG"
"$QUB" -C 'EXCLUDE=*ex.c' fakecc -c src.c ex.c
check "excluded source is not preprocessed" lacks_word pre ex.c
check "excluded source goes to the final command, a compile" has_word comp ex.c
check "the instrumented source is not in the final command" lacks_word link src.c
"$QUB" -C 'EXCLUDE=*ex.c' gcc -c src.c ex.c
check "real compiler: both objects exist" test -f src.o -a -f ex.o
err=$(FAKECC_FAIL_ON=ex.c "$QUB" -C 'EXCLUDE=*ex.c' fakecc -c src.c ex.c 2>&1)
check "failing compile of an excluded source is message 8" \
  test "$err" = "QUB++ error 8: Cannot execute C or C++ compiler or compilation failed: 0x3"

# A program that cannot be started.
printf '[nosuch]\nCOMMAND = no-such-compiler-xyz\n' >>qub.ini
err=$("$QUB" -C MAX_CMDLINE_LENGTH=5 -C OPTFILE= no-such-compiler-xyz -c src.c 2>&1)
check "a program that cannot be started: message 7 with the system's text" \
  test "$err" = "QUB++ error 7: Cannot execute C or C++ preprocessor or preprocessing failed: No such file or directory"

finish
