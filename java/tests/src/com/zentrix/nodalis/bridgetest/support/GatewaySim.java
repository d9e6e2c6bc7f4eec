package com.zentrix.nodalis.bridgetest.support;

import java.io.BufferedReader;
import java.io.IOException;
import java.io.InputStreamReader;
import java.nio.charset.StandardCharsets;
import java.util.ArrayList;
import java.util.List;
import java.util.concurrent.CompletableFuture;
import java.util.concurrent.ExecutionException;
import java.util.concurrent.TimeUnit;
import java.util.concurrent.TimeoutException;

/**
 * gatewaysim as a child of the test JVM, serving the JVM's bus directory. Started and waited for
 * until it prints "gatewaysim ready <pid>"; stopped with SIGTERM, after which it must exit 0 (a
 * sanitized simulator that leaked or misbehaved exits otherwise).
 */
public final class GatewaySim {
    /** Generous: a sanitizer build starts slowly on a loaded machine. */
    private static final long READY_TIMEOUT_S = 60;
    private static final long EXIT_TIMEOUT_S = 60;

    private final Process process;

    private GatewaySim(Process process) {
        this.process = process;
    }

    /** Every service in one process; {@code services} empty means all of them. */
    public static GatewaySim start(List<String> services) throws IOException {
        List<String> command = new ArrayList<>();
        command.add(TestEnv.gatewaysim().toString());
        if (!services.isEmpty()) {
            command.add("--services");
            command.add(String.join(",", services));
        }
        Process p = TestEnv.child(command).redirectError(ProcessBuilder.Redirect.INHERIT).start();
        GatewaySim sim = new GatewaySim(p);
        try {
            sim.awaitReady();
        } catch (IOException | RuntimeException e) {
            p.destroyForcibly();
            throw e;
        }
        return sim;
    }

    private void awaitReady() throws IOException {
        BufferedReader out = new BufferedReader(new InputStreamReader(process.getInputStream(), StandardCharsets.UTF_8));
        CompletableFuture<String> ready = CompletableFuture.supplyAsync(() -> {
            try {
                for (String line; (line = out.readLine()) != null; ) {
                    if (line.startsWith("gatewaysim ready ")) return line;
                }
                return null;
            } catch (IOException e) {
                return null;
            }
        });
        String line;
        try {
            line = ready.get(READY_TIMEOUT_S, TimeUnit.SECONDS);
        } catch (TimeoutException e) {
            throw new IOException("gatewaysim printed no ready line within " + READY_TIMEOUT_S + " s");
        } catch (InterruptedException | ExecutionException e) {
            throw new IOException("waiting for gatewaysim failed", e);
        }
        if (line == null) throw new IOException("gatewaysim ended before it was ready");
        if (!line.equals("gatewaysim ready " + process.pid())) {
            throw new IOException("unexpected ready line from gatewaysim: " + line);
        }
    }

    public long pid() {
        return process.pid();
    }

    /** SIGTERM and wait: the simulator's exit status (0 after a clean stop), or -1 if it did not end. */
    public int stop() throws InterruptedException {
        process.destroy();
        if (!process.waitFor(EXIT_TIMEOUT_S, TimeUnit.SECONDS)) {
            process.destroyForcibly().waitFor();
            return -1;
        }
        return process.exitValue();
    }
}
