package com.zentrix.nodalis.bench;

import com.zentrix.nodalis.deviceservice.custom.fileservice.ZxUnixFileSystem;
import com.zentrix.nodalis.deviceservice.entity.DnsForwardEntry;
import com.zentrix.nodalis.deviceservice.entity.JNINativeMethods;
import com.zentrix.nodalis.deviceservice.entity.TrafficMonitoringRequest;
import com.zentrix.nodalis.deviceservice.impl.BaseServiceJNIMethods;
import com.zentrix.nodalis.deviceservice.opco.wap.velm.jni.IBundleManageServiceJNI;
import java.io.BufferedReader;
import java.io.IOException;
import java.io.InputStreamReader;
import java.nio.charset.StandardCharsets;
import java.nio.file.Files;
import java.nio.file.Path;
import java.util.ArrayList;
import java.util.Arrays;
import java.util.LinkedHashMap;
import java.util.List;
import java.util.Locale;
import java.util.Map;
import java.util.Random;
import java.util.Set;
import java.util.concurrent.ConcurrentHashMap;
import java.util.concurrent.ConcurrentLinkedQueue;
import java.util.concurrent.TimeUnit;
import java.util.concurrent.atomic.AtomicBoolean;
import java.util.concurrent.atomic.AtomicLong;
import java.util.concurrent.atomic.AtomicLongArray;
import java.util.concurrent.atomic.LongAdder;
import java.util.concurrent.locks.ReentrantLock;
import java.util.function.Supplier;
import java.util.regex.Pattern;
import java.util.stream.Stream;

/**
 * The soak under faults: Java threads call natives of every family, mixed at random, against
 * gatewaysim run as one process per service, while a chaos thread kills services with SIGKILL
 * and starts them again, or freezes one (SIGSTOP) past its time-out and lets it go on. Every
 * answer must be the call's success value or its failure value, every call must end within the
 * time-out in force for it, and after each restart the service's calls must succeed again in the
 * same JVM. Every {@code --sample-every} calls the process's resident memory, open descriptors,
 * platform allocations, arena blocks, System V segments and threads are sampled.
 *
 * <pre>
 *     Soak --gatewaysim PATH [--threads 16] [--calls 1000000] [--sample-every 100000]
 *          [--chaos-ms 2000] [--slack-ms 500] [--seed N] [--services tarn,app_m,...] [--out FILE] [--probe]
 * </pre>
 *
 * The environment is the platform's: ZX_BUS_DIR (a private bus directory), ZX_TIMEOUT_SCALE (the
 * time-outs in force are the fixed ones times this factor). Writes one JSON object to the
 * {@code --out} file (else stdout, where the file-system natives print too); progress goes to stderr. {@code --probe} prints each call's answer with its service up and with
 * it gone, and ends.
 */
public final class Soak {
    static final long NO_DEST = 0xF7F01002L;
    static final long TIMEOUT = 0xF7F01001L;
    static final long TRANSPORT = 0xF7F01003L;
    /** The statuses a call to a killed, restarting or frozen service may end with. */
    static final long[] GONE = {NO_DEST, TIMEOUT, TRANSPORT};

    static final List<String> ALL_SERVICES =
            List.of("tarn", "app_m", "cwmp", "wifi", "zel", "voice", "usb_mngt", "osgi_proxy", "eventcenter");

    // ---- the calls ---------------------------------------------------------------------------

    /**
     * One kind of call: its family, the service it needs (null: none), the sum of the time-outs of
     * the remote calls it makes (unscaled, ms), the call, its success value and its failure values.
     */
    record Op(String family, String name, String service, long budgetMs, Supplier<Object> call, Pattern ok,
              Set<String> failures) {
        boolean isOk(String answer) {
            return ok.matcher(answer).matches();
        }

        boolean isFailure(String answer) {
            return failures.contains(answer);
        }
    }

    static String text(Object o) {
        if (o == null) return "null";
        if (o instanceof String[] a) return Arrays.toString(a);
        return o.toString();
    }

