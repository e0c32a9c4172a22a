#!/usr/bin/env python3
"""Helpers of the real-project runs.

  rwtool.py measure OUT.json -- COMMAND...   run COMMAND, write its wall time, CPU time
                                             and peak memory; exit with its status
  rwtool.py tests-ctest LOG                  PASS/FAIL lines from a ctest log
  rwtool.py tests-meson TESTLOG.json         PASS/FAIL lines from meson's test log
  rwtool.py tests-automake DIR               PASS/FAIL lines from automake's .trs files
  rwtool.py tests-diff PLAIN QUB             compare two PASS/FAIL lists
  rwtool.py compare --qub REPORT.json --qub-root DIR --gcov-root DIR --out OUT.json
                                             function and decision counts, qub against gcov
  rwtool.py result DIR PROJECT SYSTEM LANGUAGE PACKAGE
                                             one project's figures, as JSON
  rwtool.py summary RESULT.json...           the table of projects, as Markdown
"""
import concurrent.futures
import fnmatch
import json
import os
import re
import resource
import subprocess
import sys
import time


# --- measure ------------------------------------------------------------------------------


def cmd_measure(args):
    out = args[0]
    if len(args) < 3 or args[1] != "--":
        sys.exit("usage: rwtool.py measure OUT.json -- COMMAND...")
    command = args[2:]
    start = time.monotonic()
    proc = subprocess.Popen(command)
    _, status, usage = os.wait4(proc.pid, 0)
    wall = time.monotonic() - start
    code = os.waitstatus_to_exitcode(status)
    result = {
        "command": command,
        "status": code,
        "wall": round(wall, 3),
        "user": round(usage.ru_utime, 3),
        "sys": round(usage.ru_stime, 3),
        "maxrss_kb": usage.ru_maxrss,
    }
    with open(out, "w") as f:
        json.dump(result, f)
        f.write("\n")
    sys.exit(code if code >= 0 else 128 - code)


# --- test results ---------------------------------------------------------------------------

CTEST_LINE = re.compile(r"^\s*\d+/\d+\s+Test\s+#\d+:\s+(\S+)\s+\.*\s*(\*+)?\s*([A-Za-z][A-Za-z ]*?)\s+[\d.]+\s+sec")


def tests_ctest(log):
    results = {}
    with open(log, errors="replace") as f:
        for line in f:
            m = CTEST_LINE.match(line)
            if m:
                results[m.group(1)] = "PASS" if m.group(3) == "Passed" else "FAIL"
    return results


def tests_meson(log):
    results = {}
    with open(log, errors="replace") as f:
        for line in f:
            line = line.strip()
            if not line:
                continue
            entry = json.loads(line)
            r = entry.get("result", "")
            results[entry["name"]] = {"OK": "PASS", "EXPECTEDFAIL": "PASS", "SKIP": "SKIP"}.get(r, "FAIL")
    return results


def tests_automake(top):
    results = {}
    for root, _, files in os.walk(top):
        for name in files:
            if not name.endswith(".trs"):
                continue
            path = os.path.join(root, name)
            test = os.path.relpath(path, top)[: -len(".trs")]
            with open(path, errors="replace") as f:
                for line in f:
                    if line.startswith(":test-result:"):
                        r = line.split(":", 2)[2].strip()
                        results[test] = {"PASS": "PASS", "XFAIL": "PASS", "SKIP": "SKIP"}.get(r, "FAIL")
    return results


def print_results(results):
    for name in sorted(results):
        print(results[name], name)


def read_results(path):
    results = {}
    if os.path.exists(path):
        with open(path) as f:
            for line in f:
                parts = line.split(None, 1)
                if len(parts) == 2:
                    results[parts[1].strip()] = parts[0]
    return results


def cmd_tests_diff(args):
    plain, qub = read_results(args[0]), read_results(args[1])
    passed_plain = {t for t, r in plain.items() if r == "PASS"}
    passed_qub = {t for t, r in qub.items() if r == "PASS"}
    ok = passed_plain == passed_qub and len(passed_plain) > 0
    for t in sorted(passed_plain - passed_qub):
        print("passes plainly, not through qub:", t)
    for t in sorted(passed_qub - passed_plain):
        print("passes through qub, not plainly:", t)
    sys.exit(0 if ok else 1)


# --- function names ---------------------------------------------------------------------------

OPERATOR = re.compile(r"\boperator\s*(\(\)|\[\]|<=>|<<=|>>=|<<|>>|->\*|->|&&|\|\||\+\+|--|[-+*/%^&|~!=<>,]=?|\s+[^(]+?(?=\())")


