package com.zentrix.nodalis.bridgetest;

import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertTrue;

import com.zentrix.nodalis.bridgetest.support.TraceFile;
import com.zentrix.nodalis.deviceservice.impl.BaseServiceJNIMethods;
import org.junit.jupiter.api.Test;

/** Processor and memory load of this machine, as the platform reads them from /proc. */
class SystemLoadTest {
    private final BaseServiceJNIMethods base = new BaseServiceJNIMethods();
    private final TraceFile trace = TraceFile.fromEnvironment();

    @Test
    void cpuUsageIsTheLoadFormWithAPercentFrom1To100() throws Exception {
        long mark = trace.mark();
        String answer = base.sysGetCpuUsage();
        int percent = LoadReplies.percentOf(answer);
        assertTrue(percent >= 1 && percent <= 100, "Percent " + percent);
        assertEquals(LoadReplies.traces("sysGetCpuUsage", 0, answer), trace.since(mark));
    }

    @Test
    void memUsageIsTheLoadFormWithAPercentFrom0To100() throws Exception {
        long mark = trace.mark();
        String answer = base.sysGetMemUsage();
        int percent = LoadReplies.percentOf(answer);
        assertTrue(percent >= 0 && percent <= 100, "Percent " + percent);
        assertEquals(LoadReplies.traces("sysGetMemUsage", 0, answer), trace.since(mark));
    }
}
