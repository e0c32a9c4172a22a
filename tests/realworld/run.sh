#!/usr/bin/env bash
# run.sh [options] [PROJECT...]: builds real projects from Debian source packages three
# ways (plainly, through qub, and with gcc --coverage -O0), runs each one's own test
# suite in every build, checks that qub's build passes exactly the tests the plain build
# passes, compares qub's function and decision counts with gcov's, and prints the table
# of projects with build, test and report times.
#
#   -b DIR    qub's build directory (default: build beside this source tree)
#   -w DIR    scratch directory (default: $TMPDIR/qub-realworld); sources are kept
#             there between runs, builds are made anew
#   -m MODES  the builds, out of plain, qub (-i m), qubd (-i d), gcov
#             (default: "plain qub gcov qubd")
#   -j N      parallel jobs (default 2)
#   -l        list the projects and exit
# PROJECT is a file name under projects/ without .sh; default: all of them.
# Exit status: 0 when every project built, passed the same tests through qub and had
# all compared counts equal; 1 otherwise; 2 for bad usage or a missing tool.
set -uo pipefail
here=$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)
top=$(cd "$here/../.." && pwd)
build=$top/build
work=${TMPDIR:-/tmp}/qub-realworld
modes="plain qub gcov qubd"
jobs=2
list=0
while getopts "b:w:m:j:lh" opt; do
  case $opt in
    b) build=$OPTARG ;;
    w) work=$OPTARG ;;
    m) modes=$OPTARG ;;
    j) jobs=$OPTARG ;;
    l) list=1 ;;
    *) sed -n '2,18p' "$0" | sed 's/^# \{0,1\}//'; exit 2 ;;
  esac
done
shift $((OPTIND - 1))