    static Pattern exactly(String s) {
        return Pattern.compile(Pattern.quote(s));
    }

    /** The platform statuses of a gone service, as Java ints in decimal (answers that pass them on). */
    static Set<String> goneInts(String... more) {
        List<String> out = new ArrayList<>(List.of(more));
        for (long s : GONE) out.add(Integer.toString((int) s));
        return Set.copyOf(out);
    }

    static final BaseServiceJNIMethods BASE = new BaseServiceJNIMethods();
    static final JNINativeMethods ENTITY = new JNINativeMethods();
    static final IBundleManageServiceJNI BUNDLES = new IBundleManageServiceJNI();
    static final ZxUnixFileSystem FS = new ZxUnixFileSystem();
    static final String FAIL_JSON = "{\"Result\":-1, \"FailReason\":\"\"}";
    static final String RESULT_MINUS_ONE = "{ \"Result\": -1 }";

    static List<Op> ops() {
        List<Op> ops = new ArrayList<>();
        // system information
        ops.add(new Op("system", "sysGetLoid", "app_m", 30000, BASE::sysGetLoid, exactly("ZXLOID0001"), Set.of("null")));
        ops.add(new Op("system", "sysGetCpuUsage", null, 0, BASE::sysGetCpuUsage,
                Pattern.compile("\\{\"Result\":0 , \"Percent\":\"\\d+\"\\}"), Set.of()));
        // WLAN and LED
        ops.add(new Op("wlan", "wlanGetState(1)", "app_m", 30000, () -> BASE.wlanGetState(1), exactly("1"), Set.of("0")));
        ops.add(new Op("wlan", "wlanGetWPSState(1)", "wifi", 5000, () -> BASE.wlanGetWPSState(1), exactly("0"), goneInts()));
        ops.add(new Op("wlan", "wlanGetSecurity(1)", "app_m", 30000, () -> BASE.wlanGetSecurity(1),
                exactly("{\"Result\":0,\"SSIDIndex\":1,\"SecurityMode\":\"WPA2-PSK\",\"Key\":\"harbour-lights-42\"}"),
                Set.of("{\"Result\":1}")));
        ops.add(new Op("wlan", "LedSetState(4,0,0,0)", "app_m", 30000, () -> BASE.LedSetState(4, 0, 0, 0),
                exactly("0"), Set.of("-1")));
        // LAN and broadband
        ops.add(new Op("lan", "lanGetPortStatus", "app_m", 30000, BASE::lanGetPortStatus,
                Pattern.compile("\\{\"Result\":0,\"Ports\":\\[.*\\]\\}"), Set.of(FAIL_JSON)));
        ops.add(new Op("lan", "lanGetDevBandwidth", "app_m", 30000, BASE::lanGetDevBandwidth,
                Pattern.compile("\\{\"Result\":0,\"UsBandwidth\":\\d+,\"DsBandwidth\":\\d+\\}"), Set.of(FAIL_JSON)));
        // tunnels, DNS and device information (the entity's dispatcher, "tarn", "cwmp")
        ops.add(new Op("tunnel", "send(1) ONT MAC", "tarn", 5000, () -> ENTITY.send(1, null),
                exactly("00:1A:2B:3C:4D:5E"), Set.of("null")));
        ops.add(new Op("tunnel", "send(21) resolve", "tarn", 5000, () -> ENTITY.send(21, "three.example.com"),
                exactly("198.51.100.1,198.51.100.2,198.51.100.3"), Set.of("null")));
        ops.add(new Op("tunnel", "send(4)+send(5) DNS forward rule", "tarn", 10000, Soak::dnsRuleAddAndDelete,
                exactly("0/0"), pairFailures()));
        ops.add(new Op("tunnel", "send(12)+send(13) traffic monitoring", "tarn", 10000, Soak::trafficAddAndDelete,
                exactly("0/0"), pairFailures()));
        ops.add(new Op("tunnel", "send(16) cloud address", "app_m", 5000, () -> ENTITY.send(16, null),
                exactly("192.168.100.10"), Set.of("null")));
        // bundles
        ops.add(new Op("bundle", "queryBundleState", "osgi_proxy", 20000,
                () -> BUNDLES.queryBundleState(new String[] {"com.zentrix.mediashare"}),
                Pattern.compile(".*com\\.zentrix\\.mediashare.*ACTIVE.*"), Set.of(RESULT_MINUS_ONE)));
        // USB and storage
        ops.add(new Op("usb", "queryVolumeLabelInfo", "usb_mngt", 30000, BASE::queryVolumeLabelInfo,
                Pattern.compile("\\[.*USB_DISK1.*BACKUP.*\\]"), Set.of("null")));
        ops.add(new Op("storage", "getMediaFilesInfo", "app_m", 30000, BASE::getMediaFilesInfo,
                Pattern.compile("\\[.+\\]"), Set.of("null")));
        ops.add(new Op("storage", "getFilesScanListByType(video)", "app_m", 30000,
                () -> BASE.getFilesScanListByType("video"), Pattern.compile("\\{\"Result\":0,\"Type\":\"video\".*"),
                Set.of(FAIL_JSON)));
        // file system
        ops.add(new Op("file", "getBooleanAttributes(/tmp)", null, 0, () -> FS.getBooleanAttributes("/tmp"),
                exactly("5"), Set.of()));
        ops.add(new Op("file", "canonicalize0", null, 0, () -> FS.canonicalize0("/tmp/./a/../b"), exactly("/tmp/b"),
                Set.of()));
        // capabilities and permissions
        ops.add(new Op("capability", "getFeatureSwitch", null, 0,
                () -> BASE.getFeatureSwitch("FT_PLUGIN_PERMISSION_ENABLE"), Pattern.compile("[01]"), Set.of()));
        ops.add(new Op("capability", "isCloudRegistered", "app_m", 30000, BASE::isCloudRegistered, exactly("1"),
                Set.of("0")));
        // events
        ops.add(new Op("event", "notifyEvent", "eventcenter", 5000, () -> BASE.notifyEvent("soak", "data"),
                exactly("0"), goneInts()));
        // voice
        ops.add(new Op("voice", "voiceGetPOTSDoNotDisturbState(1)", "voice", 30000,
                () -> BASE.voiceGetPOTSDoNotDisturbState(1), exactly("{ \"Result\": 0, \"State\": 0 }"),
                Set.of("{ \"Result\": 1, \"State\": 0 }")));
        return ops;
    }

