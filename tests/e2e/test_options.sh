#!/usr/bin/env bash
# The tool's options and the configuration search, run through the built qub: usage,
# option errors, option files, QUBOPTS as children see it, the -V listing, bad files.
source "$(dirname "$0")/lib.sh"

cd "$WORK" || exit 1
unset QUBOPTS QUBINIT QUBHOME
mkdir -p home empty
printf 'TICK = 1\n' >home/qub.ini

run() {  # run ARGS...: sets rc, out, err
  out=$("$QUB" "$@" 2>"$WORK/stderr")
  rc=$?
  err=$(cat "$WORK/stderr")
}

[ -n "${QUB_VERSION:-}" ] || { echo 'QUB_VERSION is not set'; exit 1; }
usage=$(printf '\nThis is QUB++ (v%s) Preprocessor utility, used for instrumenting,\ncompiling and linking the given C/C++ source files.\n\nUsage:\nqub [qub-options] comp/link-command comp/link-options-and-files\n\n[qub-options]:\n   [-i {f|d|m|te|ti}...] [-n symbolfile]\n   [-v] [-V] [-k] [-h] [@optionsfile]...\n   [-c conf-file[;conf-file]...]... [-C conf-param{=value|+value|-value}]...\n   [-2comp] [-no-comp] [-no-templates] [-no-warnings] [-dump-config]\n\nRead more from %s or from the %s subdirectory of %%%%QUBHOME%%%%.\n' "$QUB_VERSION" "'man qub'" "'doc'")

# Usage: no arguments, -h, -?; the configuration is never read (this one is broken).
mkdir -p broken
printf 'lower case\n' >broken/qub.ini
for args in "" "-h" "-?" "-h cl a.c" "-k -?"; do
  # shellcheck disable=SC2086
  QUBHOME="$WORK/broken" run $args
  check "usage for '$args' exits 0" test "$rc" -eq 0
  check "usage for '$args' on stdout" test "$out" = "$usage"
  check "usage for '$args' leaves stderr empty" test -z "$err"
done
QUBOPTS="-i zz" QUBHOME="$WORK/broken" run
check "no arguments ignore QUBOPTS" test "$rc" -eq 0 -a "$out" = "$usage"

# Option errors: numbered message, the hint line, exit 1.
hint="Type 'qub -h' for usage information"
export QUBHOME="$WORK/home"
for mode in t tx e tite q; do
  run -i "$mode" cc
  check "-i $mode exits 1" test "$rc" -eq 1
  check "-i $mode message" test "$err" = "QUB++ error 13: Erroneous command line, unknown instrumentation mode $mode
$hint"
done
run -n - cc
check "-n - is refused" test "$err" = "QUB++ error 13: Erroneous command line, argument missing for option -n
$hint"
run cc -i
check "-i behind the command belongs to it" test "$rc" -ne 13
run -i
check "-i without value" test "$err" = "QUB++ error 13: Erroneous command line, argument missing for option -i
$hint"
run @ cc
check "@ alone" test "$err" = "QUB++ error 13: Erroneous command line, argument missing for option @
$hint"
run @"$WORK/absent" cc
check "missing option file exits 1" test "$rc" -eq 1
check "missing option file message has no hint" test "$err" = "QUB++ error 22: Cannot open file $WORK/absent: No such file or directory"

# QUBOPTS as the options left it: a configuration line shows it through $(QUBOPTS).
mkdir -p show
printf 'x$(QUBOPTS)\n' >show/qub.ini
shown() { sed -n 's/^QUB++ error 1: Bad configuration format "\(.*\)" in file .*/\1/p' "$WORK/stderr"; }
QUBHOME="$WORK/show" QUBOPTS='-k "-n" "s y"' run -i m -C TICK=1 cc a.c
check "QUBOPTS rebuilt from the options used" test "$(shown)" = 'x-k -n "s y" -i m -C TICK=1'
QUBHOME="$WORK/show" QUBOPTS='' run cc a.c
check "no options take QUBOPTS away" test "$(shown)" = "x"
printf '# options\n-C TICK=2\n' >opts
QUBHOME="$WORK/show" run @opts -v cc
check "-C of an option file travels as the file word" test "$(shown)" = "x@opts -v"
printf '@opts\n-k\n' >outer
QUBHOME="$WORK/show" run @outer cc
check "nested option files" test "$(shown)" = "x@opts @outer -k"
printf '\xff\xfe-\x00i\x00 \x00m\x00\r\x00\n\x00' >wide
QUBHOME="$WORK/show" run @wide cc
check "UTF-16 option file" test "$(shown)" = "x-i m @wide"
printf '\xef\xbb\xbf-n\r\nbom\r\n' >bom
QUBHOME="$WORK/show" run @bom cc
check "UTF-8 option file with a byte order mark" test "$(shown)" = "x-n bom @bom"
printf '\xff\x00' >badbom
run @badbom cc
check "bad byte order mark is a read error" test "$err" = "QUB++ error 24: Cannot read file badbom: Invalid or incomplete multibyte or wide character"

