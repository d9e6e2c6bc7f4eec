package com.zentrix.nodalis.bridgetest.support;

import java.nio.file.Path;
import java.util.List;
import java.util.Map;

/**
 * What run_junit.sh set up for this JVM: the environment the platform library reads (bus
 * directory, trace file, scratch /proc) and the paths of the programs the tests start.
 */
public final class TestEnv {
    private TestEnv() {}

    public static Path busDir() {
        return Path.of(env("ZX_BUS_DIR"));
    }

    public static Path traceFile() {
        return Path.of(env("ZX_TRACE"));
    }

    /** The directory the platform reads in place of /proc (only for suites run with one). */
    public static Path procDir() {
        return Path.of(env("ZX_PROC_DIR"));
    }

    /** The source tree: tests that assert a trace's line read it where the line is the call's own. */
    public static Path sourceDir() {
        return Path.of(property("zx.source.dir"));
    }

    public static Path gatewaysim() {
        return Path.of(property("zx.gatewaysim"));
    }

    public static Path busprobe() {
        return Path.of(property("zx.busprobe"));
    }

    /**
     * A process started by a test: it inherits this JVM's environment (bus directory, profile,
     * time-out scale) but not the sanitizer settings made for the JVM alone, so a sanitized child
     * runs with the caller's own options (leak checks included).
     */
    public static ProcessBuilder child(List<String> command) {
        ProcessBuilder pb = new ProcessBuilder(command);
        Map<String, String> env = pb.environment();
        if (Boolean.getBoolean("zx.child.unpreload")) {
            env.remove("LD_PRELOAD");
            String asan = System.getProperty("zx.child.asan_options", "");
            if (asan.isEmpty()) {
                env.remove("ASAN_OPTIONS");
            } else {
                env.put("ASAN_OPTIONS", asan);
            }
        }
        return pb;
    }

    private static String env(String name) {
        String v = System.getenv(name);
        if (v == null || v.isEmpty()) {
            throw new IllegalStateException(name + " is not set: run the suite through run_junit.sh");
        }
        return v;
    }

    private static String property(String name) {
        String v = System.getProperty(name);
        if (v == null || v.isEmpty()) {
            throw new IllegalStateException("-D" + name + " is not set: run the suite through run_junit.sh");
        }
        return v;
    }
}