    /** The permission segment's call: kept apart, it shares one System V key with the whole machine. */
    static Op permissionsOp() {
        return new Op("capability", "getPluginPermissions", "osgi_proxy", 60000, BASE::getPluginPermissions,
                Pattern.compile("\\[\\{\"Name\":.*"), Set.of(RESULT_MINUS_ONE));
    }

    private static final AtomicLong RULE_SERIAL = new AtomicLong();

    /** A DNS forwarding rule added and taken away again, so that the service's state stays as it was. */
    static Object dnsRuleAddAndDelete() {
        String domain = "soak" + RULE_SERIAL.incrementAndGet() + ".example.com";
        String added = ENTITY.send(4, new DnsForwardEntry(domain, "8.8.8.8", null));
        String deleted = ENTITY.send(5, new DnsForwardEntry(domain, null, null));
        return added + "/" + deleted;
    }

    /**
     * Destinations of one bundle put under traffic monitoring and taken off again: the list travels
     * to "tarn" in a shared block, and "app_m" is told in a block of its own.
     */
    static Object trafficAddAndDelete() {
        TrafficMonitoringRequest req = new TrafficMonitoringRequest("com.soak.t" + Thread.currentThread().getId(),
                "10.0.0.1,10.0.0.2");
        return ENTITY.send(12, req) + "/" + ENTITY.send(13, req);
    }

    /**
     * A block write refused because the arena is full: the creation's ZX_VDATA_ERR_FULL ORed with
     * the update's ZX_VDATA_ERR_BAD_ID. Calls to a service that is gone leave their blocks to the
     * platform, which takes them back only once they are older than their lifetime; at the soak's
     * call rate the blocks of one restart can fill the arena's slots before that.
     */
    static final long ARENA_FULL_WRITE = 0xF7F02002L | 0xF7F02001L;