# -V: banner, then the search listing.
run -V
check "-V alone exits 0" test "$rc" -eq 0
check "-V banner" test "$(printf '%s\n' "$err" | sed -n 2p)" = "$(printf '*           QUB++, Test Coverage Analyzer for C/C++, Version %-14s *' "$QUB_VERSION")"
listing=$(printf '%s\n' "$err" | sed -n '/^Searching/,$p')
check "-V listing" test "$listing" = "Searching for configuration files:
1. Morvaine QUB++ home directory (%QUBHOME%/qub.ini)
   $WORK/home/qub.ini ... Loaded
2. Environment Variable %QUBINIT% : Not used
3. Current Directory (./qub.ini)
   ./qub.ini ... Not provided
4. By Command Line Option \"-c\" : Not used"
printf 'TIMER = 1\n' >"c 1.ini"
QUBINIT="home/qub.ini;missing.ini" run -V -c "c 1.ini"
listing=$(printf '%s\n' "$err" | sed -n '/^Searching/,$p')
check "-V listing stops at a missing QUBINIT entry" test "$listing" = "Searching for configuration files:
1. Morvaine QUB++ home directory (%QUBHOME%/qub.ini)
   $WORK/home/qub.ini ... Loaded
2. Environment Variable %QUBINIT%
   home/qub.ini ... Loaded
   missing.ini ... Not found
QUB++ error 22: Cannot open file missing.ini: No such file or directory"
check "missing QUBINIT entry exits 1" test "$rc" -eq 1
run -V -c "c 1.ini"
check "-c with a blank in the name" test "$(printf '%s\n' "$err" | grep -c '^   c 1.ini ... Loaded$')" -eq 1

# No configuration at all.
QUBHOME="$WORK/empty" run -V
check "no configuration exits 1" test "$rc" -eq 1
check "no configuration message" test "$(printf '%s\n' "$err" | tail -1)" = "QUB++ error 22: Cannot open file qub.ini: No such file could be found"

# Without QUBHOME the installed configuration beside the executable is used.
installed=$(cd "$QUB_BINARY_DIR/share/qub" && pwd -P)
unset QUBHOME
run -V
check "default QUBHOME exits 0" test "$rc" -eq 0
check "default QUBHOME is the installed directory" test "$(printf '%s\n' "$err" | grep -c "^   $installed/qub.ini ... Loaded$")" -eq 1
export QUBHOME="$WORK/home"

# Bad configuration files: numbered errors naming file and line, never a crash.
printf 'TICK = 1\n\n$(NEVER_CLOSED\n' >unclosed.ini
run -c unclosed.ini cc
check "\$( never closed" test "$err" = 'QUB++ error 1: Bad configuration format "$(NEVER_CLOSED" in file unclosed.ini at line 3'
printf 'EXCLUDE = "a, b\n' >quote.ini
run -c quote.ini cc
check "unbalanced quote" test "$err" = 'QUB++ error 1: Bad configuration format "EXCLUDE = "a, b" in file quote.ini at line 1'
head -c 20000 /dev/urandom >random.ini
run -c random.ini cc
check "random configuration bytes exit 1 ($rc)" test "$rc" -eq 1
check "random configuration bytes give a numbered error" grep -q '^QUB++ error [0-9]*: ' "$WORK/stderr"
head -c 20000 /dev/urandom >random.opt
run @random.opt cc
check "random option file bytes end without a crash ($rc)" test "$rc" -le 1
{ printf 'TIMER = '; head -c 200000 /dev/zero | tr '\0' 'a'; printf '\nTICK - 1\n'; } >long.ini
run -c long.ini cc
check "very long line" test "$err" = 'QUB++ error 1: Bad configuration format "TICK - 1" in file long.ini at line 2'

# Checks after the command's block is selected and the -C texts are applied.
printf '[cc]\nCOMMAND = cc\nTYPE = compiler\nTICK = 0\nOPTCHARS = -\nSOURCE_IDENTIFICATION = nowhere\n' >check.ini
run -c check.ini cc a.c
check "refused value exits 1" test "$rc" -eq 1
check "refused value message" test "$err" = 'QUB++ error 0: Configuration parameter TICK has illegal value "0"'
run -c check.ini -C TICK=0x10 cc a.c
check "missing parameter message" test "$err" = 'QUB++ error 20: Missing definition "DIALECT_C" in configuration file'
run -c check.ini -C TICK=0x10 -C TYPE=linker cc a.c
check "-C TYPE=linker changes the later checks" test "$err" = 'QUB++ error 0: Configuration parameter SOURCE_IDENTIFICATION has illegal value "nowhere"'
run -c check.ini -C lower=1 cc a.c
check "-C format error shows line 0" test "$err" = 'QUB++ error 1: Bad configuration format "lower=1" in file  at line 0'

finish
