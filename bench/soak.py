#!/usr/bin/env python3
"""The soak under faults: runs the Java soak driver (java/bench, com.zentrix.nodalis.bench.Soak)
against gatewaysim run one service per process on a private bus directory, while its chaos thread
kills, restarts and freezes services; then fits each sampled figure of the JVM process (resident
memory, open descriptors, arena blocks, platform allocations, System V segments, threads) against
the call count and prints its slope per 100,000 calls with the slope's standard error.

usage: soak.py --build-dir DIR [--calls N] [--threads N] [--sample-every N] [--chaos-ms MS]
               [--timeout-scale X] [--slack-ms MS] [--seed N] [--preload LIBS] [--xcheck-jni]
               [--out FILE] [--check]

--check makes the run a test: it fails (exit 1) when an answer was neither the call's success nor
its failure value, a call outlived its time-out, a service's calls did not succeed again after a
restart, or a figure grew by more than its bound per 100,000 calls (beyond twice its standard
error). --out writes the results (bench/report.py shows build/bench/soak.json).
"""
import argparse
import json
import math
import os
import shutil
import subprocess
import sys
import tempfile
import time

# The largest growth per 100,000 calls taken as flat (the slope less twice its standard error
# must stay below it). A leak of one descriptor, block, allocation or thread per restart or per
# thousand calls is far above these.
BOUNDS = {
    "rss_kb": 4096,
    "fds": 2,
    "allocations": 2,
    "sysv_segments": 0.5,
    "jvm_threads": 1,
    "os_threads": 1,
}
PER = 100_000
# Blocks of calls to a service that is gone stay in the arena until their lifetime has passed, so
# the count follows the restarts; it is reported, and checked instead for what is left once the
# lifetime is over (arena_blocks_settled).
UNBOUNDED = {"arena_blocks"}


def fit(xs, ys):
    """Least-squares slope of ys over xs, its standard error and the residuals' standard deviation."""
    n = len(xs)
    if n < 3:
        return None
    mx, my = sum(xs) / n, sum(ys) / n
    sxx = sum((x - mx) ** 2 for x in xs)
    if sxx == 0:
        return None
    slope = sum((x - mx) * (y - my) for x, y in zip(xs, ys)) / sxx
    icept = my - slope * mx
    ssr = sum((y - icept - slope * x) ** 2 for x, y in zip(xs, ys))
    sd = math.sqrt(ssr / (n - 2))
    return slope, sd / math.sqrt(sxx), sd


def slopes(result, warmup_calls):
    names = result["metrics"]
    rows = [s for s in result["samples"] if s[0] >= warmup_calls]
    out = {}
    for i, name in enumerate(names):
        xs = [r[0] / PER for r in rows]
        ys = [r[i + 1] for r in rows]
        f = fit(xs, ys)
        out[name] = {
            "slope": f[0] if f else None,
            "stderr": f[1] if f else None,
            "noise": f[2] if f else None,
            "first": ys[0] if ys else None,
            "last": ys[-1] if ys else None,
            "min": min(ys) if ys else None,
            "max": max(ys) if ys else None,
            "samples": len(ys),
        }
    return out


