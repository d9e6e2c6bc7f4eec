package com.zentrix.nodalis.bridgetest.broadband;

import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertFalse;
import static org.junit.jupiter.api.Assertions.assertNull;
import static org.junit.jupiter.api.Assertions.assertTrue;

import com.google.gson.JsonArray;
import com.google.gson.JsonObject;
import com.zentrix.nodalis.bridgetest.support.GatewayExtension;
import com.zentrix.nodalis.bridgetest.support.SimControl;
import com.zentrix.nodalis.deviceservice.impl.BaseServiceJNIMethods;
import java.io.IOException;
import java.util.ArrayList;
import java.util.List;
import org.junit.jupiter.api.Test;
import org.junit.jupiter.api.extension.RegisterExtension;

/**
 * HTTP forwarding and WAN access rules from Java against the simulated broadband and configuration
 * services: what a plug-in gets back and how the services' state changes.
 */
class ForwardingAndAccessRulesTest {
    @RegisterExtension
    static final GatewayExtension gateway = new GatewayExtension(List.of("app_m", "tarn"));

    private final BaseServiceJNIMethods jni = new BaseServiceJNIMethods();

    private static SimControl ctl() {
        return gateway.ctl();
    }

    private static JsonObject forwarding() throws IOException {
        return ctl().state("tarn").getAsJsonObject("httpForward");
    }

    private static List<String> texts(JsonArray a) {
        List<String> out = new ArrayList<>();
        if (a != null) a.forEach(e -> out.add(e.getAsString()));
        return out;
    }

    private static int rules() throws IOException {
        JsonArray a = ctl().state("app_m").getAsJsonArray("natRules");
        return a == null ? 0 : a.size();
    }

    @Test
    void forwardingStartsAdmitsAndStops() throws Exception {
        assertEquals("0", jni.jniHttpForwardStart(1, 8081, new String[] {"portal.example.com", null, "10.9.9.9"},
                new String[] {"ads.example.com"}, 8080, true));
        JsonObject f = forwarding();
        assertTrue(f.get("running").getAsBoolean());
        assertEquals(List.of("portal.example.com", "10.9.9.9"), texts(f.getAsJsonArray("whiteList")));
        JsonObject always = f.getAsJsonArray("alwaysForward").get(0).getAsJsonObject();
        assertEquals("ads.example.com", always.get("addr").getAsString());
        assertEquals(8080, always.get("port").getAsInt());
        assertEquals(8081, f.getAsJsonObject("defaultRule").get("port").getAsInt());
        assertEquals(1, f.getAsJsonObject("defaultRule").get("ssid").getAsInt());

        assertEquals("0", jni.jniHttpForwardAttachAuth(new String[] {"192.168.1.2", "192.168.1.3"}, true));
        assertEquals(List.of("192.168.1.2", "192.168.1.3"), texts(forwarding().getAsJsonArray("authorised")));
        assertEquals("0", jni.jniHttpForwardAttachAuth(new String[] {"192.168.1.9"}, false));
        assertEquals("-1", jni.jniHttpForwardAttachAuth(new String[] {"192.168.1.4", null}, true));
        assertEquals(List.of("192.168.1.2", "192.168.1.3", "192.168.1.4"),
                texts(forwarding().getAsJsonArray("authorised")));

        assertEquals("0", jni.jniHttpForwardStop());
        JsonObject stopped = forwarding();
        assertFalse(stopped.has("running") && stopped.get("running").getAsBoolean());
        assertTrue(texts(stopped.getAsJsonArray("authorised")).isEmpty());
    }

    @Test
    void thirtyThreeEntriesChangeNothing() throws Exception {
        String[] many = new String[33];
        for (int i = 0; i < many.length; i++) many[i] = "h" + i + ".example";
        String before = ctl().state("tarn").toString();
        assertEquals("-1", jni.jniHttpForwardStart(0, 1, many, null, 2, false));
        assertEquals("-1", jni.jniHttpForwardStart(0, 1, null, many, 2, false));
        assertEquals(before, ctl().state("tarn").toString());
        assertEquals("0", jni.jniHttpForwardStart(0, 1, java.util.Arrays.copyOf(many, 32), null, 2, false));
        assertEquals(32, forwarding().getAsJsonArray("whiteList").size());
    }

    @Test
    void anAddressListWhoseBlockSizeWouldWrapIsRefused() throws Exception {
        // The tunnel address list takes 64 bytes an element: for 2^26 + 1 elements that size wraps
        // past 32 bits to a block of 64 bytes, smaller than the list. Refused as a block that
        // cannot be had (null), and nothing reaches the broadband service.
        String[] huge = new String[(1 << 26) + 1];
        huge[0] = "10.0.0.1";
        huge[huge.length - 1] = "10.0.0.2";
        ctl().clearRecords();
        assertNull(jni.wanAttachL2tpTunnel("l2tp-1", huge));
        assertNull(jni.wanDetachL2tpTunnel("l2tp-1", huge));
        assertEquals(0, ctl().received("tarn").size());
        assertEquals(0, ctl().received("app_m").size());
    }

    @Test
    void accessRulesAreAddedAndDeletedOnce() throws Exception {
        int before = rules();
        assertEquals(0, jni.addWANAccessRule("192.168.1.10", "0.0.0.0", 65535, "TCP"));
        assertEquals(before + 1, rules());
        assertEquals(-1, jni.addWANAccessRule("192.168.1.10", "0.0.0.0", 65535, "TCP"), "a duplicate is refused");
        assertEquals(-1, jni.addWANAccessRule("192.168.1.10", "0.0.0.0", 65536, "TCP"));
        assertEquals(-1, jni.addWANAccessRule("300.1.1.1", "0.0.0.0", 80, "TCP"));
        assertEquals(-1, jni.addWANAccessRule(null, "0.0.0.0", 80, "TCP"));
        assertEquals(-1, jni.addWANAccessRule("1".repeat(1_000_000), "0.0.0.0", 80, "TCP"));
        assertEquals(-1, jni.addWANAccessRule("192.168.1.10", "\uD800", 80, "TCP"));
        assertEquals(before + 1, rules());
        assertEquals(0, jni.deleteWANAccessRule("192.168.1.10", "0.0.0.0", 65535, "TCP"));
        assertEquals(before, rules());
        assertEquals(-1, jni.deleteWANAccessRule("192.168.1.10", "0.0.0.0", 65535, "TCP"), "already gone");
    }
}