    /** Two calls that send shared blocks, of which either may meet a gone service or a full arena. */
    static Set<String> pairFailures() {
        List<String> one = new ArrayList<>(List.of("0", Integer.toString((int) ARENA_FULL_WRITE)));
        for (long s : GONE) one.add(Integer.toString((int) s));
        List<String> out = new ArrayList<>();
        for (String a : one)
            for (String d : one)
                if (!(a.equals("0") && d.equals("0"))) out.add(a + "/" + d);
        return Set.copyOf(out);
    }

    // ---- the simulated services ------------------------------------------------------------

    /** One service in a gatewaysim process of its own, with its own control socket. */
    static final class Service {
        final String name;
        final String gatewaysim;
        volatile Process process;
        final AtomicLong starts = new AtomicLong();

        Service(String name, String gatewaysim) {
            this.name = name;
            this.gatewaysim = gatewaysim;
        }

        synchronized void start() throws IOException {
            ProcessBuilder pb = new ProcessBuilder(gatewaysim, "--services", name, "--ctl", name);
            Map<String, String> env = pb.environment();
            // A JVM that preloads the sanitizer runtimes hands the children the caller's own options.
            if (Boolean.getBoolean("zx.child.unpreload")) {
                env.remove("LD_PRELOAD");
                String asan = System.getProperty("zx.child.asan_options", "");
                if (asan.isEmpty()) env.remove("ASAN_OPTIONS");
                else env.put("ASAN_OPTIONS", asan);
            }
            pb.redirectError(ProcessBuilder.Redirect.INHERIT);
            Process p = pb.start();
            BufferedReader out = new BufferedReader(new InputStreamReader(p.getInputStream(), StandardCharsets.UTF_8));
            String line = out.readLine();
            if (line == null || !line.equals("gatewaysim ready " + p.pid())) {
                p.destroyForcibly();
                throw new IOException("gatewaysim --services " + name + " did not start: " + line);
            }
            // Nothing more is printed; the pipe stays open so that the child never writes into a closed one.
            process = p;
            starts.incrementAndGet();
        }

        synchronized void kill() throws InterruptedException {
            Process p = process;
            p.destroyForcibly();  // SIGKILL
            p.waitFor();
        }

        void signal(String sig) throws IOException, InterruptedException {
            Process k = new ProcessBuilder("kill", "-" + sig, Long.toString(process.pid())).start();
            if (k.waitFor() != 0) throw new IOException("kill -" + sig + " failed");
        }

        /** SIGTERM; the exit status (0 after a clean stop). */
        int stop() throws InterruptedException {
            Process p = process;
            p.destroy();
            if (!p.waitFor(60, TimeUnit.SECONDS)) {
                p.destroyForcibly().waitFor();
                return -1;
            }
            return p.exitValue();
        }
    }

    // ---- samples -------------------------------------------------------------------------------

    static final String[] METRICS = {"rss_kb", "fds", "arena_blocks", "allocations", "sysv_segments", "jvm_threads",
                                     "os_threads"};

    static final String REAPER = "process reaper";

    static long[] sample() throws IOException {
        long pid = ProcessHandle.current().pid();
        String[] statm = Files.readString(Path.of("/proc/self/statm")).trim().split("\\s+");
        long rssKb = Long.parseLong(statm[1]) * 4;
        long fds;
        try (Stream<Path> s = Files.list(Path.of("/proc/self/fd"))) {
            fds = s.count();
        }
        long segments = 0;
        List<String> shm = Files.readAllLines(Path.of("/proc/sysvipc/shm"));
        for (int i = 1; i < shm.size(); i++) {
            String[] f = shm.get(i).trim().split("\\s+");
            if (f.length > 4 && Long.parseLong(f[4]) == pid) segments++;  // cpid
        }
        // Threads, without the JDK's "process reaper" threads that come and go with the chaos
        // thread's own child processes.
        long tasks = 0;
        try (Stream<Path> s = Files.list(Path.of("/proc/self/task"))) {
            for (Path task : (Iterable<Path>) s::iterator) {
                try {
                    if (!Files.readString(task.resolve("comm")).strip().equals(REAPER)) tasks++;
                } catch (IOException e) {
                    // the thread ended meanwhile
                }
            }
        }
        long javaThreads = Thread.getAllStackTraces().keySet().stream().filter(t -> !t.getName().equals(REAPER)).count();
        return new long[] {rssKb, fds, PlatformCounts.arenaBlocks(), PlatformCounts.allocations(), segments,
                           javaThreads, tasks};
    }

