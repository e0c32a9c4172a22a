# Helpers of the suites that compare qub with the plain compiler: sourced, not run.
# Each comparison runs one command twice on copies of one source tree: plainly in
# $WORK/plain and with qub in front in $WORK/qub, each with a temporary directory of its
# own, and checks that both end alike and leave the same files.
source "$(dirname "${BASH_SOURCE[0]}")/lib.sh"
unset QUBHOME QUBINIT QUBOPTS TMP_DIRECTORY TEMP TMP
SRC="$WORK/src"
mkdir -p "$SRC"

have() { command -v "$1" >/dev/null 2>&1; }

# The files of a tree, one per line, without qub's symbol file.
files_of() { (cd "$1" && find . -type f ! -name 'MON.sym' ! -name 'MON.sym.lock' | LC_ALL=C sort); }

# run_side SIDE DIR COMMAND...: copies $SRC to $WORK/SIDE, runs the command in DIR
# below it (qub in front for the qub side) with the side's own temporary directory.
# Sets status_SIDE; the output goes to $WORK/SIDE.out.
run_side() {
  local side=$1 dir=$2
  shift 2
  rm -rf "$WORK/$side" "$WORK/$side.tmp"
  cp -r "$SRC" "$WORK/$side"
  mkdir -p "$WORK/$side.tmp"
  if [ "$side" = qub ]; then
    (cd "$WORK/$side/$dir" && TMPDIR="$WORK/$side.tmp" TEMP="$WORK/$side.tmp" "$QUB" "$@") >"$WORK/$side.out" 2>&1
  else
    (cd "$WORK/$side/$dir" && TMPDIR="$WORK/$side.tmp" "$@") >"$WORK/$side.out" 2>&1
  fi
  eval "status_$side=\$?"
}

# same_as_plain LABEL DIR COMMAND...: the command with and without qub ends alike
# (both succeed or both fail), leaves the same files, the same dependency files
# (after the object's name) and nothing in the temporary directory.
same_as_plain() {
  local label=$1 dir=$2
  shift 2
  run_side plain "$dir" "$@"
  run_side qub "$dir" "$@"
  if [ "$status_plain" -eq 0 ]; then
    check "$label: succeeds as without qub" test "$status_qub" -eq 0
  else
    check "$label: fails as without qub" test "$status_qub" -ne 0
  fi
  [ "$status_qub" -eq "$status_plain" ] || [ "$status_plain" -ne 0 ] || sed 's/^/    /' "$WORK/qub.out" >&2
  check "$label: the same files" test "$(files_of "$WORK/plain")" = "$(files_of "$WORK/qub")"
  local d
  for d in $(cd "$WORK/plain" && find . -name '*.d'); do
    check "$label: $d names the same target and headers" cmp -s "$WORK/plain/$d" "$WORK/qub/$d"
  done
  check "$label: nothing left in the temporary directory" test -z "$(ls -A "$WORK/qub.tmp")"
}

# same_output LABEL PROGRAM [ARGS...]: the program built on both sides prints the same.
same_output() {
  local label=$1 program=$2
  shift 2
  local a b
  a=$(cd "$WORK/plain" && "./$program" "$@" 2>&1)
  b=$(cd "$WORK/qub" && "./$program" "$@" 2>&1)
  check "$label: $program runs as without qub" test -n "$a" -a "$a" = "$b"
}

# the qub side's output holds the text (a fixed string)
qub_said() { grep -qF -- "$1" "$WORK/qub.out"; }
