package com.zentrix.nodalis.bridgetest.support;

import static org.junit.jupiter.api.Assertions.assertEquals;

import com.zentrix.nodalis.deviceservice.entity.JNINativeMethods;
import org.junit.jupiter.api.BeforeAll;

/**
 * Base of a test class whose JVM has its bus link up, as the platform's start-up code leaves it:
 * {@code JNINativeMethods.startThread()} is called once before the class's first test (after the
 * class's extensions, such as a {@link GatewayExtension}, have started) and must answer 0. The
 * link then lives as long as the JVM.
 */
public abstract class BusLinkTest {
    @BeforeAll
    static void startBusLink() {
        assertEquals(0, new JNINativeMethods().startThread());
    }
}
