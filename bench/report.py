#!/usr/bin/env python3
"""Runs every benchmark executable in a directory, then the Java benchmark of the same build
against a simulated gateway, and prints the ratios against the baselines measured in the same run.

usage: report.py BENCH_DIR [--repetitions N] [--filter REGEX]
"""
import argparse
import json
import os
import re
import shutil
import subprocess
import sys
import tempfile


def run(exe, repetitions, flt):
    # Interleaving spreads changes of machine load over subject and baseline alike.
    cmd = [exe, "--benchmark_format=json", f"--benchmark_repetitions={repetitions}",
           "--benchmark_enable_random_interleaving=true",
           "--benchmark_report_aggregates_only=true"]
    if flt:
        cmd.append(f"--benchmark_filter={flt}")
    out = subprocess.run(cmd, check=True, capture_output=True, text=True).stdout
    return medians_of(out)


def medians_of(out):
    medians = {}
    if not out.strip():  # a filter that matches none of an executable's benchmarks
        return medians
    for b in json.loads(out)["benchmarks"]:
        if b.get("aggregate_name") == "median":
            # UseRealTime() appends "/real_time" to the name; pair on the name without it.
            medians[b["run_name"].replace("/real_time", "")] = b
    return medians


JAVA_BENCH = "BM_JavaSysGetLoid"


def run_java(build_dir, repetitions, flt):
    """sysGetLoid from Java (java/bench) against gatewaysim on a private bus directory; its
    output has Google Benchmark's JSON form."""
    if flt and not re.search(flt, f"{JAVA_BENCH}/4/threads:1"):
        return {}
    java_dir = os.path.join(build_dir, "java")
    jars = [os.path.join(java_dir, "zxbench.jar"), os.path.join(java_dir, "zxdeviceservice.jar")]
    sim = os.path.join(build_dir, "bin", "gatewaysim")
    java = shutil.which("java")
    missing = [p for p in jars + [sim] if not os.path.exists(p)] + ([] if java else ["java"])
    if missing:
        print(f"Java benchmark skipped, missing: {' '.join(missing)}", file=sys.stderr)
        return {}
    print("running the Java benchmark (LoidBench) ...", file=sys.stderr)
    bus = tempfile.mkdtemp(prefix="zxbus-jbench-", dir="/dev/shm" if os.access("/dev/shm", os.W_OK) else None)
    env = dict(os.environ, ZX_BUS_DIR=bus, ZX_TRACE="off")
    for name in ("ZX_TIMEOUT_SCALE", "ZX_PROC_NAME", "ZX_PROC_DIR"):
        env.pop(name, None)
    proc = subprocess.Popen([sim], env=env, stdout=subprocess.PIPE, text=True)
    try:
        ready = proc.stdout.readline()
        if not ready.startswith("gatewaysim ready"):
            raise RuntimeError(f"gatewaysim did not start: {ready!r}")
        cmd = [java, f"-Djava.library.path={os.path.join(build_dir, 'lib')}", "-cp", ":".join(jars),
               "com.zentrix.nodalis.bench.LoidBench", "--runs", str(repetitions)]
        out = subprocess.run(cmd, env=env, check=True, capture_output=True, text=True).stdout
    finally:
        proc.terminate()
        proc.wait(timeout=30)
        shutil.rmtree(bus, ignore_errors=True)
    return medians_of(out)


def seconds(b):
    scale = {"ns": 1e-9, "us": 1e-6, "ms": 1e-3, "s": 1.0}[b["time_unit"]]
    return b["real_time"] * scale


def fmt_time(s):
    return f"{s * 1e6:9.2f} us"