def print_summary(result, fitted, out=sys.stdout):
    print(f"soak: {result['calls']} calls, {result['threads']} threads, {result['seconds']:.1f} s, "
          f"time-out scale {result['timeout_scale']}, {result['kills']} kills, {result['freezes']} freezes, "
          f"{result['recoveries']} recoveries (longest {result['max_recovery_ms']} ms), "
          f"{result['failed_recoveries']} failed; arena blocks after their lifetime: {result['arena_blocks_settled']}",
          file=out)
    # t/o ms: the time-outs in force for the call (scaled); limit ms: those plus the slack.
    print(f"{'call':44} {'ok':>9} {'failed':>7} {'bad':>4} {'max ms':>8} {'t/o ms':>7} {'limit ms':>8} {'over':>5}",
          file=out)
    for op in result["ops"]:
        print(f"{op['family'] + ' ' + op['name']:44} {op['ok']:9d} {op['failed']:7d} {op['bad']:4d} "
              f"{op['max_ms']:8.1f} {op.get('timeout_ms', 0):7.1f} {op['limit_ms']:8.1f} {op['over_limit']:5d}", file=out)
    for op in result["ops"]:
        if op.get("failures"):
            shown = ", ".join(f"{k} x{v}" for k, v in sorted(op["failures"].items(), key=lambda kv: -kv[1]))
            print(f"  failures of {op['name']}: {shown}", file=out)
    print(f"{'figure':14} {'slope/100k calls':>17} {'std err':>9} {'noise':>9} {'first':>9} {'last':>9} {'bound':>7}",
          file=out)
    for name, f in fitted.items():
        if f["slope"] is None:
            print(f"{name:14} {'(too few samples)':>17}", file=out)
            continue
        bound = "-" if name in UNBOUNDED or name not in BOUNDS else f"{BOUNDS[name]:g}"
        print(f"{name:14} {f['slope']:17.3f} {f['stderr']:9.3f} {f['noise']:9.3f} {f['first']:9d} {f['last']:9d} "
              f"{bound:>7}", file=out)


def check(result, fitted):
    problems = []
    for op in result["ops"]:
        if op["bad"]:
            problems.append(f"{op['name']}: {op['bad']} answers neither its success nor its failure value")
        if op["over_limit"]:
            problems.append(f"{op['name']}: {op['over_limit']} calls took longer than {op['limit_ms']} ms "
                            f"(longest {op['max_ms']} ms)")
        if op["ok"] == 0:
            problems.append(f"{op['name']}: no call succeeded")
    problems += [f"example: {e}" for e in result["bad_examples"][:5]] if problems else []
    if result["failed_recoveries"]:
        problems.append(f"{result['failed_recoveries']} restarts after which calls did not succeed again")
    if result["kills"] == 0:
        problems.append("the chaos thread killed no service")
    problems += [f"after the soak: {f}" for f in result["final_failures"]]
    problems += [f"gatewaysim --services {k} exited {v}" for k, v in result["exits"].items() if v != 0]
    if result["arena_blocks_settled"] != 0:
        problems.append(f"{result['arena_blocks_settled']} shared blocks left in the arena after their lifetime")
    for name, f in fitted.items():
        if name in UNBOUNDED:
            continue
        if f["slope"] is None:
            problems.append(f"{name}: too few samples for a slope")
        elif f["slope"] - 2 * f["stderr"] > BOUNDS[name]:
            problems.append(f"{name} grows {f['slope']:.3f} +- {f['stderr']:.3f} per {PER} calls "
                            f"(bound {BOUNDS[name]})")
    return problems


