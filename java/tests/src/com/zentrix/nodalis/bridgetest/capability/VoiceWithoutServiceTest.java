package com.zentrix.nodalis.bridgetest.capability;

import static org.junit.jupiter.api.Assertions.assertEquals;

import com.zentrix.nodalis.bridgetest.support.GatewayExtension;
import com.zentrix.nodalis.deviceservice.impl.BaseServiceJNIMethods;
import java.util.List;
import org.junit.jupiter.api.Test;
import org.junit.jupiter.api.extension.RegisterExtension;

/** The voice natives when no voice service answers: a JSON text all the same, and -1. */
class VoiceWithoutServiceTest {
    @RegisterExtension
    static final GatewayExtension gateway = new GatewayExtension(List.of("osgi_proxy"));

    private final BaseServiceJNIMethods jni = new BaseServiceJNIMethods();

    @Test
    void theQueryIsResultOneStateZero() {
        assertEquals("{ \"Result\": 1, \"State\": 0 }", jni.voiceGetPOTSDoNotDisturbState(1));
        assertEquals("{ \"Result\": 1, \"State\": 0 }", jni.voiceGetPOTSDoNotDisturbState(-7));
    }

    @Test
    void theSetIsMinusOne() {
        assertEquals(-1, jni.voiceSetPOTSDoNotDisturb(1, 1));
    }
}
