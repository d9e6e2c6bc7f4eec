package com.zentrix.nodalis.bridgetest;

import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertNull;

import com.zentrix.nodalis.bridgetest.support.TestEnv;
import com.zentrix.nodalis.bridgetest.support.TraceFile;
import com.zentrix.nodalis.bridgetest.support.TraceFile.TraceRecord;
import com.zentrix.nodalis.deviceservice.impl.BaseServiceJNIMethods;
import java.io.IOException;
import java.nio.charset.StandardCharsets;
import java.nio.file.Files;
import java.nio.file.Path;
import java.nio.file.StandardCopyOption;
import java.util.List;
import org.junit.jupiter.api.BeforeEach;
import org.junit.jupiter.api.Test;

/**
 * Processor and memory load from figures the test writes: the platform reads "stat" and
 * "meminfo" from ZX_PROC_DIR, an empty directory of this run, on every call.
 */
class SystemLoadFixtureTest {
    private final BaseServiceJNIMethods base = new BaseServiceJNIMethods();
    private final TraceFile trace = TraceFile.fromEnvironment();
    private final Path proc = TestEnv.procDir();

    @BeforeEach
    void emptyProcDir() throws IOException {
        Files.deleteIfExists(proc.resolve("stat"));
        Files.deleteIfExists(proc.resolve("meminfo"));
    }

    /** Replaces a file whole, so the platform never reads half of it. */
    private void write(String name, String content) throws IOException {
        Path tmp = proc.resolve(name + ".tmp");
        Files.writeString(tmp, content, StandardCharsets.US_ASCII);
        Files.move(tmp, proc.resolve(name), StandardCopyOption.ATOMIC_MOVE);
    }

    private void meminfo(long totalKb, long availableKb) throws IOException {
        write("meminfo", "MemTotal:       " + totalKb + " kB\nMemFree:        " + availableKb / 2
                + " kB\nMemAvailable:   " + availableKb + " kB\nBuffers:        0 kB\n");
    }

    @Test
    void anIdleProcessorReadsAsOnePercent() throws Exception {
        // Figures that do not move between the two readings: no load was measured.
        write("stat", "cpu  100 0 50 1000 10 0 0 0 0 0\ncpu0 100 0 50 1000 10 0 0 0 0 0\n");
        long mark = trace.mark();
        assertEquals(LoadReplies.text(1), base.sysGetCpuUsage());
        assertEquals(LoadReplies.traces("sysGetCpuUsage", 0, LoadReplies.text(1)), trace.since(mark));
    }

    @Test
    void memoryInUseIsTheShareNotAvailable() throws Exception {
        meminfo(1000, 370);
        assertEquals(LoadReplies.text(63), base.sysGetMemUsage());
        meminfo(2048, 0);
        assertEquals(LoadReplies.text(100), base.sysGetMemUsage());
    }

    @Test
    void noMemoryInUseReadsAsZeroPercent() throws Exception {
        meminfo(1000, 1000);
        long mark = trace.mark();
        assertEquals(LoadReplies.text(0), base.sysGetMemUsage());
        assertEquals(LoadReplies.traces("sysGetMemUsage", 0, LoadReplies.text(0)), trace.since(mark));
    }

    @Test
    void aFailedProcessorMeasurementIsNullThoughTheTextWasWritten() throws Exception {
        long mark = trace.mark();
        assertNull(base.sysGetCpuUsage());
        // The API function wrote Percent 1 and returned the platform's code; the binding
        // cleared the buffer, so Java gets null.
        List<TraceRecord> expected = List.of(BaseServiceTraces.entry("sysGetCpuUsage"),
                TraceRecord.lastWord1(LoadReplies.VELM, 1094, LoadReplies.ZX_ERR_SYS),
                LoadReplies.traces("sysGetCpuUsage", LoadReplies.ZX_ERR_SYS, LoadReplies.text(1)).get(1));
        assertEquals(expected, trace.since(mark));
    }

    @Test
    void aFailedMemoryMeasurementIsNullThoughTheTextWasWritten() throws Exception {
        long mark = trace.mark();
        assertNull(base.sysGetMemUsage());
        List<TraceRecord> expected = List.of(BaseServiceTraces.entry("sysGetMemUsage"),
                TraceRecord.lastWord1(LoadReplies.VELM, 1141, LoadReplies.ZX_ERR_SYS),
                LoadReplies.traces("sysGetMemUsage", LoadReplies.ZX_ERR_SYS, LoadReplies.text(0)).get(1));
        assertEquals(expected, trace.since(mark));
    }
}