def short_name(name):
    """The unqualified name of a function, without return type, template arguments and
    parameters: "void ns::C<int>::f<char>(int) const" -> "f"; operators keep their symbol."""
    name = name.replace("[abi:cxx11]", "")
    m = OPERATOR.search(name)
    op = None
    if m:
        op = "operator" + m.group(1).strip()
        name = name[: m.start()] + "@OP@" + name[m.end():]
    # cut at the parameter list: the first '(' outside template arguments
    depth = 0
    cut = len(name)
    for i, c in enumerate(name):
        if c == "<":
            depth += 1
        elif c == ">":
            depth = max(0, depth - 1)
        elif c == "(" and depth == 0:
            cut = i
            break
    head = name[:cut]
    # drop template arguments
    out, depth = [], 0
    for c in head:
        if c == "<":
            depth += 1
        elif c == ">":
            depth = max(0, depth - 1)
        elif depth == 0:
            out.append(c)
    head = "".join(out).strip()
    head = head.split()[-1] if head.split() else head
    head = head.split("::")[-1]
    if op is not None:
        head = head.replace("@OP@", op)
    return head


def is_generated(gcov_function):
    """Functions that the compiler makes and that have no body in the source."""
    n = gcov_function.get("demangled_name", "")
    mangled = gcov_function.get("name", "")
    if n.startswith("_GLOBAL__") or n.startswith("__static_initialization_and_destruction"):
        return True
    if "{lambda(" in n or "::<lambda" in n:
        return True
    if re.search(r"D0E", mangled) and mangled.startswith("_Z"):
        return True  # the deleting destructor calls the destructor proper
    return False


# --- gcov -------------------------------------------------------------------------------------


def run_gcov(gcda):
    out = subprocess.run(
        ["gcov", "--branch-probabilities", "--json-format", "--stdout", "--object-directory",
         os.path.dirname(gcda), gcda],
        stdout=subprocess.PIPE, stderr=subprocess.DEVNULL, cwd=os.path.dirname(gcda))
    docs = []
    for line in out.stdout.decode("utf-8", "replace").splitlines():
        line = line.strip()
        if line.startswith("{"):
            docs.append(json.loads(line))
    return docs


def gcov_data(root, data_dir):
    """Per source file under root: functions (key -> count) and branch lines, from the
    data files under data_dir."""
    gcdas = []
    for dirpath, _, files in os.walk(data_dir):
        gcdas += [os.path.join(dirpath, f) for f in files if f.endswith(".gcda")]
    functions = {}  # (relfile, line, short) -> count
    function_names = {}
    lines = {}  # (relfile, line) -> [branch count lists, one per compilation unit]
    with concurrent.futures.ThreadPoolExecutor(max_workers=2) as pool:
        for docs in pool.map(run_gcov, sorted(gcdas)):
            for doc in docs:
                cwd = doc.get("current_working_directory", "")
                for f in doc.get("files", []):
                    path = os.path.realpath(os.path.join(cwd, f["file"]))
                    rel = relative_to(path, root)
                    if rel is None:
                        continue
                    for fn in f.get("functions", []):
                        if is_generated(fn):
                            continue
                        key = (rel, fn["start_line"], short_name(fn.get("demangled_name", fn["name"])))
                        functions[key] = functions.get(key, 0) + fn["execution_count"]
                        function_names.setdefault(key, fn.get("demangled_name", fn["name"]))
                    for ln in f.get("lines", []):
                        branches = [b["count"] for b in ln.get("branches", []) if not b.get("throw")]
                        if branches:
                            lines.setdefault((rel, ln["line_number"]), []).append(branches)
    return functions, function_names, lines


def relative_to(path, root):
    root = os.path.realpath(root)
    if path == root or path.startswith(root + os.sep):
        return os.path.relpath(path, root)
    return None


# --- qub's report -----------------------------------------------------------------------------

DECISION_KINDS = {"if", "else if", "while", "for", "do-while"}


def qub_data(report_path, root):
    with open(report_path) as f:
        report = json.load(f)
    functions = {}
    function_names = {}
    decisions = {}  # (rel, line) -> [true, false, what, text]
    ambiguous = set()
    for f in report.get("files", []):
        path = f.get("path") or f.get("name")
        rel = relative_to(os.path.realpath(path), root)
        if rel is None:
            continue
        for fn in f.get("functions", []):
            key = (rel, fn["line"], short_name(fn["name"]))
            functions[key] = functions.get(key, 0) + fn["entered"]
            function_names.setdefault(key, fn["name"] + fn.get("parameters", ""))
            per_line = {}
            for it in fn.get("items", []):
                if "true" in it:
                    per_line.setdefault(it["line"], []).append(it)
            for line, items in per_line.items():
                k = (rel, line)
                it = items[0]
                text = it.get("text", "")
                if (len(items) != 1 or it.get("what") not in DECISION_KINDS or "&&" in text or "||" in text
                        or "?" in text):
                    ambiguous.add(k)
                    continue
                d = decisions.setdefault(k, [0, 0, it.get("what"), text])
                d[0] += it["true"]
                d[1] += it["false"]
    for k in ambiguous:
        decisions.pop(k, None)
    return report, functions, function_names, decisions


