#!/usr/bin/env bash
# The HTML report in a real browser: headless Chromium opens every page from the file
# system, with no network; each page loads its style sheet and logs nothing to the
# console, every link of the index leads to a page that loads, and the pages show the
# figures and line marks of the demo's two runs.
source "$(dirname "$0")/report_lib.sh"
browser=$(command -v chromium || command -v chromium-browser || true)
[ -n "$browser" ] || { echo "SKIP: chromium is not installed (Debian package chromium; .ci/run installs it)"; exit 77; }
demo="$scratch/demo"
make_demo "$demo"
cd "$demo"
"$report" --format html -o html small.dat mixed.dat >/dev/null

# A harness page holds every report page in a frame and, once all have loaded, writes
# what it finds into its own document, which the browser dumps.
{
  cat <<'HEAD'
<!DOCTYPE html><html><head><meta charset="utf-8"><title>harness</title></head><body><pre id="out"></pre>
HEAD
  for page in html/*.html; do echo "<iframe src=\"$page\"></iframe>"; done
  cat <<'TAIL'
<script>
window.addEventListener('load', () => {
  const out = [];
  const loaded = {};
  for (const frame of document.querySelectorAll('iframe')) {
    const name = frame.getAttribute('src').replace('html/', '');
    const d = frame.contentDocument;
    if (!d || !d.querySelector('h1')) { out.push('page ' + name + ' not loaded'); continue; }
    loaded[name] = d;
    const rules = d.styleSheets.length ? d.styleSheets[0].cssRules.length : 0;
    out.push('page ' + name + ' style ' + (rules > 0 ? 'ok' : 'missing'));
  }
  const index = loaded['index.html'];
  if (index) {
    for (const a of index.querySelectorAll('a[href]'))
      out.push('link ' + a.getAttribute('href') + (loaded[a.getAttribute('href')] ? ' ok' : ' broken'));
    out.push('index total: ' + index.querySelector('tr.total').textContent);
    for (const row of index.querySelectorAll('tr.file')) {
      const bar = row.querySelector('.fill');
      out.push('bar ' + row.cells[0].textContent + ' ' + (bar ? getComputedStyle(bar).width : 'none'));
    }
  }
  for (const name in loaded) {
    if (name === 'index.html') continue;
    const d = loaded[name];
    out.push(name + ' total: ' + d.querySelector('tr.total').textContent);
    for (const row of d.querySelectorAll('table.source tr[id]'))
      out.push(name + ' ' + row.id + ' ' + (row.className || 'plain'));
  }
  document.getElementById('out').textContent = out.join('\n');
});
</script></body></html>
TAIL
} >harness.html

profile="$scratch/profile"
mkdir -p "$profile"
timeout 120 "$browser" --headless --no-sandbox --disable-gpu --disable-quic --no-first-run \
  --disable-background-networking --disable-component-update --disable-sync --user-data-dir="$profile" \
  --allow-file-access-from-files --enable-logging=stderr --v=0 --dump-dom "file://$demo/harness.html" \
  >dom.html 2>browser.log || { tail -20 browser.log; fail "the browser did not finish"; }
perl -0ne 'print "$1\n" if /<pre id="out">(.*?)<\/pre>/s' dom.html >seen.txt
[ -s seen.txt ] || { tail -20 browser.log; fail "the harness saw nothing"; }

if grep -F ":CONSOLE" browser.log; then fail "console messages while the pages loaded"; fi
if grep -E "not loaded|style missing|broken" seen.txt; then fail "pages, style sheets or links"; fi
pages=$(ls html/*.html | wc -l)
[ "$(grep -c '^page .* style ok' seen.txt)" -eq "$pages" ] || fail "not every page was seen"
[ "$(grep -c '^link .* ok' seen.txt)" -eq 3 ] || fail "the index links three file pages"

expect() {
  grep -qxF "$1" seen.txt || { echo "--- seen:"; cat seen.txt; fail "expected: $1"; }
}
expect "index total: Total6/7 85.7%27/34 79.4%15/18 83.3%7/10 70.0%7/10 70.0%"
expect "f00001-demo.c.html total: File4/5 80.0%18/22 81.8%12/14 85.7%6/8 75.0%6/8 75.0%"
expect "f00000-util.h.html total: File1/1 100.0%5/7 71.4%3/4 75.0%1/2 50.0%1/2 50.0%"
# Lines: a decision with both outcomes, one with a gap, a label never reached, a
# function never entered, a line without probes.
expect "f00001-demo.c.html L6 covered"
expect "f00001-demo.c.html L21 partial"
expect "f00001-demo.c.html L26 missed"
expect "f00001-demo.c.html L42 missed"
expect "f00001-demo.c.html L3 plain"
expect "f00000-util.h.html L4 partial"
expect "f00002-main.c.html L11 covered"
[ "$(grep -c '^f00001-demo.c.html L' seen.txt)" -eq 45 ] || fail "demo.c has 45 source lines"
# The bars are drawn: src/demo.c's function bar is 80% of its width.
grep -q '^bar src/demo.c [0-9.]*px' seen.txt || fail "bars have no width"
echo "browser: $pages pages loaded with no console message"
