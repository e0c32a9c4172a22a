# Shared helpers of the end-to-end tests under tests/realworld: sourced, not run.
# Each test works in a scratch directory of its own, removed at exit; exit status 77
# means skipped (a tool is missing), with the reason on the standard output.
set -u
: "${QUB_BINARY_DIR:?QUB_BINARY_DIR must name the build directory}"
RW_HERE=$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)
QUB=$QUB_BINARY_DIR/bin/qub
QUB_REPORT=$QUB_BINARY_DIR/bin/qub-report
RWTOOL=$RW_HERE/rwtool.py
E2E_PASSED=0
E2E_FAILED=0
WORK=$(mktemp -d "${TMPDIR:-/tmp}/qub_rw.XXXXXX")
cleanup_hooks=()
cleanup() {
  local h
  for h in "${cleanup_hooks[@]}"; do eval "$h"; done
  rm -rf "$WORK"
}
trap cleanup EXIT
unset QUBHOME QUBINIT QUBOPTS QUB_DATA_FILE MAKEFLAGS MFLAGS CFLAGS CXXFLAGS LDFLAGS CPPFLAGS
export TMPDIR=$WORK/tmp TEMP=$WORK/tmp
mkdir -p "$TMPDIR"

pass() { E2E_PASSED=$((E2E_PASSED + 1)); }
fail() { E2E_FAILED=$((E2E_FAILED + 1)); echo "FAIL: $*" >&2; }
check() {
  local name=$1
  shift
  if "$@"; then pass; else fail "$name"; return 1; fi
}
skip() { echo "SKIPPED: $*"; exit 77; }
need() {
  local t
  for t in "$@"; do command -v "$t" >/dev/null 2>&1 || skip "$t is not installed"; done
}
finish() {
  echo "$E2E_PASSED passed, $E2E_FAILED failed"
  [ "$E2E_FAILED" -eq 0 ]
}

# have_function_probes: qub places function probes (a one-function source gets a
# function record in its symbol file). Until then, count checks are left out.
have_function_probes() {
  local d=$WORK/probe_check
  mkdir -p "$d"
  printf 'int probe_check(int x) { return x + 1; }\n' >"$d/p.c"
  (cd "$d" && "$QUB" -i f gcc -c p.c -o p.o && "$QUB_REPORT" --format json -o r.json) >/dev/null 2>&1 &&
    python3 -c 'import json,sys; sys.exit(0 if any(f["functions"] for f in json.load(open(sys.argv[1]))["files"]) else 1)' \
      "$d/r.json"
}

# counts_agree LABEL QUB_ROOT GCOV_ROOT: qub's counts (the report of QUB_ROOT/MON.sym)
# equal gcov's (the .gcda files under GCOV_ROOT), function by function and for the
# decisions that gcov's branch counts show unambiguously; at least MIN_FUNCTIONS
# functions compared.
counts_agree() {
  local label=$1 qroot=$2 groot=$3 min=${4:-1}
  (cd "$qroot" && "$QUB_REPORT" --format json -o report.json) >"$WORK/report.out" 2>&1 ||
    { fail "$label: qub-report fails"; cat "$WORK/report.out" >&2; return; }
  python3 "$RWTOOL" compare --qub "$qroot/report.json" --qub-root "$qroot" --gcov-root "$groot" \
    --out "$WORK/compare.json" >"$WORK/compare.out" 2>&1 || { fail "$label: compare fails"; cat "$WORK/compare.out" >&2; return; }
  sed 's/^/    /' "$WORK/compare.out"
  local verdict
  verdict=$(python3 - "$WORK/compare.json" "$min" <<'PY'
import json, sys
c = json.load(open(sys.argv[1]))
bad = []
if c["functions_compared"] < int(sys.argv[2]):
    bad.append("only %d functions compared" % c["functions_compared"])
if c["functions_different"]:
    bad.append("%d function counts differ" % len(c["functions_different"]))
if c["functions_qub_only_counted"] or c["functions_gcov_only_counted"]:
    bad.append("functions counted by one side only")
if c["decisions_different"]:
    bad.append("%d decision counts differ" % len(c["decisions_different"]))
print("; ".join(bad))
PY
)
  check "$label: counts equal gcov's${verdict:+ ($verdict)}" test -z "$verdict"
}

