#!/usr/bin/env bash
# test_project.sh [PROJECT]: one small real project (default bzip2) from its Debian
# source package, built plainly, through qub and with gcc's coverage: the same tests
# pass, and qub's counts equal gcov's (run.sh does the work).
source "$(dirname "$0")/lib.sh"
need gcc make python3 apt-get dpkg-source
project=${1:-bzip2}
# shellcheck disable=SC1090
pkg=$(source "$RW_HERE/projects/$project.sh" && echo "$RW_PKG")
"$RW_HERE/fetch.sh" "$WORK/rw" "$pkg" >"$WORK/fetch.out" 2>&1 ||
  { tail -n 5 "$WORK/fetch.out"; skip "the Debian source package $pkg cannot be fetched"; }
"$RW_HERE/run.sh" -b "$QUB_BINARY_DIR" -w "$WORK/rw" -m "plain qub gcov" "$project"
check "$project: built three ways, the same tests passed, the counts agree" test $? -eq 0
grep -q 'functions: qub 0,' "$WORK/rw/$project/compare.txt" 2>/dev/null &&
  echo "NOTE: qub recorded no functions (no function probes yet): no counts were compared"
finish
