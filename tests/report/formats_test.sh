#!/usr/bin/env bash
# The line-oriented outputs as their consumers read them: genhtml (lcov) turns the
# tracefile into a report without a warning, and the Cobertura XML validates against
# the Cobertura DTD with xmllint.
source "$(dirname "$0")/report_lib.sh"
for tool in genhtml xmllint; do
  command -v $tool >/dev/null || { echo "SKIP: $tool is not installed (Debian packages lcov, libxml2-utils)"; exit 77; }
done
demo="$scratch/demo"
make_demo "$demo"
cd "$demo"

"$report" --format lcov -o cov.info small.dat mixed.dat
genhtml --branch-coverage --function-coverage -o lcov-html cov.info >genhtml.log 2>&1 ||
  { cat genhtml.log; fail "genhtml refused the tracefile"; }
if grep -i -E "warning|error" genhtml.log; then fail "genhtml complained"; fi
grep -q "lines......: 81.8% (27 of 33 lines)" genhtml.log || { cat genhtml.log; fail "genhtml's line figures"; }
grep -q "functions..: 85.7% (6 of 7 functions)" genhtml.log || fail "genhtml's function figures"
grep -q "branches...: 79.4% (27 of 34 branches)" genhtml.log || fail "genhtml's branch figures"
[ -f lcov-html/index.html ] || fail "genhtml wrote no index"

"$report" --format cobertura -o cov.xml small.dat mixed.dat
xmllint --noout --nonet --dtdvalid "$here/formats/coverage-04.dtd" cov.xml 2>xmllint.log ||
  { cat xmllint.log; fail "the Cobertura XML does not validate"; }
if grep -E "validity|parser error" xmllint.log; then fail "xmllint reported errors"; fi
grep -q 'branch-rate="0.7941"' cov.xml || fail "the total branch rate"

# A report with nothing in it is still valid for both.
cat >"$scratch/empty.sym" <<'SYM'
QUB++ sym 9
Tue Nov 14 22:13:20 2023
END OF SYMBOLFILE
SYM
"$report" -s "$scratch/empty.sym" --format cobertura -o empty.xml 2>/dev/null
xmllint --noout --nonet --dtdvalid "$here/formats/coverage-04.dtd" empty.xml 2>/dev/null || fail "empty Cobertura XML"
echo "formats: lcov and Cobertura outputs accepted"
