package com.zentrix.nodalis.bridgetest;

import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertNull;

import com.zentrix.nodalis.bridgetest.support.BusLinkTest;
import com.zentrix.nodalis.bridgetest.support.TraceFile;
import com.zentrix.nodalis.deviceservice.impl.BaseServiceJNIMethods;
import org.junit.jupiter.api.Test;

/** sysGetLoid with no "app_m" on the bus at all: no simulator runs for this class. */
class LoidWithoutGatewayTest extends BusLinkTest {
    private static final long ZX_MSG_ERR_NO_DEST = 0xF7F01002L;

    @Test
    void noAppMOnTheBusIsNull() throws Exception {
        TraceFile trace = TraceFile.fromEnvironment();
        long mark = trace.mark();
        assertNull(new BaseServiceJNIMethods().sysGetLoid());
        assertEquals(LoidCalls.failed(ZX_MSG_ERR_NO_DEST), trace.since(mark));
    }
}
