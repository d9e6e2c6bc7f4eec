package com.zentrix.nodalis.bridgetest;

import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertFalse;
import static org.junit.jupiter.api.Assertions.assertNull;
import static org.junit.jupiter.api.Assertions.assertTrue;

import com.google.gson.JsonArray;
import com.google.gson.JsonElement;
import com.google.gson.JsonObject;
import com.google.gson.JsonPrimitive;
import com.zentrix.nodalis.bridgetest.support.BusLinkTest;
import com.zentrix.nodalis.bridgetest.support.GatewayExtension;
import com.zentrix.nodalis.bridgetest.support.SimControl;
import com.zentrix.nodalis.bridgetest.support.SimControl.Fault;
import com.zentrix.nodalis.bridgetest.support.TraceFile;
import com.zentrix.nodalis.deviceservice.impl.BaseServiceJNIMethods;
import java.io.IOException;
import java.util.ArrayList;
import java.util.List;
import java.util.concurrent.CyclicBarrier;
import java.util.concurrent.ExecutorService;
import java.util.concurrent.Executors;
import java.util.concurrent.Future;
import java.util.concurrent.TimeUnit;
import java.util.concurrent.atomic.AtomicInteger;
import org.junit.jupiter.api.Test;
import org.junit.jupiter.api.extension.RegisterExtension;

/** sysGetLoid from Java through the bridge to the simulated "app_m" and back. */
class LoidTest extends BusLinkTest {
    @RegisterExtension
    static final GatewayExtension gateway = new GatewayExtension();

    private final BaseServiceJNIMethods base = new BaseServiceJNIMethods();
    private final TraceFile trace = TraceFile.fromEnvironment();

    private static SimControl ctl() {
        return gateway.ctl();
    }

    private static void setLoid(String loid) throws IOException {
        ctl().set("app_m", "loid", new JsonPrimitive(loid));
    }

    @Test
    void answersTheLoidOfTheSimulatorsState() throws Exception {
        String fromProfile = ctl().state("app_m").get("loid").getAsString();
        assertFalse(fromProfile.isEmpty());
        assertEquals(fromProfile, base.sysGetLoid());

        setLoid("LOID-SET-BY-TEST-42");
        assertEquals("LOID-SET-BY-TEST-42", base.sysGetLoid());
    }

    @Test
    void tracesEntryAndResultWithTheLoid() throws Exception {
        setLoid("ZX-TRACE-LOID");
        long mark = trace.mark();
        assertEquals("ZX-TRACE-LOID", base.sysGetLoid());
        assertEquals(LoidCalls.answered("ZX-TRACE-LOID"), trace.since(mark));
    }

    @Test
    void aLoidOf63CharactersArrivesWhole() throws Exception {
        StringBuilder loid = new StringBuilder();
        for (int i = 0; i < 63; i++) loid.append((char) ('A' + i % 26));
        setLoid(loid.toString());
        assertEquals(loid.toString(), base.sysGetLoid());
    }

    @Test
    void aLongerLoidIsCutToWhatTheReplyBufferHolds() throws Exception {
        String loid = "0123456789".repeat(8);
        setLoid(loid);
        // 64 bytes of reply room: 63 characters and the terminating NUL.
        assertEquals(loid.substring(0, 63), base.sysGetLoid());
    }

    @Test
    void anEmptyLoidIsNull() throws Exception {
        setLoid("");
        long mark = trace.mark();
        assertNull(base.sysGetLoid());
        assertEquals(LoidCalls.answered(""), trace.since(mark));
    }

    @Test
    void anErrorStatusFromAppMIsNull() throws Exception {
        ctl().inject("app_m", LoidCalls.LOID_COMMAND, Fault.status(0xF7213003L, 1));
        long mark = trace.mark();
        assertNull(base.sysGetLoid());
        assertEquals(LoidCalls.failed(0xF7213003L), trace.since(mark));
        // The fault hit one call only: the next one is answered.
        assertEquals(ctl().state("app_m").get("loid").getAsString(), base.sysGetLoid());
    }

