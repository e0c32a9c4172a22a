#!/usr/bin/env bash
# The golden demo built for real: qub in front of gcc (demo.c with multicondition
# coverage, main.c with decision coverage), run twice, then reported. The figures must be
# those worked out by hand for the golden reports, and the functions' call counts those
# that gcc's own coverage (gcov) counts for the same runs.
source "$(dirname "$0")/report_lib.sh"
qub="$bin/bin/qub"
demo="$scratch/demo"
mkdir -p "$demo"
cp -r "$here/golden/demo/src" "$here/golden/demo/include" "$demo"
cd "$demo"
"$qub" -i m gcc -c src/demo.c -o demo.o
"$qub" -i d gcc -c src/main.c -o main.o
"$qub" gcc -o demo demo.o main.o
if ! grep -q '^0 ' MON.sym; then
  echo "SKIP: the instrumenting step writes no function records yet"
  exit 77
fi
./demo 5 || true
./demo -3 0 12 || true
[ -f MON.dat ] || fail "the instrumented program wrote no MON.dat"

"$report" --format json -o report.json 2>report.err || { cat report.err; fail "qub-report failed"; }
[ ! -s report.err ] || { cat report.err; fail "qub-report warned"; }
total=$(grep '^"total"' report.json)
for figure in '"function":{"covered":6,"total":7' '"decision":{"covered":27,"total":34' \
  '"multicondition":{"covered":15,"total":18' '"mcdc":{"covered":7,"total":10' '"mcdc-masking":{"covered":7,"total":10'; do
  case "$total" in *"$figure"*) ;; *)
    "$report" >&2
    fail "total differs from the hand-worked figures: expected $figure in $total" ;;
  esac
done

# gcov as the independent oracle of the functions' call counts.
if command -v gcov >/dev/null; then
  mkdir -p gcov && cp -r src include gcov/ && cd gcov
  gcc --coverage -o demo src/demo.c src/main.c
  ./demo 5 || true
  ./demo -3 0 12 || true
  gcov -b -o . demo-demo.gcda demo-main.gcda >/dev/null 2>&1 || gcov -b src/demo.c src/main.c >/dev/null 2>&1 || true
  cd ..
  for fn in clamp sign in_range classify sum unused main; do
    called=$(cat gcov/*.gcov 2>/dev/null | grep -m1 "^function $fn called" | awk '{print $4}')
    [ -n "$called" ] || continue
    entered=$(grep -o "\"name\":\"$fn\",\"parameters\":\"[^\"]*\",\"line\":[0-9]*,\"entered\":[0-9]*" report.json |
      grep -o '[0-9]*$')
    [ "$entered" = "$called" ] || fail "$fn: qub counts $entered calls, gcov $called"
  done
fi
echo "demo: instrumented, run twice and reported with the hand-worked figures"
