package com.zentrix.nodalis.bridgetest.restart;

import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertFalse;
import static org.junit.jupiter.api.Assertions.assertNotNull;
import static org.junit.jupiter.api.Assertions.assertTrue;

import com.zentrix.nodalis.bridgetest.support.BusProbe;
import com.zentrix.nodalis.bridgetest.support.GatewayExtension;
import com.zentrix.nodalis.bridgetest.support.TraceFile;
import com.zentrix.nodalis.bridgetest.support.TraceFile.TraceRecord;
import com.zentrix.nodalis.deviceservice.entity.DnsForwardEntry;
import com.zentrix.nodalis.deviceservice.entity.JNINativeMethods;
import com.zentrix.nodalis.deviceservice.impl.BaseServiceJNIMethods;
import com.zentrix.nodalis.deviceservice.opco.wap.velm.jni.IBundleManageServiceJNI;
import java.io.BufferedReader;
import java.io.IOException;
import java.io.InputStreamReader;
import java.nio.charset.StandardCharsets;
import java.util.List;
import java.util.Random;
import java.util.concurrent.CompletableFuture;
import java.util.concurrent.TimeUnit;
import org.junit.jupiter.api.Test;
import org.junit.jupiter.api.extension.RegisterExtension;

/**
 * A JVM killed with SIGKILL in the middle of its calls leaves nothing behind that keeps the next
 * JVM on the same bus from registering "jamvm" and working: three JVMs in a row are killed while
 * four threads of each call services (shared blocks both ways among the calls), each next one
 * registers "jamvm" again, and at the end this JVM does, answers a message from another process
 * on its message thread and gets its calls answered.
 */
class KilledJvmTest {
    private static final long READY_S = 120;

    @RegisterExtension
    static final GatewayExtension gateway = new GatewayExtension();

    /** A JVM like this one (same VM, options, library path and class path) running BusyJvm. */
    private static Process startBusyJvm() throws IOException {
        String java = ProcessHandle.current().info().command().orElseThrow();
        ProcessBuilder pb = new ProcessBuilder(java, "-Xcheck:jni",
                "-Djava.library.path=" + System.getProperty("java.library.path"),
                "-cp", System.getProperty("java.class.path"), BusyJvm.class.getName());
        pb.redirectError(ProcessBuilder.Redirect.INHERIT);
        return pb.start();
    }

    private static String firstLine(Process p) throws Exception {
        BufferedReader out = new BufferedReader(new InputStreamReader(p.getInputStream(), StandardCharsets.UTF_8));
        return CompletableFuture.supplyAsync(() -> {
            try {
                return out.readLine();
            } catch (IOException e) {
                return null;
            }
        }).get(READY_S, TimeUnit.SECONDS);
    }

    @Test
    void theNextJvmRegistersJamvmAndWorksAfterOneWasKilledInTheMiddleOfItsCalls() throws Exception {
        Random rnd = new Random(15);
        assertFalse(BusProbe.alive("jamvm"));
        for (int round = 0; round < 3; round++) {
            Process busy = startBusyJvm();
            try {
                assertEquals("busy " + busy.pid(), firstLine(busy), "round " + round);
                assertTrue(BusProbe.alive("jamvm"), "round " + round);
                Thread.sleep(20 + rnd.nextInt(200));
                assertTrue(busy.isAlive(), "round " + round);
            } finally {
                busy.destroyForcibly();  // SIGKILL, with its four threads in their calls
                assertTrue(busy.waitFor(60, TimeUnit.SECONDS));
            }
            assertEquals(128 + 9, busy.exitValue(), "killed by SIGKILL");
            assertFalse(BusProbe.alive("jamvm"), "a dead JVM's endpoint is not taken for a live one");
        }

        // This JVM is the next one.
        TraceFile trace = TraceFile.fromEnvironment();
        assertEquals(0, new JNINativeMethods().startThread());
        assertTrue(BusProbe.alive("jamvm"));
        long mark = trace.mark();
        assertEquals(0, BusProbe.call("jamvm", 0));
        assertEquals(List.of(TraceRecord.trace(216, "l2tp_jni", 740, "Come in JNImsgProc\r\n"),
                TraceRecord.trace(216, "l2tp_jni", 744, "ZX_MID_VELM_OS \r\n")), trace.since(mark));

        gateway.ctl().clearRecords();
        BaseServiceJNIMethods base = new BaseServiceJNIMethods();
        assertEquals("ZXLOID0001", base.sysGetLoid());
        String source = gateway.ctl().received("app_m").get(0).getAsJsonObject().getAsJsonObject("head")
                .get("srcName").getAsString();
        assertEquals("jamvm", source);
        // Shared blocks both ways still work: the arena was left usable.
        String videos = base.getFilesScanListByType("video");
        assertNotNull(videos);
        assertTrue(videos.startsWith("{\"Result\":0,\"Type\":\"video\""), videos);
        String bundles = new IBundleManageServiceJNI().queryBundleState(new String[] {"com.zentrix.mediashare"});
        assertNotNull(bundles);
        assertTrue(bundles.contains("ACTIVE"), bundles);
        JNINativeMethods entity = new JNINativeMethods();
        assertEquals("0", entity.send(4, new DnsForwardEntry("after.example.com", "8.8.8.8", null)));
        assertEquals("0", entity.send(5, new DnsForwardEntry("after.example.com", null, null)));
    }
}