    @Test
    void aLoidOutsideTheBasicPlaneArrivesAsTheSameString() throws Exception {
        String loid = "LOID-\uD83D\uDE80-\u7EC8\u7AEF-\u03A9-\u00E9";
        setLoid(loid);
        long mark = trace.mark();
        String answer = base.sysGetLoid();
        assertEquals(loid, answer);
        assertEquals(0x1F680, answer.codePointAt(5));
        // The trace carries the same UTF-8 bytes the service sent.
        assertEquals(LoidCalls.answered(loid), trace.since(mark));
    }

    @Test
    void appMReceivesTheRequestTheBridgeBuilt() throws Exception {
        long before = System.currentTimeMillis();
        base.sysGetLoid();
        long after = System.currentTimeMillis();
        JsonArray records = ctl().received("app_m");
        assertEquals(1, records.size());
        JsonObject record = records.get(0).getAsJsonObject();
        record.remove("seq");
        // When it arrived, by the same clock.
        long arrived = record.remove("timeMs").getAsLong();
        assertTrue(before <= arrived && arrived <= after, before + " <= " + arrived + " <= " + after);

        JsonObject head = new JsonObject();
        head.addProperty("srcWord", 0);
        head.addProperty("srcName", "jamvm");
        head.addProperty("midWord", 0);
        head.addProperty("dstName", "app_m");
        head.addProperty("tag", 249);
        head.addProperty("resv", "0000000000000000");
        JsonObject expected = new JsonObject();
        expected.addProperty("service", "app_m");
        expected.add("head", head);
        expected.addProperty("msgId", LoidCalls.LOID_COMMAND);
        expected.addProperty("mid", 0);
        expected.addProperty("oneWay", false);
        expected.addProperty("timeoutMs", 30000);
        expected.addProperty("replyCap", 64);
        expected.addProperty("callerPid", ProcessHandle.current().pid());
        expected.addProperty("data", "00000000");
        assertEquals(expected, record);
    }

    @Test
    void eightJavaThreadsCallAtOnceAndAllGetTheLoid() throws Exception {
        final int threads = 8;
        String loid = "LOID-EIGHT-THREADS";
        setLoid(loid);
        ExecutorService pool = Executors.newFixedThreadPool(threads);
        try {
            // app_m holds each of the first eight calls for a while before it answers. All eight
            // arriving there while none has come back shows that the calls were in flight at
            // once, none queued behind another.
            ctl().inject("app_m", LoidCalls.LOID_COMMAND, Fault.delay(5000, threads));
            CyclicBarrier start = new CyclicBarrier(threads);
            AtomicInteger answered = new AtomicInteger();
            List<Future<String>> held = new ArrayList<>();
            for (int t = 0; t < threads; t++) {
                held.add(pool.submit(() -> {
                    start.await();
                    String answer = base.sysGetLoid();
                    answered.incrementAndGet();
                    return answer;
                }));
            }
            awaitRecords("app_m", threads);
            assertEquals(0, answered.get(), "a call came back before all eight had reached app_m");
            for (Future<String> f : held) assertEquals(loid, f.get(60, TimeUnit.SECONDS));

            // Then many calls at once without delay: every answer is this LOID.
            ctl().clearRecords();
            final int calls = 25;
            CyclicBarrier again = new CyclicBarrier(threads);
            List<Future<List<String>>> batches = new ArrayList<>();
            for (int t = 0; t < threads; t++) {
                batches.add(pool.submit(() -> {
                    again.await();
                    List<String> answers = new ArrayList<>();
                    for (int i = 0; i < calls; i++) answers.add(base.sysGetLoid());
                    return answers;
                }));
            }
            for (Future<List<String>> f : batches) {
                for (String answer : f.get(60, TimeUnit.SECONDS)) assertEquals(loid, answer);
            }
            JsonArray records = ctl().received("app_m");
            assertEquals(threads * calls, records.size());
            for (JsonElement r : records) {
                assertEquals("jamvm", r.getAsJsonObject().getAsJsonObject("head").get("srcName").getAsString());
            }
        } finally {
            pool.shutdownNow();
        }
    }

    /** Waits until {@code service} has received {@code n} records (bounded; the calls are held there). */
    private static void awaitRecords(String service, int n) throws Exception {
        long deadline = System.nanoTime() + TimeUnit.SECONDS.toNanos(30);
        while (ctl().received(service).size() < n) {
            if (System.nanoTime() > deadline) throw new AssertionError(service + " never received " + n + " calls");
            Thread.sleep(5);
        }
    }
}