    // ---- the run -------------------------------------------------------------------------------

    int threads = 16;
    long calls = 1_000_000;
    long sampleEvery = 100_000;
    long chaosMs = 2000;
    long slackMs = 500;
    long seed = System.nanoTime();
    boolean permissions = true;
    boolean probe = false;
    String gatewaysim;
    /** Where the results go; the file-system natives print on stdout themselves. */
    String out;
    List<String> serviceNames = ALL_SERVICES;
    double scale = 1;

    final Map<String, Service> services = new LinkedHashMap<>();
    List<Op> ops;
    AtomicLongArray okCount, failCount, badCount, maxLatencyNs, overBudget;
    /** Per call, how often each failure value came back. */
    final List<ConcurrentHashMap<String, LongAdder>> failureAnswers = new ArrayList<>();
    final ConcurrentLinkedQueue<String> badExamples = new ConcurrentLinkedQueue<>();
    final AtomicLong badExampleCount = new AtomicLong();
    final AtomicLong done = new AtomicLong();
    final List<long[]> samples = new ArrayList<>();
    final List<Long> sampleCalls = new ArrayList<>();
    final List<String> chaosLog = new ArrayList<>();
    /** Held by the chaos thread from a kill or freeze until the service's calls answer again. */
    final ReentrantLock chaosStep = new ReentrantLock();
    long kills, freezes, recoveries, maxRecoveryMs, failedRecoveries;
    long arenaSettled = -1;

    public static void main(String[] args) throws Exception {
        Soak s = new Soak();
        for (int i = 0; i < args.length; i++) {
            String a = args[i];
            if (a.equals("--probe")) {
                s.probe = true;
                continue;
            }
            if (a.equals("--no-permission-segment")) {
                s.permissions = false;
                continue;
            }
            if (i + 1 >= args.length) usage();
            String v = args[++i];
            switch (a) {
                case "--gatewaysim": s.gatewaysim = v; break;
                case "--out": s.out = v; break;
                case "--threads": s.threads = Integer.parseInt(v); break;
                case "--calls": s.calls = Long.parseLong(v); break;
                case "--sample-every": s.sampleEvery = Long.parseLong(v); break;
                case "--chaos-ms": s.chaosMs = Long.parseLong(v); break;
                case "--slack-ms": s.slackMs = Long.parseLong(v); break;
                case "--seed": s.seed = Long.parseLong(v); break;
                case "--services": s.serviceNames = List.of(v.split(",")); break;
                default: usage();
            }
        }
        if (s.gatewaysim == null) usage();
        String sc = System.getenv("ZX_TIMEOUT_SCALE");
        s.scale = sc == null || sc.isEmpty() ? 1 : Double.parseDouble(sc);
        System.exit(s.run());
    }

    static void usage() {
        System.err.println("usage: Soak --gatewaysim PATH [--threads N] [--calls N] [--sample-every N] [--chaos-ms MS]"
                + " [--slack-ms MS] [--seed N] [--services a,b] [--no-permission-segment] [--probe]");
        System.exit(2);
    }

    static void log(String s) {
        System.err.println("soak: " + s);
    }

    /** The longest a call of op may take: its time-outs in force plus the machine's slack. */
    long limitNs(Op op) {
        return (long) (op.budgetMs() * scale * 1e6) + slackMs * 1_000_000L;
    }

