package com.zentrix.nodalis.bench;

import com.zentrix.nodalis.deviceservice.entity.JNINativeMethods;
import com.zentrix.nodalis.deviceservice.impl.BaseServiceJNIMethods;
import java.util.ArrayList;
import java.util.Arrays;
import java.util.List;
import java.util.Locale;
import java.util.concurrent.CyclicBarrier;
import java.util.concurrent.atomic.AtomicBoolean;
import java.util.concurrent.atomic.LongAdder;

/**
 * sysGetLoid from Java end to end (binding, remote call, "app_m" of a running gatewaysim, Java
 * string), in calls per second with 1 and with 4 Java threads: a warm-up, then timed runs, and
 * the median of the runs.
 *
 * <pre>
 *     LoidBench [--threads 1,4] [--warmup-ms 2000] [--run-ms 1000] [--runs 5]
 * </pre>
 *
 * Prints JSON in Google Benchmark's form, one median aggregate per thread count, named
 * BM_JavaSysGetLoid/4/threads:N so that bench/report.py pairs it with the bus round trip of a
 * 4-byte reply (BM_BusRoundTrip/4/threads:N) measured in the same report run.
 */
public final class LoidBench {
    private final BaseServiceJNIMethods base = new BaseServiceJNIMethods();

    private LoidBench() {}

    public static void main(String[] args) throws Exception {
        int[] threads = {1, 4};
        long warmupMs = 2000;
        long runMs = 1000;
        int runs = 5;
        for (int i = 0; i + 1 < args.length; i += 2) {
            switch (args[i]) {
                case "--threads": threads = Arrays.stream(args[i + 1].split(",")).mapToInt(Integer::parseInt).toArray(); break;
                case "--warmup-ms": warmupMs = Long.parseLong(args[i + 1]); break;
                case "--run-ms": runMs = Long.parseLong(args[i + 1]); break;
                case "--runs": runs = Integer.parseInt(args[i + 1]); break;
                default: usage();
            }
        }
        if (args.length % 2 != 0) usage();

        if (new JNINativeMethods().startThread() != 0) fail("startThread failed");
        LoidBench bench = new LoidBench();
        if (bench.base.sysGetLoid() == null) fail("sysGetLoid answered null: is gatewaysim running on this bus?");

        List<String> entries = new ArrayList<>();
        for (int n : threads) {
            bench.measure(n, warmupMs);
            double[] rates = new double[runs];
            for (int r = 0; r < runs; r++) rates[r] = bench.measure(n, runMs);
            entries.add(entry(n, median(rates), runs));
        }
        System.out.println("{\n  \"benchmarks\": [\n" + String.join(",\n", entries) + "\n  ]\n}");
    }

    /** Calls per second of {@code n} threads calling for {@code ms} milliseconds. */
    private double measure(int n, long ms) throws Exception {
        CyclicBarrier start = new CyclicBarrier(n + 1);
        AtomicBoolean stop = new AtomicBoolean();
        AtomicBoolean failed = new AtomicBoolean();
        LongAdder calls = new LongAdder();
        List<Thread> workers = new ArrayList<>();
        for (int t = 0; t < n; t++) {
            Thread w = new Thread(() -> {
                try {
                    start.await();
                } catch (Exception e) {
                    failed.set(true);
                    return;
                }
                while (!stop.get()) {
                    if (base.sysGetLoid() == null) failed.set(true);
                    calls.increment();
                }
            });
            w.start();
            workers.add(w);
        }
        start.await();
        long t0 = System.nanoTime();
        Thread.sleep(ms);
        stop.set(true);
        for (Thread w : workers) w.join();
        long elapsed = System.nanoTime() - t0;
        if (failed.get()) fail("a sysGetLoid call answered null during the run");
        return calls.sum() * 1e9 / elapsed;
    }

    private static double median(double[] values) {
        double[] v = values.clone();
        Arrays.sort(v);
        return v.length % 2 == 1 ? v[v.length / 2] : (v[v.length / 2 - 1] + v[v.length / 2]) / 2;
    }

    /** One median aggregate; real_time is the wall time of one call as each thread sees it. */
    private static String entry(int threads, double rate, int runs) {
        String name = "BM_JavaSysGetLoid/4/threads:" + threads;
        return String.format(Locale.ROOT,
                "    {\"name\": \"%s_median\", \"run_name\": \"%s\", \"run_type\": \"aggregate\", "
                        + "\"aggregate_name\": \"median\", \"repetitions\": %d, \"threads\": %d, "
                        + "\"real_time\": %.1f, \"time_unit\": \"ns\", \"items_per_second\": %.1f}",
                name, name, runs, threads, threads * 1e9 / rate, rate);
    }

    private static void usage() {
        fail("usage: LoidBench [--threads 1,4] [--warmup-ms MS] [--run-ms MS] [--runs N]");
    }

    private static void fail(String why) {
        System.err.println("LoidBench: " + why);
        System.exit(1);
    }
}
