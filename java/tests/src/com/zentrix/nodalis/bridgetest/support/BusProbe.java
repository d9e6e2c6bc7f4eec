package com.zentrix.nodalis.bridgetest.support;

import java.io.IOException;
import java.nio.charset.StandardCharsets;
import java.util.ArrayList;
import java.util.List;
import java.util.concurrent.TimeUnit;

/** The busprobe helper: looks at the bus from another process, as a gateway service would. */
public final class BusProbe {
    private static final long TIMEOUT_S = 60;

    private BusProbe() {}

    /** True when a live process serves the bus endpoint {@code name}. */
    public static boolean alive(String name) throws IOException, InterruptedException {
        String out = run("alive", name);
        if (!out.equals("0") && !out.equals("1")) throw new IOException("busprobe alive answered \"" + out + "\"");
        return out.equals("1");
    }

    /**
     * A synchronous call to {@code name} whose routing header carries {@code midWord} in its module
     * id word; the status the caller received.
     */
    public static long call(String name, long midWord) throws IOException, InterruptedException {
        String out = run("call", name, Long.toString(midWord));
        if (!out.startsWith("0x")) throw new IOException("busprobe call answered \"" + out + "\"");
        return Long.parseLong(out.substring(2), 16);
    }

    private static String run(String... args) throws IOException, InterruptedException {
        List<String> command = new ArrayList<>();
        command.add(TestEnv.busprobe().toString());
        command.addAll(List.of(args));
        Process p = TestEnv.child(command).redirectError(ProcessBuilder.Redirect.INHERIT).start();
        String out = new String(p.getInputStream().readAllBytes(), StandardCharsets.UTF_8).trim();
        if (!p.waitFor(TIMEOUT_S, TimeUnit.SECONDS)) {
            p.destroyForcibly();
            throw new IOException("busprobe did not end");
        }
        if (p.exitValue() != 0) throw new IOException("busprobe " + String.join(" ", args) + " exited " + p.exitValue());
        return out;
    }
}