# --- compare ----------------------------------------------------------------------------------


def cmd_compare(argv):
    import argparse
    p = argparse.ArgumentParser(prog="rwtool.py compare")
    p.add_argument("--qub", required=True)
    p.add_argument("--qub-root", required=True)
    p.add_argument("--gcov-root", required=True, help="the gcov build's source tree")
    p.add_argument("--gcov-data", help="where its .gcda files are (default: the source tree)")
    p.add_argument("--out", required=True)
    p.add_argument("--exclude", action="append", default=[], help="source files left out (wildcards)")
    a = p.parse_args(argv)
    a.qub_root, a.gcov_root = os.path.abspath(a.qub_root), os.path.abspath(a.gcov_root)
    a.gcov_data = os.path.abspath(a.gcov_data or a.gcov_root)

    report, q_functions, q_names, q_decisions = qub_data(a.qub, a.qub_root)
    g_functions, g_names, g_lines = gcov_data(a.gcov_root, a.gcov_data)

    def excluded(key):
        return any(fnmatch.fnmatch(key[0], pat) for pat in a.exclude)

    equal, different, qub_only, gcov_only = [], [], [], []
    for key in sorted(set(q_functions) | set(g_functions)):
        if excluded(key):
            continue
        q, g = q_functions.get(key), g_functions.get(key)
        where = "%s:%d %s" % key
        if q is not None and g is not None:
            (equal if q == g else different).append({"function": where, "qub": q, "gcov": g,
                                                     "name": q_names.get(key)})
        elif q is not None:
            qub_only.append({"function": where, "qub": q, "name": q_names.get(key)})
        else:
            gcov_only.append({"function": where, "gcov": g, "name": g_names.get(key)})

    d_equal, d_different = [], []
    for key, (t, f, what, text) in sorted(q_decisions.items()):
        if excluded(key):
            continue
        per_unit = g_lines.get(key)
        if not per_unit or any(len(b) != 2 for b in per_unit):
            continue
        b0 = sum(b[0] for b in per_unit)
        b1 = sum(b[1] for b in per_unit)
        entry = {"decision": "%s:%d %s (%s)" % (key[0], key[1], what, text), "qub": [t, f], "gcov": [b0, b1]}
        (d_equal if sorted([t, f]) == sorted([b0, b1]) else d_different).append(entry)

    # qub counted a function that gcov never saw run: that is a disagreement too
    qub_only_counted = [e for e in qub_only if e["qub"] > 0]
    gcov_only_counted = [e for e in gcov_only if e["gcov"] > 0]
    result = {
        "functions_qub": len(q_functions),
        "functions_gcov": len(g_functions),
        "functions_compared": len(equal) + len(different),
        "functions_equal": len(equal),
        "functions_different": different,
        "functions_qub_only": len(qub_only),
        "functions_qub_only_counted": qub_only_counted,
        "functions_gcov_only": len(gcov_only),
        "functions_gcov_only_counted": gcov_only_counted,
        "decisions_compared": len(d_equal) + len(d_different),
        "decisions_equal": len(d_equal),
        "decisions_different": d_different,
        "modules": {s: sum(1 for m in report.get("modules", []) if m.get("state") == s)
                    for s in ("matched", "not run", "mismatched")},
        "warnings": report.get("warnings", []),
    }
    with open(a.out, "w") as f:
        json.dump(result, f, indent=1)
        f.write("\n")
    print("functions: qub %d, gcov %d, compared %d, equal %d, different %d; "
          "only qub %d (%d counted), only gcov %d (%d counted)" % (
              len(q_functions), len(g_functions), result["functions_compared"], len(equal), len(different),
              len(qub_only), len(qub_only_counted), len(gcov_only), len(gcov_only_counted)))
    print("decisions: compared %d, equal %d, different %d" % (
        result["decisions_compared"], len(d_equal), len(d_different)))
    for e in different[:20]:
        print("  function differs: %s qub %d gcov %d" % (e["function"], e["qub"], e["gcov"]))
    for e in qub_only_counted[:10]:
        print("  counted by qub only: %s %d" % (e["function"], e["qub"]))
    for e in gcov_only_counted[:10]:
        print("  counted by gcov only: %s %d (%s)" % (e["function"], e["gcov"], e["name"]))
    for e in d_different[:20]:
        print("  decision differs: %s qub %s gcov %s" % (e["decision"], e["qub"], e["gcov"]))
    return 0


