package com.zentrix.nodalis.bridgetest.hostile;

import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertFalse;
import static org.junit.jupiter.api.Assertions.assertNotNull;
import static org.junit.jupiter.api.Assertions.assertTrue;
import static org.junit.jupiter.api.Assertions.fail;

import com.zentrix.nodalis.bridgetest.hostile.HostileCatalogue.Case;
import com.zentrix.nodalis.bridgetest.support.GatewayExtension;
import java.io.BufferedReader;
import java.io.IOException;
import java.io.InputStreamReader;
import java.nio.charset.StandardCharsets;
import java.nio.file.Files;
import java.nio.file.Path;
import java.util.ArrayList;
import java.util.HashSet;
import java.util.LinkedHashMap;
import java.util.List;
import java.util.Map;
import java.util.Set;
import java.util.TreeSet;
import java.util.concurrent.BlockingQueue;
import java.util.concurrent.LinkedBlockingQueue;
import java.util.concurrent.TimeUnit;
import java.util.stream.Stream;
import org.junit.jupiter.api.DynamicTest;
import org.junit.jupiter.api.Test;
import org.junit.jupiter.api.TestFactory;
import org.junit.jupiter.api.extension.RegisterExtension;

/**
 * Every native of the five Java classes called with hostile arguments (see {@link HostileCatalogue})
 * in child JVMs run with -Xcheck:jni. A child runs the cases one after the other; when one kills
 * it, that case fails and a fresh child goes on with the next. Each case must return, print no JNI
 * warning, and give the answer the library defines for a refused argument where there is one.
 */
class HostileSweepTest {
    @RegisterExtension
    static final GatewayExtension gateway = new GatewayExtension();

    /** A case that does not answer within this time counts as hung; its child is killed. */
    private static final long CASE_LIMIT_MS = 20_000;

    /**
     * Calls the library gets wrong today, each with what happens. They are expected to fail, and
     * the sweep asserts that they still do: when a fix makes one pass, its entry here must go. Once
     * the fixes for hostile input are in, this list is empty.
     */
    static final Map<String, String> KNOWN_FAILURES = new LinkedHashMap<>();

    /**
     * Known failures that only the sanitizer build sees (its JVM runs with the sanitizer runtimes
     * preloaded); the same rule holds: each must still fail, and the fixes empty the list.
     */
    static final Map<String, String> KNOWN_SANITIZER_FAILURES = new LinkedHashMap<>();

    private static void known(String id, String why) {
        KNOWN_FAILURES.put(id, why);
    }

    private static boolean sanitized() {
        return Boolean.getBoolean("zx.child.unpreload");
    }

    private static String knownFailure(String id) {
        String why = KNOWN_FAILURES.get(id);
        return why == null && sanitized() ? KNOWN_SANITIZER_FAILURES.get(id) : why;
    }

    /** What happened to one case in its child. */
    record Outcome(boolean returned, String answer, List<String> output, String death) {}

    private static Map<Integer, Outcome> outcomes;
    private static long sweepMillis;

    private static synchronized Map<Integer, Outcome> sweep() throws Exception {
        if (outcomes != null) return outcomes;
        long start = System.nanoTime();
        List<Case> cases = HostileCatalogue.cases();
        Map<Integer, Outcome> out = new LinkedHashMap<>();
        Path dir = Files.createTempDirectory("zxsweep");
        int next = 0;
        while (next < cases.size()) {
            next = runChild(next, cases.size(), dir, out);
        }
        // The children's working directory: what the file-system natives made there and the JVMs'
        // crash reports.
        try (Stream<Path> walk = Files.walk(dir)) {
            for (Path p : walk.sorted(java.util.Comparator.reverseOrder()).toList()) Files.deleteIfExists(p);
        } catch (IOException | RuntimeException e) {
            System.out.println("hostile sweep: " + dir + " is left behind: " + e);
        }
        sweepMillis = (System.nanoTime() - start) / 1_000_000;
        System.out.println("hostile sweep: " + cases.size() + " cases in " + sweepMillis + " ms");
        for (Case c : cases) {
            Outcome o = out.get(c.index());
            System.out.println("  " + c.index() + " " + c.id() + " -> "
                    + (o == null ? "never ran" : o.returned() ? o.answer() : o.death()));
        }
        outcomes = out;
        return out;
    }

