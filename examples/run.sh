#!/usr/bin/env bash
# Builds the demo project with qub in front of the compilers and runs it.
#   examples/run.sh BUILD_DIR [OUT_DIR]
# BUILD_DIR is qub's build (or install) tree: BUILD_DIR/bin/qub, share/qub/qub.ini,
# include/qub.h, lib/libqub.a. The demo is built in OUT_DIR (BUILD_DIR/examples-out).
set -euo pipefail
if [ $# -lt 1 ]; then
  echo "usage: $0 BUILD_DIR [OUT_DIR]" >&2
  exit 2
fi
build=$(cd "$1" && pwd)
here=$(cd "$(dirname "$0")" && pwd)
out=${2:-$build/examples-out}
qub="$build/bin/qub"
[ -x "$qub" ] || { echo "$0: no qub in $build/bin" >&2; exit 2; }
CC=${CC:-gcc}
CXX=${CXX:-g++}

mkdir -p "$out"
out=$(cd "$out" && pwd)
rm -rf "$out"/*.o "$out"/*.d "$out"/demo "$out"/demo_test "$out"/MON.sym "$out"/MON.dat "$out"/coverage-html
cd "$out"

echo "== instrument and build the demo with: $qub $CC / $qub $CXX"
start=$(date +%s%N)
make -s -f "$here/demo/Makefile" SRC="$here/demo" OUT="$out" CC="$qub $CC" CXX="$qub $CXX" all
end=$(date +%s%N)
echo "   built in $(((end - start) / 1000000)) ms"

echo "== run the demo's own test"
"$out/demo_test"

echo "== run the demo program"
"$out/demo" 12 7 97 -3

if [ -f "$out/MON.sym" ]; then
  echo "== symbol file $out/MON.sym: $(wc -l <"$out/MON.sym") lines"
fi
echo "== done: objects, programs and dependency files are in $out"

# The coverage that the two runs counted: the summary here, the details in HTML.
report="$build/bin/qub-report"
if [ -x "$report" ] && [ -f "$out/MON.sym" ]; then
  echo "== coverage of the demo's test and program"
  "$report" -s "$out/MON.sym" --summary
  "$report" -s "$out/MON.sym" --format html -o "$out/coverage-html" 2>/dev/null
fi
