#!/usr/bin/env python3
"""Conversation index benchmark: passes of `peekwell --index` and whole-process searches with
`peekwell --search` beside `rg -l -i -F` over the same transcript folders.

  python3 bench/chats_bench.py [--home DIR] [--size 1G] [--files 5000] [--seed 1]
                               [--peekwell build/release/peekwell] [--runs 7]

The release build of peekwell is made when it is missing. The corpus is generated into --home
(by bench/corpusgen/corpusgen.py) when it holds none yet.
Every run of peekwell uses that home, so the index lands in DIR/.local/share/peekwell. The
first pass starts from an empty index; page caches are left warm for both tools.
"""

import argparse
import json
import os
import shutil
import statistics
import subprocess
import sys
import time

HERE = os.path.dirname(os.path.abspath(__file__))
ROOT = os.path.dirname(HERE)
AGENTS = (".claude/projects", ".codex/sessions", ".pi/agent/sessions", ".zenith/agent/sessions")

TERMS = [
    # rare (planted at known rates), absent
    "kaleidoscope", "quixotic", "serendipity", "xylophonist", "zzqxv",
    # common words and programming terms
    "the", "error", "index", "thread", "migration", "latency", "mutex", "benchmark", "widget",
    # several words (all must occur in one message)
    "fix failing tests", "thread lock", "cache index query", "serendipity the",
    "kaleidoscope error", "don't panic",
]


def run(command, env=None, cpu=None):
    """Runs a command; returns (seconds, peak RSS in MB, stdout). `cpu`, a list, receives the
    process's user + system CPU seconds."""
    start = time.perf_counter()
    process = subprocess.Popen(command, env=env, stdout=subprocess.PIPE, stderr=subprocess.DEVNULL)
    out = process.stdout.read()
    _, _, usage = os.wait4(process.pid, 0)
    if cpu is not None:
        cpu.append(usage.ru_utime + usage.ru_stime)
    return time.perf_counter() - start, usage.ru_maxrss / 1024.0, out


def corpus_bytes(home):
    total = files = 0
    for agent in AGENTS:
        for root, _, names in os.walk(os.path.join(home, agent)):
            for name in names:
                if name.endswith(".jsonl"):
                    total += os.path.getsize(os.path.join(root, name))
                    files += 1
    return total, files


def index_pass(peekwell, env, label, corpus_mb):
    cpu = []
    seconds, rss, out = run([peekwell, "--index"], env, cpu)
    report = json.loads(out)
    pass_seconds = report["seconds"]
    print("%-26s %8.3f s pass (%6.3f s process, %6.3f s CPU)  %7.1f MB/s read  "
          "%9.0f msgs/s  %5d changed  peak RSS %5.1f MB"
          % (label, pass_seconds, seconds, cpu[0],
             report["mbRead"] / pass_seconds if pass_seconds else 0,
             report["messages"] / pass_seconds if pass_seconds else 0,
             report["changedFiles"], rss))
    return report, seconds, rss


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("--home", default="/tmp/peekwell-bench-home")
    parser.add_argument("--size", default="1G")
    parser.add_argument("--files", type=int, default=5000)
    parser.add_argument("--seed", type=int, default=1)
    parser.add_argument("--peekwell", default=os.path.join(ROOT, "build/release/peekwell"))
    parser.add_argument("--runs", type=int, default=7)
    args = parser.parse_args()

    if not os.path.exists(args.peekwell):
        print("building %s" % args.peekwell, file=sys.stderr)
        build = os.path.dirname(os.path.abspath(args.peekwell))
        subprocess.check_call(["cmake", "-S", ROOT, "-B", build, "-G", "Ninja",
                               "-DCMAKE_BUILD_TYPE=Release", "-DPEEKWELL_TESTS=OFF"])
        subprocess.check_call(["ninja", "-C", build, "-j2", "peekwell"])

    home = os.path.abspath(args.home)
    if not os.path.isdir(os.path.join(home, ".claude")):
        print("generating %s, %d files into %s" % (args.size, args.files, home), file=sys.stderr)
        subprocess.check_call([sys.executable, os.path.join(HERE, "corpusgen/corpusgen.py"),
                               "--out", home, "--size", args.size, "--files", str(args.files),
                               "--seed", str(args.seed)])
    shutil.rmtree(os.path.join(home, ".local"), ignore_errors=True)
    env = dict(os.environ, HOME=home, QT_QPA_PLATFORM="offscreen")
    env.pop("XDG_DATA_HOME", None)
    env.pop("XDG_STATE_HOME", None)
    env.pop("XDG_CONFIG_HOME", None)

    size, files = corpus_bytes(home)
    corpus_mb = size / (1 << 20)
    print("corpus: %.0f MB in %d transcript files (%s); load average %.2f on %d cores"
          % (corpus_mb, files, home, os.getloadavg()[0], os.cpu_count()))
    print()

    full, _, _ = index_pass(args.peekwell, env, "first full pass", corpus_mb)
    unchanged, unchanged_process, _ = index_pass(args.peekwell, env, "nothing changed", corpus_mb)
    subprocess.check_call([sys.executable, os.path.join(HERE, "corpusgen/corpusgen.py"),
                           "--out", home, "--grow", "0.01", "--seed", str(args.seed + 1000)])
    grown, _, _ = index_pass(args.peekwell, env, "after growing 1% of files", corpus_mb)
    db = os.path.join(home, ".local/share/peekwell/chats.sqlite")
    db_size = sum(os.path.getsize(db + suffix) for suffix in ("", "-wal", "-shm")
                  if os.path.exists(db + suffix))
    print("messages indexed: %d; database %.1f MB (%.1f%% of the corpus)"
          % (full["messages"] + grown["messages"], db_size / (1 << 20), 100.0 * db_size / size))
    print()

    folders = [os.path.join(home, agent) for agent in AGENTS if os.path.isdir(os.path.join(home, agent))]
    print("%-22s %5s %12s %12s %10s %10s %8s" % ("search (median)", "hits", "peekwell ms", "in-process", "rg ms", "rg files", "ratio"))
    ours_all, rg_all, ratios = [], [], []
    for term in TERMS:
        ours, inner = [], []
        hits = 0
        for _ in range(args.runs):
            seconds, _, out = run([args.peekwell, "--search", term], env)
            report = json.loads(out)
            ours.append(seconds * 1000)
            inner.append(report["ms"])
            hits = len(report["hits"])
        theirs = []
        rg_files = 0
        for _ in range(max(3, args.runs // 2)):
            seconds, _, out = run(["rg", "-l", "-i", "-F", "--", term] + folders)
            theirs.append(seconds * 1000)
            rg_files = len(out.splitlines())
        ours_ms, rg_ms = statistics.median(ours), statistics.median(theirs)
        ours_all.append(ours_ms)
        rg_all.append(rg_ms)
        ratios.append(rg_ms / ours_ms)
        print("%-22s %5d %12.1f %12.1f %10.1f %10d %7.1fx" % (term, hits, ours_ms, statistics.median(inner),
                                                                rg_ms, rg_files, rg_ms / ours_ms))
    print()
    print("search: median %.1f ms (worst %.1f ms); ripgrep median %.1f ms; peekwell faster by "
          "%.1fx at the median term (%.1fx worst case)"
          % (statistics.median(ours_all), max(ours_all), statistics.median(rg_all),
             statistics.median(ratios), min(ratios)))
    print("pass with nothing changed: %.1f ms in the pass, %.1f ms as a whole process"
          % (unchanged["seconds"] * 1000, unchanged_process * 1000))


if __name__ == "__main__":
    main()