projects=("$@")
if [ ${#projects[@]} -eq 0 ]; then
  for f in "$here"/projects/*.sh; do projects+=("$(basename "$f" .sh)"); done
fi
if [ "$list" = 1 ]; then
  for p in "${projects[@]}"; do
    (source "$here/projects/$p.sh" && printf '%-10s %-8s %-22s %s\n' "$p" "$RW_LANGUAGE" "$RW_SYSTEM" "$RW_PKG")
  done
  exit 0
fi

build=$(cd "$build" 2>/dev/null && pwd) || { echo "run.sh: no build directory $build" >&2; exit 2; }
QUB=$build/bin/qub
QUB_REPORT=$build/bin/qub-report
[ -x "$QUB" ] && [ -x "$QUB_REPORT" ] || { echo "run.sh: $build has no bin/qub and bin/qub-report" >&2; exit 2; }
command -v python3 >/dev/null || { echo "run.sh: python3 is missing" >&2; exit 2; }
RWTOOL=$here/rwtool.py
mkdir -p "$work"
work=$(cd "$work" && pwd)
renice -n 10 $$ >/dev/null 2>&1 || true
unset QUBHOME QUBINIT QUBOPTS QUB_DATA_FILE MAKEFLAGS MFLAGS CFLAGS CXXFLAGS LDFLAGS CPPFLAGS
export LC_ALL=C

now() { echo "$EPOCHREALTIME"; }
elapsed() { awk -v a="$1" -v b="$2" 'BEGIN { printf "%.3f", b - a }'; }
say() { echo "[$(date +%H:%M:%S)] $*"; }

# step NAME FUNCTION: runs one step of the current build with its output in NAME.log
# and its wall time in the build's times file; shows the log's end when it fails.
step() {
  local name=$1 fn=$2 t0 t1 rc
  t0=$(now)
  (cd "$RW_ROOT" && "$fn") >"$RW_ROOT/$name.log" 2>&1
  rc=$?
  t1=$(now)
  echo "$name $(elapsed "$t0" "$t1") $rc" >>"$RW_ROOT/times"
  if [ $rc -ne 0 ] && [ "$name" != test ]; then
    say "  $RW_MODE: $name failed (exit $rc), end of $RW_ROOT/$name.log:"
    tail -n 25 "$RW_ROOT/$name.log" | sed 's/^/    /'
  fi
  return $rc
}

# --- what recipes use -------------------------------------------------------------------------

# rw_cmake_args: CMake's compiler settings for the current build
rw_cmake_args() {
  local args=(-DCMAKE_BUILD_TYPE= "-DCMAKE_C_COMPILER=gcc" "-DCMAKE_CXX_COMPILER=g++"
    "-DCMAKE_C_FLAGS=$RW_CFLAGS" "-DCMAKE_CXX_FLAGS=$RW_CFLAGS"
    "-DCMAKE_EXE_LINKER_FLAGS=$RW_LDFLAGS" "-DCMAKE_SHARED_LINKER_FLAGS=$RW_LDFLAGS")
  if [ -n "$RW_QUB" ]; then
    local launcher="$QUB;-i;$RW_QUB;-n;$RW_ROOT/MON.sym"
    args+=("-DCMAKE_C_COMPILER_LAUNCHER=$launcher" "-DCMAKE_C_LINKER_LAUNCHER=$launcher"
      "-DCMAKE_CXX_COMPILER_LAUNCHER=$launcher" "-DCMAKE_CXX_LINKER_LAUNCHER=$launcher")
  fi
  printf '%s\n' "${args[@]}"
}

# rw_ctest: runs the CTest suite of $RW_BLD and writes its results
rw_ctest() {
  ctest --test-dir "$RW_BLD" -j"$jobs" --timeout 600 >"$RW_ROOT/ctest.out" 2>&1
  local rc=$?
  cat "$RW_ROOT/ctest.out"
  python3 "$RWTOOL" tests-ctest "$RW_ROOT/ctest.out" >"$RW_RESULTS"
  return $rc
}

# rw_meson_test: runs the meson test suite of $RW_BLD and writes its results
rw_meson_test() {
  meson test -C "$RW_BLD" --num-processes "$jobs" --print-errorlogs
  local rc=$?
  python3 "$RWTOOL" tests-meson "$RW_BLD/meson-logs/testlog.json" >"$RW_RESULTS"
  return $rc
}

# --- one project ------------------------------------------------------------------------------

# set_mode MODE: the compilers and flags of one build of the current project
set_mode() {
  RW_MODE=$1
  RW_ROOT=$work/$project/$1
  RW_SRC=$RW_ROOT/src
  RW_BLD=$RW_ROOT/build
  RW_RESULTS=$RW_ROOT/tests.txt
  RW_CFLAGS="-O2 -g"
  RW_LDFLAGS=""
  RW_QUB=""
  RW_CC=gcc
  RW_CXX=g++
  case $1 in
    qub) RW_QUB=m ;;
    qubd) RW_QUB=d ;;
    gcov) RW_CFLAGS="-O0 --coverage" RW_LDFLAGS="--coverage" ;;
  esac
  if [ -n "$RW_QUB" ]; then
    RW_CC="$QUB -i $RW_QUB -n $RW_ROOT/MON.sym gcc"
    RW_CXX="$QUB -i $RW_QUB -n $RW_ROOT/MON.sym g++"
  fi
  export TMPDIR=$RW_ROOT/tmp
}

run_project() {
  project=$1
  local recipe=$here/projects/$project.sh
  [ -f "$recipe" ] || { say "$project: no recipe $recipe"; return 1; }
  unset RW_PKG RW_SYSTEM RW_LANGUAGE RW_EXCLUDE RW_NEEDS
  unset -f rw_configure rw_build rw_test
  RW_EXCLUDE=()
  RW_NEEDS=()
  source "$recipe"
  local tool
  for tool in "${RW_NEEDS[@]}"; do
    command -v "$tool" >/dev/null || { say "$project: skipped, $tool is not installed"; return 0; }
  done
  say "$project ($RW_PKG, $RW_SYSTEM, $RW_LANGUAGE)"
  "$here/fetch.sh" "$work" "$RW_PKG" || { say "$project: cannot fetch $RW_PKG"; return 1; }
  local src
  src=$(find "$work/src" -maxdepth 1 -type d -name "$RW_PKG-[0-9]*" | head -n 1)
  local ok=0 mode
  rm -rf "${work:?}/$project"
  for mode in $modes; do
    set_mode "$mode"
    mkdir -p "$RW_ROOT/tmp"
    cp -a "$src" "$RW_SRC"
    : >"$RW_ROOT/times"
    say "  $mode: configure, build, test"
    if step configure rw_configure && step build rw_build; then
      step test rw_test
      [ -s "$RW_RESULTS" ] || say "  $mode: the test step reported no test"
      say "  $mode: $(grep -c '^PASS' "$RW_RESULTS" 2>/dev/null) tests passed," \
        "$(grep -c '^FAIL' "$RW_RESULTS" 2>/dev/null) failed"
    else
      ok=1
    fi
    if [ -n "$RW_QUB" ] && [ -n "$(ls -A "$RW_ROOT/tmp")" ]; then
      say "  $mode: qub left files in its temporary directory: $(ls "$RW_ROOT/tmp" | head -n 5 | tr '\n' ' ')"
      ok=1
    fi
  done
  export TMPDIR=$work
  local base=$work/$project
  if [ -d "$base/plain" ]; then
    for mode in qub qubd; do
      [ -d "$base/$mode" ] || continue
      if ! python3 "$RWTOOL" tests-diff "$base/plain/tests.txt" "$base/$mode/tests.txt" >"$base/$mode/tests-diff.txt"; then
        say "  $mode: does not pass the same tests as the plain build:"
        sed 's/^/    /' "$base/$mode/tests-diff.txt"
        ok=1
      fi
    done
  fi
  if [ -d "$base/qub" ] && [ -f "$base/qub/MON.sym" ]; then
    (cd "$base/qub" && python3 "$RWTOOL" measure "$base/report-time.json" -- \
      "$QUB_REPORT" -s MON.sym --format json -o report.json) >"$base/report.log" 2>&1 ||
      { say "  qub-report failed:"; sed 's/^/    /' "$base/report.log"; ok=1; }
  fi
  if [ -f "$base/qub/report.json" ] && [ -d "$base/gcov" ]; then
    local excl=() e
    for e in "${RW_EXCLUDE[@]}"; do excl+=(--exclude "$e"); done
    python3 "$RWTOOL" compare --qub "$base/qub/report.json" --qub-root "$base/qub/src" \
      --gcov-root "$base/gcov/src" --gcov-data "$base/gcov" --out "$base/compare.json" "${excl[@]}" >"$base/compare.txt" 2>&1 || ok=1
    sed 's/^/  /' "$base/compare.txt"
    python3 - "$base/compare.json" <<'PY' || ok=1
import json, sys
c = json.load(open(sys.argv[1]))
if c["functions_qub"] == 0:
    print("  qub recorded no functions: its build places no function probes yet")
bad = c["functions_different"] or c["decisions_different"] or c["functions_qub_only_counted"]
bad = bad or (c["functions_qub"] > 0 and c["functions_gcov_only_counted"])
sys.exit(1 if bad else 0)
PY
  fi
  python3 "$RWTOOL" result "$base" "$project" "$RW_SYSTEM" "$RW_LANGUAGE" "$RW_PKG" >"$base/result.json" || ok=1
  return $ok
}

status=0
results=()
for p in "${projects[@]}"; do
  run_project "$p" || status=1
  [ -f "$work/$p/result.json" ] && results+=("$work/$p/result.json")
done
if [ ${#results[@]} -gt 0 ]; then
  python3 "$RWTOOL" summary "${results[@]}" | tee "$work/summary.md"
fi
say "done: $([ $status -eq 0 ] && echo 'all projects agree' || echo 'some projects failed'); details under $work"
exit $status