    /** Runs one child from case {@code from}; returns the index where the next child starts. */
    private static int runChild(int from, int total, Path dir, Map<Integer, Outcome> out) throws Exception {
        List<String> cmd = new ArrayList<>();
        cmd.add(Path.of(System.getProperty("java.home"), "bin", "java").toString());
        cmd.add("-Xcheck:jni");
        cmd.add("-Xmx256m");
        // Every exception the JVM raises is logged on the child's output: the cases whose string
        // cannot be converted must show the OutOfMemoryError the library cleared.
        cmd.add("-Xlog:exceptions=info");
        cmd.add("-XX:-CreateCoredumpOnCrash");
        cmd.add("-XX:ErrorFile=" + dir.resolve("hs_err_%p.log"));
        cmd.add("-Djava.library.path=" + System.getProperty("java.library.path"));
        cmd.add("-cp");
        cmd.add(System.getProperty("java.class.path"));
        cmd.add(SweepChild.class.getName());
        cmd.add(Integer.toString(from));
        // The child keeps this JVM's environment: bus directory, trace file, profile, time-out
        // scale and, in the sanitizer build, the runtimes a JVM needs preloaded.
        ProcessBuilder pb = new ProcessBuilder(cmd).directory(dir.toFile()).redirectErrorStream(true);
        Process child = pb.start();
        BlockingQueue<String> lines = new LinkedBlockingQueue<>();
        final String eof = new String("<eof>");
        Thread reader = new Thread(() -> {
            try (BufferedReader r = new BufferedReader(new InputStreamReader(child.getInputStream(), StandardCharsets.UTF_8))) {
                for (String l; (l = r.readLine()) != null; ) lines.add(l);
            } catch (IOException e) {
                lines.add("sweep: reading the child failed: " + e);
            }
            lines.add(eof);
        });
        reader.setDaemon(true);
        reader.start();

        int current = -1;
        int expected = from;
        List<String> output = new ArrayList<>();
        try {
            while (true) {
                String l = lines.poll(CASE_LIMIT_MS, TimeUnit.MILLISECONDS);
                if (l == null) {
                    child.destroyForcibly().waitFor();
                    int at = current >= 0 ? current : expected;
                    output.add("sweep: no answer within " + CASE_LIMIT_MS + " ms");
                    out.put(at, new Outcome(false, null, output, "hung, child killed"));
                    return at + 1;
                }
                if (l == eof) {
                    int status = child.waitFor();
                    if (current < 0 && expected >= total && status == 0) return total;
                    int at = current >= 0 ? current : expected;
                    out.put(at, new Outcome(false, null, output, "child JVM died, exit status " + status));
                    System.out.println("hostile sweep: case " + at + " " + HostileCatalogue.cases().get(at).id()
                            + " killed its child (exit status " + status + "); its output, with \"native method\""
                            + " written \"native-method\" so that this JVM's own JNI check does not take it for its own:");
                    output.forEach(o -> System.out.println("  | " + o.replace("native method", "native-method")
                            .replace("WARNING: JNI", "WARNING (JNI)")));
                    return at + 1;
                }
                if (l.startsWith(SweepChild.BEGIN)) {
                    current = Integer.parseInt(l.substring(SweepChild.BEGIN.length()).trim());
                    output = new ArrayList<>();
                } else if (l.startsWith(SweepChild.END)) {
                    String rest = l.substring(SweepChild.END.length());
                    int sp = rest.indexOf(' ');
                    int index = Integer.parseInt(rest.substring(0, sp));
                    out.put(index, new Outcome(true, rest.substring(sp + 1), output, null));
                    current = -1;
                    expected = index + 1;
                    output = new ArrayList<>();
                } else if (!l.isEmpty()) {
                    output.add(l);
                }
            }
        } finally {
            if (child.isAlive()) child.destroyForcibly().waitFor();
        }
    }