    int run() throws Exception {
        ops = ops();
        if (permissions) ops.add(permissionsOp());
        ops.removeIf(op -> op.service() != null && !serviceNames.contains(op.service()));
        int n = ops.size();
        okCount = new AtomicLongArray(n);
        failCount = new AtomicLongArray(n);
        badCount = new AtomicLongArray(n);
        maxLatencyNs = new AtomicLongArray(n);
        overBudget = new AtomicLongArray(n);
        for (int i = 0; i < n; i++) failureAnswers.add(new ConcurrentHashMap<>());

        for (String name : serviceNames) services.put(name, new Service(name, gatewaysim));
        try {
            for (Service svc : services.values()) svc.start();
            if (ENTITY.startThread() != 0) throw new IllegalStateException("startThread failed");
            // Every call answers its success value while every service is up.
            for (Op op : ops) {
                String answer = awaitOk(op, 20_000);  // a first call may meet a service still warming up
                if (!op.isOk(answer)) throw new IllegalStateException(op.name() + " answered " + answer + " with every service up");
            }
            if (probe) return probe();
            return soak();
        } finally {
            for (Service svc : services.values()) {
                if (svc.process != null && svc.process.isAlive()) svc.process.destroyForcibly().waitFor();
            }
        }
    }

    /** Each call's answer with its service up, and with it killed. */
    int probe() throws Exception {
        for (Op op : ops) {
            String up = text(op.call().get());
            String down = "-";
            if (op.service() != null) {
                Service svc = services.get(op.service());
                svc.kill();
                down = text(op.call().get());
                svc.start();
            }
            System.out.println(op.name() + "\tup: " + up + "\tdown: " + down + "\tok(up)=" + op.isOk(up)
                    + " failure(down)=" + op.isFailure(down));
        }
        return 0;
    }

    int soak() throws Exception {
        final long started = System.nanoTime();
        AtomicBoolean finished = new AtomicBoolean();
        samples.add(sample());
        sampleCalls.add(0L);

        // The workers call until the last sample has been taken, so that every sample sees them all.
        AtomicBoolean stop = new AtomicBoolean();
        List<Thread> workers = new ArrayList<>();
        for (int t = 0; t < threads; t++) {
            final Random rnd = new Random(seed + t);
            Thread w = new Thread(() -> {
                while (!stop.get()) {
                    int i = rnd.nextInt(ops.size());
                    Op op = ops.get(i);
                    long t0 = System.nanoTime();
                    String answer = text(op.call().get());
                    long ns = System.nanoTime() - t0;
                    if (op.isOk(answer)) okCount.incrementAndGet(i);
                    else if (op.isFailure(answer)) {
                        failCount.incrementAndGet(i);
                        failureAnswers.get(i).computeIfAbsent(answer, k -> new LongAdder()).increment();
                    }
                    else {
                        badCount.incrementAndGet(i);
                        if (badExampleCount.incrementAndGet() <= 20) badExamples.add(op.name() + " answered " + answer);
                    }
                    maxLatencyNs.accumulateAndGet(i, ns, Math::max);
                    if (ns > limitNs(op)) overBudget.incrementAndGet(i);
                    done.incrementAndGet();
                }
            }, "soak-worker-" + t);
            w.start();
            workers.add(w);
        }

        Thread chaos = new Thread(() -> chaosLoop(finished), "soak-chaos");
        chaos.start();

        long next = sampleEvery;
        long lastReport = System.nanoTime();
        while (true) {
            long d = done.get();
            if (d >= next) {
                // Between chaos steps: every service up and its calls answered again, so that a
                // sample does not count the connections of a killed service as gone.
                chaosStep.lock();
                try {
                    samples.add(sample());
                } finally {
                    chaosStep.unlock();
                }
                d = done.get();
                sampleCalls.add(d);
                next = (d / sampleEvery + 1) * sampleEvery;
                long[] last = samples.get(samples.size() - 1);
                log(String.format(Locale.ROOT, "%d calls, %.0f s, rss %d kB, fds %d, arena %d (%d of dead creators),"
                        + " allocs %d, segments %d, threads %d", d, (System.nanoTime() - started) / 1e9, last[0], last[1],
                        last[2], PlatformCounts.arenaBlocksOfDeadCreators(), last[3], last[4], last[5]));
                lastReport = System.nanoTime();
                if (d >= calls) break;
            }
            if (workers.stream().noneMatch(Thread::isAlive)) throw new IllegalStateException("every worker ended");
            if (System.nanoTime() - lastReport > 30_000_000_000L) {
                log(d + " calls so far");
                lastReport = System.nanoTime();
            }
            Thread.sleep(2);
        }
        stop.set(true);
        for (Thread w : workers) w.join();
        finished.set(true);
        chaos.join();
        double seconds = (System.nanoTime() - started) / 1e9;

        // After the last restart, with every service up again, every call succeeds.
        List<String> finalFailures = new ArrayList<>();
        for (Op op : ops) {
            String answer = awaitOk(op, 20_000);
            if (!op.isOk(answer)) finalFailures.add(op.name() + " answered " + answer);
        }
        // Blocks that calls to a gone service left behind are the platform's: once their lifetime
        // (twice the longest call time-out, scaled) has passed, the next block created takes them
        // back, and nothing is left in the arena.
        Thread.sleep((long) (240_000 * scale) + 500);
        Op writer = ops.stream().filter(o -> o.name().startsWith("send(12)")).findFirst().orElse(null);
        if (writer != null) writer.call().get();
        Thread.sleep(200);
        arenaSettled = PlatformCounts.arenaBlocks();
        // Each service stops cleanly.
        Map<String, Integer> exits = new LinkedHashMap<>();
        for (Service svc : services.values()) exits.put(svc.name, svc.stop());

        String result = json(seconds, finalFailures, exits);
        if (out == null) System.out.println(result);
        else Files.writeString(Path.of(out), result + "\n");
        return 0;
    }