def main():
    ap = argparse.ArgumentParser()
    ap.add_argument("--build-dir", required=True)
    ap.add_argument("--calls", type=int, default=1_000_000)
    ap.add_argument("--threads", type=int, default=16)
    ap.add_argument("--sample-every", type=int, default=100_000)
    ap.add_argument("--warmup-calls", type=int, default=None,
                    help="samples before this many calls are left out of the fit (default: one sample interval)")
    ap.add_argument("--chaos-ms", type=int, default=2000)
    ap.add_argument("--timeout-scale", default="0.02")
    ap.add_argument("--slack-ms", type=int, default=500)
    ap.add_argument("--seed", type=int, default=None)
    ap.add_argument("--profile", default=None)
    ap.add_argument("--preload", default="")
    ap.add_argument("--xcheck-jni", action="store_true")
    ap.add_argument("--no-permission-segment", action="store_true")
    ap.add_argument("--out", default=None)
    ap.add_argument("--check", action="store_true")
    ap.add_argument("--no-rss-bound", action="store_true",
                    help="report the resident size without bounding it (AddressSanitizer's quarantine grows it)")
    args = ap.parse_args()

    build = os.path.abspath(args.build_dir)
    java = shutil.which("java")
    jars = [os.path.join(build, "java", "zxbench.jar"), os.path.join(build, "java", "zxdeviceservice.jar")]
    sim = os.path.join(build, "bin", "gatewaysim")
    missing = [p for p in jars + [sim] if not os.path.exists(p)] + ([] if java else ["java"])
    if missing:
        print(f"soak: missing {' '.join(missing)}", file=sys.stderr)
        return 2

    work = tempfile.mkdtemp(prefix="zxsoak-", dir="/dev/shm" if os.access("/dev/shm", os.W_OK) else None)
    bus = os.path.join(work, "bus")
    os.mkdir(bus, 0o700)
    # A gateway root of the run's own: the discs and the plug-in operation log live in it.
    root = os.path.join(work, "root")
    os.makedirs(os.path.join(root, "var"), 0o700)
    env = dict(os.environ, ZX_BUS_DIR=bus, ZX_ROOT=root, ZX_TRACE="off", ZX_TIMEOUT_SCALE=args.timeout_scale)
    for name in ("ZX_PROC_NAME", "ZX_PROC_DIR"):
        env.pop(name, None)
    if args.profile:
        env["ZX_PROFILE"] = args.profile
    props = []
    if args.preload:
        # The JVM handles SIGSEGV itself and keeps memory until it exits; the services it starts
        # get the caller's own sanitizer options back.
        props = ["-Dzx.child.unpreload=true", f"-Dzx.child.asan_options={env.get('ASAN_OPTIONS', '')}"]
        env["LD_PRELOAD"] = args.preload.replace(":", " ")
        env["ASAN_OPTIONS"] = ":".join(filter(None, [env.get("ASAN_OPTIONS", ""),
                                                     "handle_segv=0:allow_user_segv_handler=1:detect_leaks=0"]))
    # A fixed, touched heap keeps the resident size from following the collector.
    cmd = [java, "-Xms128m", "-Xmx128m", "-XX:+AlwaysPreTouch"] + (["-Xcheck:jni"] if args.xcheck_jni else []) + [
        f"-Djava.library.path={os.path.join(build, 'lib')}", *props, "-cp", ":".join(jars),
        "com.zentrix.nodalis.bench.Soak", "--gatewaysim", sim, "--threads", str(args.threads),
        "--calls", str(args.calls), "--sample-every", str(args.sample_every), "--chaos-ms", str(args.chaos_ms),
        "--slack-ms", str(args.slack_ms), "--out", os.path.join(work, "result.json")]
    if args.seed is not None:
        cmd += ["--seed", str(args.seed)]
    if args.no_permission_segment:
        cmd.append("--no-permission-segment")
    print("soak: " + " ".join(cmd), file=sys.stderr)
    started = time.monotonic()
    try:
        # stdout carries what the file-system natives print themselves (and the JVM's JNI checks).
        proc = subprocess.run(cmd, env=env, stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True)
        sys.stderr.write(proc.stderr)
        if proc.returncode != 0:
            print(f"soak: the driver exited {proc.returncode}", file=sys.stderr)
            return 1
        if args.xcheck_jni and any(m in proc.stderr + proc.stdout for m in
                                   ("WARNING in native method", "FATAL ERROR in native method", "WARNING: JNI")):
            print("soak: the JVM reported a JNI problem (-Xcheck:jni)", file=sys.stderr)
            return 1
        with open(os.path.join(work, "result.json")) as f:
            result = json.load(f)
    finally:
        shutil.rmtree(work, ignore_errors=True)
    warmup = args.warmup_calls if args.warmup_calls is not None else args.sample_every
    fitted = slopes(result, warmup)
    result["slopes_per_100k_calls"] = fitted
    result["warmup_calls"] = warmup
    result["wall_seconds"] = round(time.monotonic() - started, 1)
    result["command"] = " ".join(sys.argv)
    print_summary(result, fitted)
    if args.out:
        with open(args.out, "w") as f:
            json.dump(result, f, indent=1)
    if args.no_rss_bound:
        UNBOUNDED.add("rss_kb")
    if args.check:
        problems = check(result, fitted)
        for p in problems:
            print(f"soak: FAILED: {p}", file=sys.stderr)
        return 1 if problems else 0
    return 0


if __name__ == "__main__":
    sys.exit(main())
