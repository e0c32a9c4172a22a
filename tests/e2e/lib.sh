# Shared helpers of the end-to-end suites: sourced, not run.
set -u
: "${QUB_BINARY_DIR:?QUB_BINARY_DIR must name the build directory}"
QUB="$QUB_BINARY_DIR/bin/qub"
QUB_PIPE="$QUB_BINARY_DIR/tests/qub_pipe"
E2E_PASSED=0
E2E_FAILED=0
WORK=$(mktemp -d "${TMPDIR:-/tmp}/qub_e2e.XXXXXX")
trap 'rm -rf "$WORK"' EXIT

pass() { E2E_PASSED=$((E2E_PASSED + 1)); }
fail() { E2E_FAILED=$((E2E_FAILED + 1)); echo "FAIL: $*" >&2; }

# check NAME CONDITION-COMMAND...: runs the command, passes when it succeeds.
check() {
  local name=$1
  shift
  if "$@"; then pass; else fail "$name"; fi
}

finish() {
  echo "$E2E_PASSED passed, $E2E_FAILED failed"
  [ "$E2E_FAILED" -eq 0 ]
}
