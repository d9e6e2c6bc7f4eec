package com.zentrix.nodalis.bridgetest;

import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertFalse;
import static org.junit.jupiter.api.Assertions.assertTrue;

import com.google.gson.JsonArray;
import com.zentrix.nodalis.bridgetest.support.BusProbe;
import com.zentrix.nodalis.bridgetest.support.GatewayExtension;
import com.zentrix.nodalis.bridgetest.support.TraceFile;
import com.zentrix.nodalis.bridgetest.support.TraceFile.TraceRecord;
import com.zentrix.nodalis.deviceservice.entity.JNINativeMethods;
import com.zentrix.nodalis.deviceservice.impl.BaseServiceJNIMethods;
import java.io.IOException;
import java.nio.charset.StandardCharsets;
import java.nio.file.DirectoryStream;
import java.nio.file.Files;
import java.nio.file.NoSuchFileException;
import java.nio.file.Path;
import java.util.List;
import org.junit.jupiter.api.MethodOrderer;
import org.junit.jupiter.api.Order;
import org.junit.jupiter.api.Test;
import org.junit.jupiter.api.TestMethodOrder;
import org.junit.jupiter.api.extension.RegisterExtension;

/**
 * The bus link of the JVM process, in the order of its life: before startThread, start-up, a
 * second start-up, messages that reach the JVM. The link cannot be taken down again, so the
 * steps run in order in this one JVM.
 */
@TestMethodOrder(MethodOrderer.OrderAnnotation.class)
class StartThreadTest {
    private static final String ENTITY = "l2tp_jni";
    private static final int ENTITY_LEVEL = 216;

    @RegisterExtension
    static final GatewayExtension gateway = new GatewayExtension();

    private final TraceFile trace = TraceFile.fromEnvironment();
    private final JNINativeMethods entity = new JNINativeMethods();

    private static TraceRecord entityTrace(int line, String text) {
        return TraceRecord.trace(ENTITY_LEVEL, ENTITY, line, text);
    }

    /** The source name in the routing header of the one LOID call app_m received. */
    private static String sourceOfLoidCall() throws IOException {
        gateway.ctl().clearRecords();
        new BaseServiceJNIMethods().sysGetLoid();
        JsonArray records = gateway.ctl().received("app_m");
        assertEquals(1, records.size());
        assertEquals(LoidCalls.LOID_COMMAND, records.get(0).getAsJsonObject().get("msgId").getAsLong());
        return records.get(0).getAsJsonObject().getAsJsonObject("head").get("srcName").getAsString();
    }

    private static int threadsNamed(String name) throws IOException {
        int n = 0;
        try (DirectoryStream<Path> tasks = Files.newDirectoryStream(Path.of("/proc/self/task"))) {
            for (Path task : tasks) {
                try {
                    if (Files.readString(task.resolve("comm"), StandardCharsets.UTF_8).strip().equals(name)) n++;
                } catch (NoSuchFileException ended) {
                    // a thread that ended after the listing (the VM's own come and go) has no name left
                }
            }
        }
        return n;
    }

    @Test
    @Order(1)
    void beforeStartThreadNothingServesJamvmAndCallsCarryTheProgramName() throws Exception {
        assertFalse(BusProbe.alive("jamvm"));
        String program = Path.of(ProcessHandle.current().info().command().orElseThrow()).getFileName().toString();
        assertEquals(program, sourceOfLoidCall());
        assertEquals(0, threadsNamed("JNImsgthread"));
    }

    @Test
    @Order(2)
    void startThreadRegistersJamvmAndStartsTheMessageThread() throws Exception {
        long mark = trace.mark();
        assertEquals(0, entity.startThread());
        assertEquals(List.of(entityTrace(784, "start loading libzx_kor_basic.so \n")), trace.since(mark));
        assertTrue(BusProbe.alive("jamvm"));
        assertEquals("jamvm", sourceOfLoidCall());
    }

    @Test
    @Order(3)
    void aSecondStartThreadAnswersZeroAndRedoesNothing() throws Exception {
        long mark = trace.mark();
        assertEquals(0, entity.startThread());
        assertEquals(List.of(), trace.since(mark));
        assertTrue(BusProbe.alive("jamvm"));
    }

    @Test
    @Order(4)
    void messagesToJamvmReachTheHandlerOnTheOneMessageThread() throws Exception {
        long mark = trace.mark();
        assertEquals(0, BusProbe.call("jamvm", 0));
        assertEquals(List.of(entityTrace(740, "Come in JNImsgProc\r\n"), entityTrace(744, "ZX_MID_VELM_OS \r\n")),
                trace.since(mark));

        mark = trace.mark();
        assertEquals(0, BusProbe.call("jamvm", 7));
        assertEquals(List.of(entityTrace(740, "Come in JNImsgProc\r\n"), entityTrace(748, "default \r\n")),
                trace.since(mark));

        // The thread names itself before it waits for messages; it has answered two by now.
        assertEquals(1, threadsNamed("JNImsgthread"));
    }
}