    /** Calls op until it answers its success value or ms pass; the last answer. */
    String awaitOk(Op op, long ms) {
        long end = System.nanoTime() + ms * 1_000_000L;
        String answer;
        do {
            answer = text(op.call().get());
            if (op.isOk(answer)) return answer;
            try {
                Thread.sleep(20);
            } catch (InterruptedException e) {
                return answer;
            }
        } while (System.nanoTime() < end);
        return answer;
    }

    void chaosLoop(AtomicBoolean finished) {
        Random rnd = new Random(seed ^ 0x5DEECE66DL);
        List<Service> list = new ArrayList<>(services.values());
        // This thread's own connections to every service are made before the first sample.
        for (Op op : ops) op.call().get();
        while (!finished.get()) {
            try {
                Thread.sleep(chaosMs / 2 + (long) (rnd.nextDouble() * chaosMs));
                if (finished.get()) break;
                chaosStep.lock();
                Service svc = list.get(rnd.nextInt(list.size()));
                List<Op> own = ops.stream().filter(o -> svc.name.equals(o.service())).toList();
                long t0 = System.nanoTime();
                if (rnd.nextInt(4) == 0) {
                    // Frozen past the longest time-out of its calls, then let go on.
                    long budget = own.stream().mapToLong(Op::budgetMs).max().orElse(5000);
                    long ms = (long) (budget * scale * 1.5) + 50;
                    svc.signal("STOP");
                    Thread.sleep(ms);
                    svc.signal("CONT");
                    freezes++;
                    chaosLog.add("freeze " + svc.name + " " + ms + " ms");
                } else {
                    svc.kill();
                    Thread.sleep(rnd.nextInt(300));
                    svc.start();
                    kills++;
                    chaosLog.add("kill " + svc.name);
                }
                // The service's calls succeed again, in this JVM, without any restart of it.
                long deadline = System.nanoTime() + 20_000_000_000L;
                boolean recovered = own.isEmpty();
                while (!recovered && System.nanoTime() < deadline) {
                    recovered = true;
                    for (Op op : own) recovered &= op.isOk(text(op.call().get()));
                    if (!recovered) Thread.sleep(10);
                }
                long ms = (System.nanoTime() - t0) / 1_000_000;
                if (recovered) {
                    recoveries++;
                    maxRecoveryMs = Math.max(maxRecoveryMs, ms);
                } else {
                    failedRecoveries++;
                    chaosLog.add("NO RECOVERY of " + svc.name);
                    log("calls to " + svc.name + " did not succeed again within 20 s");
                }
                // The workers' calls meet the service again before a sample may be taken.
                Thread.sleep(50);
            } catch (Exception e) {
                failedRecoveries++;
                chaosLog.add("chaos step failed: " + e);
                log("chaos step failed: " + e);
            } finally {
                if (chaosStep.isHeldByCurrentThread()) chaosStep.unlock();
            }
        }
    }