# --- result of one project ---------------------------------------------------------------


def cmd_result(args):
    base, project, system, language, package = args
    result = {"project": project, "system": system, "language": language, "package": package,
              "times": {}, "tests_passed": {}, "tests_failed": {}, "steps_failed": {}}
    for mode in sorted(os.listdir(base)):
        times = os.path.join(base, mode, "times")
        if not os.path.isfile(times):
            continue
        t = {}
        with open(times) as f:
            for line in f:
                step, seconds_, rc = line.split()
                t[step] = float(seconds_)
                if rc != "0" and step != "test":
                    result["steps_failed"].setdefault(mode, []).append(step)
        result["times"][mode] = t
        tests = read_results(os.path.join(base, mode, "tests.txt"))
        result["tests_passed"][mode] = sum(1 for r in tests.values() if r == "PASS")
        result["tests_failed"][mode] = sum(1 for r in tests.values() if r == "FAIL")
    for name, key in (("compare.json", "compare"), ("report-time.json", "report")):
        path = os.path.join(base, name)
        if os.path.isfile(path):
            with open(path) as f:
                result[key] = json.load(f)
    for name, key in (("MON.sym", "sym_kib"), ("MON.dat", "dat_kib")):
        path = os.path.join(base, "qub", name)
        if os.path.isfile(path):
            result[key] = round(os.path.getsize(path) / 1024.0, 1)
    json.dump(result, sys.stdout, indent=1)
    sys.stdout.write("\n")
    return 0


# --- summary ----------------------------------------------------------------------------------


def ratio(a, b):
    if a is None or b is None or b <= 0:
        return "-"
    return "%.2f" % (a / b)


def seconds(x):
    return "-" if x is None else "%.1f" % x


def cmd_summary(paths):
    rows = []
    for path in paths:
        with open(path) as f:
            rows.append(json.load(f))
    print("| project | build system | language | tests passed plain / qub | functions compared | "
          "equal | decisions compared | equal | build time qub/plain | qub/gcov | test time qub/plain | "
          "qub/gcov |")
    print("|---|---|---|---|---|---|---|---|---|---|---|---|")
    for r in rows:
        t = r.get("times", {})

        def w(mode, step):
            return t.get(mode, {}).get(step)

        c = r.get("compare") or {}
        print("| %s | %s | %s | %s / %s | %s | %s | %s | %s | %s | %s | %s | %s |" % (
            r["project"], r["system"], r["language"],
            r.get("tests_passed", {}).get("plain", "-"), r.get("tests_passed", {}).get("qub", "-"),
            c.get("functions_compared", "-"), c.get("functions_equal", "-"),
            c.get("decisions_compared", "-"), c.get("decisions_equal", "-"),
            ratio(w("qub", "build"), w("plain", "build")), ratio(w("qub", "build"), w("gcov", "build")),
            ratio(w("qub", "test"), w("plain", "test")), ratio(w("qub", "test"), w("gcov", "test"))))
    print()
    print("| project | mode | configure s | build s | test s | tests passed |")
    print("|---|---|---|---|---|---|")
    for r in rows:
        for mode, t in r.get("times", {}).items():
            print("| %s | %s | %s | %s | %s | %s |" % (
                r["project"], mode, seconds(t.get("configure")), seconds(t.get("build")), seconds(t.get("test")),
                r.get("tests_passed", {}).get(mode, "-")))
    print()
    print("| project | report time s | report peak memory MiB | MON.sym KiB | MON.dat KiB |")
    print("|---|---|---|---|---|")
    for r in rows:
        rep = r.get("report") or {}
        print("| %s | %s | %s | %s | %s |" % (
            r["project"], seconds(rep.get("wall")),
            "-" if rep.get("maxrss_kb") is None else "%.1f" % (rep["maxrss_kb"] / 1024.0),
            r.get("sym_kib", "-"), r.get("dat_kib", "-")))
    return 0


def main():
    if len(sys.argv) < 2:
        sys.exit(__doc__)
    cmd, args = sys.argv[1], sys.argv[2:]
    if cmd == "measure":
        cmd_measure(args)
    elif cmd == "tests-ctest":
        print_results(tests_ctest(args[0]))
    elif cmd == "tests-meson":
        print_results(tests_meson(args[0]))
    elif cmd == "tests-automake":
        print_results(tests_automake(args[0]))
    elif cmd == "tests-diff":
        cmd_tests_diff(args)
    elif cmd == "compare":
        sys.exit(cmd_compare(args))
    elif cmd == "result":
        sys.exit(cmd_result(args))
    elif cmd == "summary":
        sys.exit(cmd_summary(args))
    else:
        sys.exit(__doc__)


if __name__ == "__main__":
    main()
