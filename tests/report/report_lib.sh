# Shared by the report's shell tests: a scratch directory with the golden demo in it.
# Needs QUB_BINARY_DIR (the build tree); QUB_SOURCE_DIR is found from this file.
set -euo pipefail
here=$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)
bin=${QUB_BINARY_DIR:?QUB_BINARY_DIR must name the build tree}
report="$bin/bin/qub-report"
mkdata="$bin/tests/qub_report_mkdata"
scratch=$(mktemp -d "${TMPDIR:-/tmp}/qubreport_sh.XXXXXX")
trap '[ -n "${KEEP:-}" ] || rm -rf "$scratch"' EXIT

fail() {
  echo "FAIL: $*" >&2
  exit 1
}

# The demo's sources, symbol file and the data files small.dat and mixed.dat in $1.
make_demo() {
  local dir=$1 golden="$here/golden/demo"
  mkdir -p "$dir"
  cp -r "$golden/src" "$golden/include" "$dir"
  sed "s|@DIR@|$dir|g" "$golden/MON.sym.in" >"$dir/MON.sym"
  for name in small mixed; do
    "$mkdata" -D "$dir" "$dir/$name.dat" <"$golden/$name.spec"
  done
}
