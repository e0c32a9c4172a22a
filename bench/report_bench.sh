#!/usr/bin/env bash
# The report benchmark: a synthetic symbol file and data file of 10,000 source files and
# about a million records, reported in text and in HTML; wall time and peak memory of
# each run (wall time depends on the machine's load; processor time less so).   bench/report_bench.sh BUILD_DIR [FILES] [FUNCTIONS_PER_FILE]
set -euo pipefail
build=$(cd "${1:?usage: $0 BUILD_DIR [FILES] [FUNCTIONS]}" && pwd)
files=${2:-10000}
functions=${3:-3}
work=$(mktemp -d "${TMPDIR:-/tmp}/qub_report_bench.XXXXXX")
trap 'rm -rf "$work"' EXIT
bench="$build/bench/report_bench"
report="$build/bin/qub-report"

"$bench" generate "$work" "$files" "$functions"
echo "symbol file $(du -m "$work/MON.sym" | cut -f1) MiB, data file $(du -m "$work/MON.dat" | cut -f1) MiB"
cd "$work"
for format in text json lcov cobertura; do
  printf '%-10s ' "$format:"
  "$bench" measure "$report" --format "$format" -o "out.$format" MON.dat 2>&1
done
printf '%-10s ' "html:"
"$bench" measure "$report" --format html -o html MON.dat 2>&1 >/dev/null
echo "html: $(ls html | wc -l) files, $(du -sm html | cut -f1) MiB"
