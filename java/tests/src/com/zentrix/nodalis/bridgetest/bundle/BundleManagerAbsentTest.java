package com.zentrix.nodalis.bridgetest.bundle;

import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertTrue;

import com.zentrix.nodalis.bridgetest.support.TraceFile;
import com.zentrix.nodalis.bridgetest.support.TraceFile.TraceRecord;
import com.zentrix.nodalis.deviceservice.opco.wap.velm.jni.IBundleManageServiceJNI;
import java.nio.charset.StandardCharsets;
import java.nio.file.Files;
import java.nio.file.Path;
import java.util.List;
import org.junit.jupiter.api.Test;

/** IBundleManageServiceJNI with no bundle manager running. */
class BundleManagerAbsentTest {
    private final IBundleManageServiceJNI jni = new IBundleManageServiceJNI();
    private final TraceFile trace = TraceFile.fromEnvironment();

    @Test
    void stateQueryAnswersResultMinusOneWithoutACall() throws Exception {
        long mark = trace.mark();
        assertEquals("{ \"Result\": -1 }", jni.queryBundleState(new String[] {"a", "b"}));
        List<TraceRecord> records = trace.since(mark);
        assertTrue(records.contains(TraceRecord.lastWord("baseservice_jni", 2483, 0xF7801303L, 0, 0, 0, 0)),
                records.toString());
        assertTrue(records.stream().noneMatch(r -> r.text().startsWith("ulRpcCmo")), "no remote call");
    }

    @Test
    void operationsAreStillLoggedAndAnswerMinusOne() throws Exception {
        assertEquals(-1, jni.stop("lonely"));
        String log = Files.readString(Path.of(System.getenv("ZX_ROOT"), "var/pluginOpera.log"), StandardCharsets.UTF_8);
        assertTrue(log.matches("\\d{4}-\\d{2}-\\d{2} \\d{2}:\\d{2}:\\d{2} \\[stop\\] lonely\r\n"), log);
    }
}