    /** Why a case's outcome is not what it must be, or null when it is. */
    static String problem(Case c, Outcome o) {
        if (o == null) return "never ran";
        List<String> warnings = o.output().stream()
                .filter(l -> l.contains("WARNING in native method") || l.contains("FATAL ERROR")
                        || l.contains("WARNING: JNI") || l.contains("A fatal error has been detected"))
                .toList();
        if (!o.returned()) return o.death() + "; output: " + tail(o.output());
        if (!warnings.isEmpty()) return "JNI check: " + warnings;
        if (o.answer().startsWith("threw ")) return o.answer();
        if (c.expect().defined()) {
            String want = "returned " + HostileCatalogue.render(c.expect().value());
            if (!want.equals(o.answer())) return "expected " + want + " but " + o.answer();
        }
        if (c.expect().sameAs() >= 0) {
            Outcome other = outcomes.get(c.expect().sameAs());
            if (other == null || !other.returned()) return "case " + c.expect().sameAs() + " has no answer to compare";
            if (!other.answer().equals(o.answer()))
                return "expected " + other.answer() + " (as case " + c.expect().sameAs() + ") but " + o.answer();
        }
        if (HostileCatalogue.outOfMemory(c)
                && o.output().stream().noneMatch(l -> l.contains("'java/lang/OutOfMemoryError'"))) {
            return "no OutOfMemoryError was raised while converting the string";
        }
        return null;
    }

    private static String tail(List<String> lines) {
        return String.join(" | ", lines.subList(Math.max(0, lines.size() - 12), lines.size()));
    }

    @TestFactory
    Stream<DynamicTest> everyCase() throws Exception {
        Map<Integer, Outcome> results = sweep();
        return HostileCatalogue.cases().stream().map(c -> DynamicTest.dynamicTest(c.index() + " " + c.id(), () -> {
            String problem = problem(c, results.get(c.index()));
            String why = knownFailure(c.id());
            if (why != null) {
                assertNotNull(problem, c.id() + " is listed as a known failure (" + why
                        + ") but now passes: take it off the list");
            } else if (problem != null) {
                fail(c.id() + ": " + problem + " [" + c.expect().describe() + "]");
            }
        }));
    }

    @Test
    void everyNativeOfTheFiveClassesHasACase() throws Exception {
        Set<String> covered = new HashSet<>();
        for (Case c : HostileCatalogue.cases()) {
            var m = HostileCatalogue.method(c);
            covered.add(m.getDeclaringClass().getName() + "." + m.getName() + "/" + m.getParameterCount());
        }
        Set<String> missing = new TreeSet<>();
        int natives = 0;
        for (String owner : HostileCatalogue.CLASSES) {
            for (String n : HostileCatalogue.declaredNatives(owner)) {
                natives++;
                if (!covered.contains(owner + "." + n)) missing.add(owner + "." + n);
            }
        }
        assertEquals(Set.of(), missing, "natives without a hostile case");
        assertEquals(90, natives, "natives declared in the five classes");
    }

    @Test
    void everyKnownFailureNamesACase() {
        Set<String> ids = new HashSet<>();
        for (Case c : HostileCatalogue.cases()) assertTrue(ids.add(c.id()), "two cases named " + c.id());
        for (String id : KNOWN_FAILURES.keySet()) assertTrue(ids.contains(id), "no case " + id);
        for (String id : KNOWN_SANITIZER_FAILURES.keySet()) assertTrue(ids.contains(id), "no case " + id);
    }

    @Test
    void aCrashingCaseIsSeenAsOne() throws Exception {
        // The sweep itself is the evidence that a dead child does not end it: every case has an
        // outcome, including those after a case that killed its child.
        Map<Integer, Outcome> results = sweep();
        assertEquals(HostileCatalogue.cases().size(), results.size());
        assertFalse(results.isEmpty());
    }
}