    static String q(String s) {
        StringBuilder b = new StringBuilder("\"");
        for (char c : s.toCharArray()) {
            if (c == '"' || c == '\\') b.append('\\').append(c);
            else if (c < 0x20) b.append(String.format("\\u%04x", (int) c));
            else b.append(c);
        }
        return b.append('"').toString();
    }

    String json(double seconds, List<String> finalFailures, Map<String, Integer> exits) {
        StringBuilder b = new StringBuilder("{\n");
        b.append(String.format(Locale.ROOT, "  \"threads\": %d, \"calls\": %d, \"seconds\": %.1f, \"timeout_scale\": %s,"
                + " \"slack_ms\": %d, \"seed\": %d,\n", threads, done.get(), seconds, Double.toString(scale), slackMs, seed));
        b.append(String.format(Locale.ROOT, "  \"kills\": %d, \"freezes\": %d, \"recoveries\": %d, \"failed_recoveries\": %d,"
                + " \"max_recovery_ms\": %d, \"arena_blocks_settled\": %d,\n", kills, freezes, recoveries, failedRecoveries,
                maxRecoveryMs, arenaSettled));
        b.append("  \"ops\": [\n");
        for (int i = 0; i < ops.size(); i++) {
            Op op = ops.get(i);
            b.append(String.format(Locale.ROOT, "    {\"family\": %s, \"name\": %s, \"service\": %s, \"ok\": %d, \"failed\": %d,"
                    + " \"bad\": %d, \"max_ms\": %.1f, \"timeout_ms\": %.1f, \"limit_ms\": %.1f, \"over_limit\": %d, \"failures\": {%s}}%s\n",
                    q(op.family()), q(op.name()), op.service() == null ? "null" : q(op.service()), okCount.get(i),
                    failCount.get(i), badCount.get(i), maxLatencyNs.get(i) / 1e6, op.budgetMs() * scale, limitNs(op) / 1e6, overBudget.get(i),
                    String.join(", ", failureAnswers.get(i).entrySet().stream()
                            .map(e -> q(e.getKey()) + ": " + e.getValue().sum()).toList()),
                    i + 1 < ops.size() ? "," : ""));
        }
        b.append("  ],\n  \"bad_examples\": [");
        b.append(String.join(", ", badExamples.stream().map(Soak::q).toList()));
        b.append("],\n  \"final_failures\": [");
        b.append(String.join(", ", finalFailures.stream().map(Soak::q).toList()));
        b.append("],\n  \"exits\": {");
        b.append(String.join(", ", exits.entrySet().stream().map(e -> q(e.getKey()) + ": " + e.getValue()).toList()));
        b.append("},\n  \"chaos\": [");
        b.append(String.join(", ", chaosLog.stream().map(Soak::q).toList()));
        b.append("],\n  \"metrics\": [");
        b.append(String.join(", ", Arrays.stream(METRICS).map(Soak::q).toList()));
        b.append("],\n  \"samples\": [\n");
        for (int i = 0; i < samples.size(); i++) {
            b.append("    [").append(sampleCalls.get(i));
            for (long v : samples.get(i)) b.append(", ").append(v);
            b.append(i + 1 < samples.size() ? "],\n" : "]\n");
        }
        b.append("  ]\n}");
        return b.toString();
    }
}
