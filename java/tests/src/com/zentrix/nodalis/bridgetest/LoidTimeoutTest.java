package com.zentrix.nodalis.bridgetest;

import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertNull;

import com.google.gson.JsonArray;
import com.zentrix.nodalis.bridgetest.support.BusLinkTest;
import com.zentrix.nodalis.bridgetest.support.GatewayExtension;
import com.zentrix.nodalis.bridgetest.support.SimControl.Fault;
import com.zentrix.nodalis.bridgetest.support.TraceFile;
import com.zentrix.nodalis.deviceservice.impl.BaseServiceJNIMethods;
import org.junit.jupiter.api.Test;
import org.junit.jupiter.api.extension.RegisterExtension;

/**
 * sysGetLoid when "app_m" does not answer. Run with a small ZX_TIMEOUT_SCALE, so the 30000 ms
 * time-out of the call passes in a fraction of that; the call still carries 30000.
 */
class LoidTimeoutTest extends BusLinkTest {
    private static final long ZX_MSG_ERR_TIMEOUT = 0xF7F01001L;

    @RegisterExtension
    static final GatewayExtension gateway = new GatewayExtension();

    private final BaseServiceJNIMethods base = new BaseServiceJNIMethods();
    private final TraceFile trace = TraceFile.fromEnvironment();

    @Test
    void noAnswerFromAppMIsNull() throws Exception {
        gateway.ctl().inject("app_m", LoidCalls.LOID_COMMAND, Fault.noReply(1));
        long mark = trace.mark();
        assertNull(base.sysGetLoid());
        assertEquals(LoidCalls.failed(ZX_MSG_ERR_TIMEOUT), trace.since(mark));

        JsonArray records = gateway.ctl().received("app_m");
        assertEquals(1, records.size());
        assertEquals(30000, records.get(0).getAsJsonObject().get("timeoutMs").getAsLong());

        // The fault hit one call only: the next one is answered.
        assertEquals(gateway.ctl().state("app_m").get("loid").getAsString(), base.sysGetLoid());
    }
}