def main():
    ap = argparse.ArgumentParser()
    ap.add_argument("bench_dir")
    ap.add_argument("--repetitions", type=int, default=5)
    ap.add_argument("--filter", default="")
    args = ap.parse_args()

    results = {}
    for name in sorted(os.listdir(args.bench_dir)):
        path = os.path.join(args.bench_dir, name)
        if name.startswith("bench_") and os.access(path, os.X_OK) and os.path.isfile(path):
            print(f"running {name} ...", file=sys.stderr)
            results.update(run(path, args.repetitions, args.filter))
    results.update(run_java(os.path.dirname(os.path.abspath(args.bench_dir)), args.repetitions, args.filter))

    rows = []  # (what, subject, baseline, ratio, target text, ok)

    def pair(what, subject, baseline, kind, target=None):
        s, b = results.get(subject), results.get(baseline)
        if not s or not b:
            return
        if kind == "time":
            ratio = seconds(s) / seconds(b)
            detail = f"{fmt_time(seconds(s))} vs {fmt_time(seconds(b))}"
            ok = None if target is None else ratio <= target
            ttext = "" if target is None else f"<= {target:g}"
        elif kind == "cpu":
            if "cpu_ns_per_call" not in s or "cpu_ns_per_call" not in b:
                return
            ratio = s["cpu_ns_per_call"] / b["cpu_ns_per_call"]
            detail = f"{s['cpu_ns_per_call'] / 1e3:9.2f} us vs {b['cpu_ns_per_call'] / 1e3:9.2f} us"
            ok = None if target is None else ratio <= target
            ttext = "" if target is None else f"<= {target:g}"
        else:
            ratio = s["items_per_second"] / b["items_per_second"]
            detail = f"{s['items_per_second']:10.0f}/s vs {b['items_per_second']:10.0f}/s"
            ok = None if target is None else ratio >= target
            ttext = "" if target is None else f">= {target:g}"
        rows.append((what, detail, ratio, ttext, ok))

    for size in (4, 512, 4096):
        pair(f"bus round trip, {size} B reply, 1 thread (median time)",
             f"BM_BusRoundTrip/{size}/threads:1", f"BM_RawRoundTrip/{size}/threads:1", "time", 1.2)
        pair(f"bus round trip, {size} B reply, 4 threads (calls/s)",
             f"BM_BusRoundTrip/{size}/threads:4", f"BM_RawRoundTrip/{size}/threads:4", "rate", 0.85)
    # CPU time per call: user and system time of the calling process and its server together.
    for threads in (1, 4):
        for size in (4, 512, 4096):
            pair(f"bus CPU per call, {size} B reply, {threads} thread(s) (caller + server)",
                 f"BM_BusRoundTrip/{size}/threads:{threads}", f"BM_RawRoundTrip/{size}/threads:{threads}", "cpu",
                 1.15)
    for size in (4096, 43216, 262144):
        pair(f"shared-block transfer, {size} B (median time)",
             f"BM_VdataTransfer/{size}", f"BM_ShmObjectTransfer/{size}", "time",
             0.125 if size == 43216 else None)
    for size in (4096, 43216, 262144):
        s, b = results.get(f"BM_VdataTransfer/{size}"), results.get(f"BM_ShmObjectTransfer/{size}")
        if s and b and "storage_us" in s and "storage_us" in b:
            rows.append((f"shared-block storage calls only, {size} B", f"{s['storage_us']:7.2f} us vs {b['storage_us']:7.2f} us",
                         s["storage_us"] / b["storage_us"], "", None))
    for run_name in sorted(results):
        m = re.match(r"BM_(Zx|Zstd1|Zlib)(Compress|Decompress)/(.*)", run_name)
        if m:
            base = f"BM_Lz4{m.group(2)}/{m.group(3)}"
            label = results[run_name].get("label", m.group(3))
            pair(f"{m.group(1)} {m.group(2).lower()} vs LZ4 alone, {label}", run_name, base, "time")
    for run_name in sorted(results):
        m = re.match(r"BM_Java(\w+)/(\d+)/threads:(\d+)", run_name)
        if m:
            pair(f"{m.group(1)} from Java vs bus round trip, {m.group(2)} B, {m.group(3)} thread(s) (calls/s)",
                 run_name, f"BM_BusRoundTrip/{m.group(2)}/threads:{m.group(3)}", "rate")

    width = max((len(r[0]) for r in rows), default=20)
    print(f"{'measurement'.ljust(width)}  {'ratio':>7}  {'target':>7}  detail")
    for what, detail, ratio, ttext, ok in rows:
        mark = "" if ok is None else ("  ok" if ok else "  MISSED")
        print(f"{what.ljust(width)}  {ratio:7.3f}  {ttext:>7}  {detail}{mark}")
    for run_name in sorted(results):
        b = results[run_name]
        if "ratio" in b and "Compress/" in run_name and "Decompress" not in run_name:
            print(f"compression ratio {run_name.split('/')[0][3:]} {b.get('label', '')}: {b['ratio']:.2f}")


if __name__ == "__main__":
    main()
