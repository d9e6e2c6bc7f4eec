package com.zentrix.nodalis.bridgetest.lan;

import static com.zentrix.nodalis.bridgetest.support.BindingSource.FILE;
import static com.zentrix.nodalis.bridgetest.support.BindingSource.at;
import static org.junit.jupiter.api.Assertions.assertArrayEquals;
import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertNull;

import com.zentrix.nodalis.bridgetest.support.GatewayExtension;
import com.zentrix.nodalis.bridgetest.support.SimControl;
import com.zentrix.nodalis.bridgetest.support.SimControl.Fault;
import com.zentrix.nodalis.bridgetest.support.TraceFile;
import com.zentrix.nodalis.bridgetest.support.TraceFile.TraceRecord;
import com.zentrix.nodalis.deviceservice.impl.BaseServiceJNIMethods;
import java.io.IOException;
import java.nio.charset.StandardCharsets;
import java.util.List;
import org.junit.jupiter.api.Test;
import org.junit.jupiter.api.extension.RegisterExtension;

/**
 * The LAN natives of BaseServiceJNIMethods against the simulated configuration service: the
 * per-device maximum bandwidth with the MAC as Java hands it (bare digits, lower case, short,
 * already in colon form, null, huge), what the service received and the bindings' traces.
 */
class LanBindingsTest {
    @RegisterExtension
    static final GatewayExtension gateway = new GatewayExtension(List.of("app_m", "tarn"));

    private static final long SET_MAX_BANDWIDTH = 0x47103052L;
    private static final long GET_MAX_BANDWIDTH = 0x47103051L;

    private final BaseServiceJNIMethods jni = new BaseServiceJNIMethods();
    private final TraceFile trace = TraceFile.fromEnvironment();

    private static SimControl ctl() {
        return gateway.ctl();
    }

    private List<TraceRecord> bindingRecords(long mark) throws IOException {
        return trace.since(mark, FILE);
    }

    private static byte[] setRequest(String mac, int first, int second) {
        byte[] b = new byte[40];
        byte[] m = mac.getBytes(StandardCharsets.US_ASCII);
        System.arraycopy(m, 0, b, 0, m.length);
        for (int i = 0; i < 4; i++) {
            b[32 + i] = (byte) (first >>> (8 * i));
            b[36 + i] = (byte) (second >>> (8 * i));
        }
        return b;
    }

    /** The request of one set call for {@code mac}, the service taking it without a reply. */
    private byte[] setSent(String mac, int first, int second) throws IOException {
        ctl().inject("app_m", SET_MAX_BANDWIDTH, Fault.status(0, 1));
        assertNull(jni.lanSetDevMaxBandwidth(mac, first, second), "no reply is null");
        List<byte[]> got = ctl().payloads("app_m", SET_MAX_BANDWIDTH);
        assertEquals(1, got.size());
        return got.get(0);
    }

    private String getSent(String mac) throws IOException {
        ctl().inject("app_m", GET_MAX_BANDWIDTH, Fault.status(0, 1));
        assertNull(jni.lanGetDevMaxBandwidth(mac));
        List<byte[]> got = ctl().payloads("app_m", GET_MAX_BANDWIDTH);
        assertEquals(1, got.size());
        return new String(got.get(0), StandardCharsets.US_ASCII);
    }

    @Test
    void theMacTravelsInColonFormWithItsCaseKept() throws Exception {
        long mark = trace.mark();
        assertArrayEquals(setRequest("00:11:22:AA:BB:CC", 2048, 1024), setSent("001122AABBCC", 2048, 1024));
        assertEquals(List.of(at("lanSetDevMaxBandwidth", "kSetMaxBandwidthEntry);",
                "\r\n  Java_com_nodalis_deviceservice_impl_BaseServiceJNIMethods_lanSetDevMaxBandwidth called \r\n")),
                bindingRecords(mark));
        assertArrayEquals(setRequest("00:11:22:aa:bb:cc", -1, 0), setSent("001122aabbcc", -1, 0));
        assertEquals("00:11:22:aa:bb:cc", getSent("001122aabbcc"));
    }

    @Test
    void shortAndColonFormMacs() throws Exception {
        assertArrayEquals(setRequest("00:11:", 1, 2), setSent("0011", 1, 2));
        assertArrayEquals(setRequest("00:11:2", 1, 2), setSent("00112", 1, 2));
        assertEquals("00:11:", getSent("0011"));
        assertEquals("00:11:2", getSent("00112"));
        assertArrayEquals(setRequest("00::1:1::22::a:a:", 1, 2), setSent("00:11:22:aa:bb:cc", 1, 2));
        assertEquals("00::1:1::22::a:a:", getSent("00:11:22:aa:bb:cc"));
    }

    @Test
    void nullAndHugeMacs() throws Exception {
        assertArrayEquals(setRequest("", 5, 6), setSent(null, 5, 6));
        long mark = trace.mark();
        assertEquals("", getSent(null));
        assertEquals(List.of(
                at("lanGetDevMaxBandwidth", "trace_entry",
                        "\r\n Java_com_nodalis_deviceservice_impl_BaseServiceJNIMethods_lanGetDevMaxBandwidth called \r\n"),
                at("lanGetDevMaxBandwidth", "pcMac  = %s", "\r\n  lanSetDevMaxBandwidth pcMac  =  \r\n"),
                at("lanGetDevMaxBandwidth", "GetDevMaxBand finished", "\r\n call GetDevMaxBand finished ret  = 0\r\n")),
                bindingRecords(mark));
        String huge = "0123456789ab" + "Z".repeat(2_000_000);
        assertArrayEquals(setRequest("01:23:45:67:89:ab", 7, 8), setSent(huge, 7, 8));
        assertEquals("01:23:45:67:89:ab", getSent(huge));
    }

    @Test
    void failedCallsAreNull() throws Exception {
        ctl().inject("app_m", SET_MAX_BANDWIDTH, Fault.status(1, 1));
        assertNull(jni.lanSetDevMaxBandwidth("001122AABBCC", 1, 2));
        ctl().inject("app_m", GET_MAX_BANDWIDTH, Fault.status(0xF7103002L, 1));
        assertNull(jni.lanGetDevMaxBandwidth("001122AABBCC"));
        assertEquals(1, ctl().payloads("app_m", SET_MAX_BANDWIDTH).size());
    }
}
