package com.zentrix.nodalis.bridgetest.wlan;

import static com.zentrix.nodalis.bridgetest.support.BindingSource.FILE;
import static com.zentrix.nodalis.bridgetest.support.BindingSource.at;
import static com.zentrix.nodalis.bridgetest.support.BindingSource.line;
import static org.junit.jupiter.api.Assertions.assertArrayEquals;
import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertNotNull;
import static org.junit.jupiter.api.Assertions.assertNull;
import static org.junit.jupiter.api.Assertions.assertTrue;

import com.google.gson.JsonArray;
import com.google.gson.JsonObject;
import com.google.gson.JsonParser;
import com.google.gson.JsonPrimitive;
import com.zentrix.nodalis.bridgetest.support.GatewayExtension;
import com.zentrix.nodalis.bridgetest.support.SimControl;
import com.zentrix.nodalis.bridgetest.support.SimControl.Fault;
import com.zentrix.nodalis.bridgetest.support.TraceFile;
import com.zentrix.nodalis.bridgetest.support.TraceFile.TraceRecord;
import com.zentrix.nodalis.deviceservice.impl.BaseServiceJNIMethods;
import java.io.IOException;
import java.nio.charset.StandardCharsets;
import java.util.ArrayList;
import java.util.Arrays;
import java.util.List;
import org.junit.jupiter.api.Test;
import org.junit.jupiter.api.extension.RegisterExtension;

/**
 * The WLAN and LED natives of BaseServiceJNIMethods against the simulated radios and SSIDs: what a
 * plug-in gets back, what the services received, how their state changes, and the bindings' traces.
 */
class WlanBindingsTest {
    @RegisterExtension
    static final GatewayExtension gateway = new GatewayExtension(List.of("app_m", "wifi"));

    private static final long GET_SECURITY = 0x47103077L;
    private static final long SET_SECURITY = 0x47103078L;
    private static final long SET_STATE = 0x4710304EL;
    private static final long SET_HIDE = 0x47103083L;
    private static final long SSID_INFO = 0x47103069L;
    private static final long SET_LED = 0x4710306EL;
    private static final long WPS_STATE = 0x4760311DL;
    private static final long FORBID_CHANNEL = 0x47603163L;
    private static final long AUTO_CHANNEL = 0x47603164L;
    private static final long HOST_INFO = 0x4760317AL;

    private static final String HOST_1 = "A4:5E:60:1B:2C:3D";
    private static final String HOST_2 = "3C:22:FB:90:A1:07";
    private static final String HOST_3 = "F0:18:98:44:5D:E2";

    private final BaseServiceJNIMethods jni = new BaseServiceJNIMethods();
    private final TraceFile trace = TraceFile.fromEnvironment();

    // ---- helpers -------------------------------------------------------------------------------

    private static SimControl ctl() {
        return gateway.ctl();
    }

    private List<TraceRecord> bindingRecords(long mark) throws IOException {
        return trace.since(mark, FILE);
    }

    private static JsonObject ssid(int index) throws IOException {
        for (var e : ctl().state("app_m").getAsJsonArray("ssids")) {
            if (e.getAsJsonObject().get("index").getAsInt() == index) return e.getAsJsonObject();
        }
        throw new AssertionError("no SSID " + index);
    }

    private static JsonObject radio(int index) throws IOException {
        return ctl().state("wifi").getAsJsonArray("radios").get(index).getAsJsonObject();
    }

    private static JsonArray ints(int... values) {
        JsonArray a = new JsonArray();
        for (int v : values) a.add(v);
        return a;
    }

    private static String text(byte[] b, int from, int length) {
        int end = from;
        while (end < from + length && b[end] != 0) end++;
        return new String(b, from, end - from, StandardCharsets.UTF_8);
    }

    private static int word(byte[] b, int at) {
        return (b[at] & 0xFF) | (b[at + 1] & 0xFF) << 8 | (b[at + 2] & 0xFF) << 16 | (b[at + 3] & 0xFF) << 24;
    }

    private static List<String> macsIn(String answer) {
        List<String> out = new ArrayList<>();
        for (var e : JsonParser.parseString(answer).getAsJsonObject().getAsJsonArray("List")) {
            out.add(e.getAsJsonObject().get("MAC").getAsString());
        }
        return out;
    }

    // ---- security ------------------------------------------------------------------------------

    @Test
    void securityIsReadAndTheNewKeyReachesTheServiceWhole() throws Exception {
        long mark = trace.mark();
        assertEquals("{\"Result\":0,\"SSIDIndex\":1,\"SecurityMode\":\"WPA2-PSK\",\"Key\":\"harbour-lights-42\"}",
                jni.wlanGetSecurity(1));
        assertEquals(List.of(at("wlanGetSecurity", "wlanGetSecurity ssidIndex", "\r\n wlanGetSecurity ssidIndex:1 \r\n")),
                bindingRecords(mark));

        String key = "0123456789abcdef0123456789ABCDEF0123456789abcdef0123456789abcdef"; // 64 hex digits
        mark = trace.mark();
        assertEquals(0, jni.wlanSetSecurity(1, "WPA3-SAE", key));
        assertTrue(bindingRecords(mark).isEmpty(), "wlanSetSecurity writes no trace");
        List<byte[]> got = ctl().payloads("app_m", SET_SECURITY);
        assertEquals(1, got.size());
        assertEquals(133, got.get(0).length);
        assertEquals(1, word(got.get(0), 0));
        assertEquals("WPA3-SAE", text(got.get(0), 4, 64));
        assertEquals(key, new String(got.get(0), 68, 64, StandardCharsets.US_ASCII), "all 64 characters");
        assertEquals(0, got.get(0)[132]);
        assertEquals("WPA3-SAE", ssid(1).get("security").getAsString());
        assertEquals(key, ssid(1).get("key").getAsString());
        assertEquals("{\"Result\":0,\"SSIDIndex\":1,\"SecurityMode\":\"WPA3-SAE\",\"Key\":\"" + key + "\"}",
                jni.wlanGetSecurity(1));
    }

    @Test
    void failedSecurityQueryKeepsTheApisText() throws Exception {
        ctl().inject("app_m", GET_SECURITY, Fault.status(0xF7103005L, 1));
        assertEquals("{\"Result\":1}", jni.wlanGetSecurity(2));
    }

    @Test
    void securityWithoutItsTextsSendsNothing() throws Exception {
        assertEquals(-1, jni.wlanSetSecurity(1, null, "harbour-lights-42"));
        assertEquals(-1, jni.wlanSetSecurity(1, "WPA2-PSK", null));
        assertEquals(-1, jni.wlanSetSecurity(1, "", "harbour-lights-42"));
        assertEquals(-1, jni.wlanSetSecurity(1, "WPA2-PSK", ""));
        assertTrue(ctl().received("app_m").isEmpty());
        assertEquals("harbour-lights-42", ssid(1).get("key").getAsString());
    }

    @Test
    void refusedOrHugeSecurityIsMinusOneOrCut() throws Exception {
        ctl().inject("app_m", SET_SECURITY, Fault.status(0xF7103005L, 1));
        assertEquals(-1, jni.wlanSetSecurity(1, "WPA2-PSK", "another-key-99"));
        assertEquals("harbour-lights-42", ssid(1).get("key").getAsString());
        ctl().clearRecords();

        String hugeMode = "M".repeat(200_000);
        String hugeKey = "k".repeat(1_000_000);
        jni.wlanSetSecurity(5, hugeMode, hugeKey);
        List<byte[]> got = ctl().payloads("app_m", SET_SECURITY);
        assertEquals(1, got.size());
        assertEquals(133, got.get(0).length);
        assertEquals("M".repeat(63), text(got.get(0), 4, 64));
        assertEquals("k".repeat(64), new String(got.get(0), 68, 64, StandardCharsets.US_ASCII));
        assertEquals(0, got.get(0)[132]);
    }

    // ---- radios --------------------------------------------------------------------------------

    @Test
    void automaticChannelAndWidthChangeTheRadio() throws Exception {
        long mark = trace.mark();
        assertEquals(0, jni.wlanSetAutoChannelEnable(0, 0));
        assertEquals(0, jni.wlanSetChannelWidth(1, 160));
        assertEquals(List.of(
                at("wlanSetAutoChannelEnable", "ret: %u", "ZX_JNI_wlanSetAutoChannelEnable ret: 0 "),
                at("wlanSetChannelWidth", "ret: %u", "ZX_JNI_wlanSetChannelWidth ret: 0 ")), bindingRecords(mark));
        assertEquals(false, radio(0).get("autoChannel").getAsBoolean());
        assertEquals(160, radio(1).get("channelWidth").getAsInt());
        assertEquals(0, jni.wlanSetAutoChannelEnable(0, 1));
        assertEquals(true, radio(0).get("autoChannel").getAsBoolean());
    }

    @Test
    void refusedRadioSettingsAreMinusOneWithoutATrace() throws Exception {
        long mark = trace.mark();
        assertEquals(-1, jni.wlanSetAutoChannelEnable(2, 1));
        assertEquals(-1, jni.wlanSetChannelWidth(2, 40));
        assertEquals(-1, jni.wlanSetForbidChannel(2, 1, new char[] {6}));
        assertTrue(ctl().received("wifi").isEmpty(), "radio 2 is refused before anything is sent");
        assertEquals(-1, jni.wlanSetChannelWidth(0, 80), "2.4 GHz takes no 80 MHz");
        assertEquals(-1, jni.wlanSetAutoChannelEnable(7, 1), "no radio 7");
        ctl().inject("wifi", AUTO_CHANNEL, Fault.status(0xF7603002L, 1));
        assertEquals(-1, jni.wlanSetAutoChannelEnable(0, 1));
        assertTrue(bindingRecords(mark).isEmpty(), "a failure writes no binding trace");
        assertEquals(20, radio(0).get("channelWidth").getAsInt());
    }

    @Test
    void forbiddenChannelsMoveTheRadioOffThem() throws Exception {
        long mark = trace.mark();
        assertEquals(0, jni.wlanSetForbidChannel(0, 3, new char[] {1, 6, 11}));
        assertEquals(List.of(at("wlanSetForbidChannel", "ret: %u", "ZX_JNI_wlanSetForbidChannel ret: 0 ")),
                bindingRecords(mark));
        List<byte[]> got = ctl().payloads("wifi", FORBID_CHANNEL);
        assertEquals(1, got.size());
        byte[] expected = new byte[40];
        expected[4] = 3;
        expected[8] = 1;
        expected[9] = 6;
        expected[10] = 11;
        assertArrayEquals(expected, got.get(0));
        assertEquals(ints(1, 6, 11), radio(0).getAsJsonArray("forbiddenChannels"));
        assertEquals(2, radio(0).get("channel").getAsInt(), "automatic selection left channel 6");

        assertEquals(0, jni.wlanSetForbidChannel(0, 0, new char[] {1}), "a count of 0 lifts every ban");
        assertEquals(ints(), radio(0).getAsJsonArray("forbiddenChannels"));
    }

    @Test
    void aCountBeyondTheArrayOrTheBlockIsRefusedAndNothingIsSent() throws Exception {
        // A count beyond the array would read characters Java never passed.
        assertEquals(-1, jni.wlanSetForbidChannel(1, 40, new char[] {36, 40}));
        assertEquals(-1, jni.wlanSetForbidChannel(1, 1, new char[0]));
        assertTrue(ctl().payloads("wifi", FORBID_CHANNEL).isEmpty(), "nothing is sent");

        // More than 32 channels would overflow the block; 32 fill it, and the record keeps 31.
        char[] many = new char[100];
        Arrays.fill(many, (char) 0x0124); // low byte 36
        assertEquals(-1, jni.wlanSetForbidChannel(1, Integer.MAX_VALUE, many));
        assertEquals(-1, jni.wlanSetForbidChannel(1, 33, many));
        assertTrue(ctl().payloads("wifi", FORBID_CHANNEL).isEmpty(), "nothing is sent");
        assertEquals(0, jni.wlanSetForbidChannel(1, 32, many));
        byte[] got = ctl().payloads("wifi", FORBID_CHANNEL).get(0);
        assertEquals(32, word(got, 4));
        byte[] channels = new byte[32];
        Arrays.fill(channels, 0, 31, (byte) 36);
        assertArrayEquals(channels, Arrays.copyOfRange(got, 8, 40), "31 characters and the block's end");
        assertEquals(ints(36), radio(1).getAsJsonArray("forbiddenChannels"));

        assertEquals(0, jni.wlanSetForbidChannel(1, 3, null), "no array: an empty channel text");
        got = ctl().payloads("wifi", FORBID_CHANNEL).get(0);
        assertArrayEquals(new byte[32], Arrays.copyOfRange(got, 8, 40));
        assertEquals(ints(), radio(1).getAsJsonArray("forbiddenChannels"));
    }

    // ---- SSID state and hiding -----------------------------------------------------------------

    @Test
    void stateOfAnSsidIsSwitchedAndRead() throws Exception {
        assertEquals(1, jni.wlanGetState(1));
        assertEquals(0, jni.wlanGetState(2));
        long mark = trace.mark();
        assertEquals("{\"Result\":0}", jni.wlanSetState(2, 1));
        assertEquals(List.of(at("wlanSetState", "ZX_JNI_wlanSetState ret",
                " ZX_JNI_wlanSetState ret: 0 buff:{\"Result\":0}")), bindingRecords(mark));
        assertTrue(ssid(2).get("enabled").getAsBoolean());
        mark = trace.mark();
        assertEquals(1, jni.wlanGetState(2));
        assertEquals(List.of(at("wlanGetState", "ZX_JNI_wlanGetState ret", " ZX_JNI_wlanGetState ret: 1")),
                bindingRecords(mark));
        assertEquals("{\"Result\":-1,\"FailReason\":\"no SSID 9\"}", jni.wlanSetState(9, 1), "kept as the API left it");
        ctl().inject("app_m", SET_STATE, Fault.status(0xF7103005L, 1));
        assertEquals("{\"Result\":-1, \"FailReason\":\"\"}", jni.wlanSetState(1, 0));
        assertTrue(ssid(1).get("enabled").getAsBoolean());
    }

    @Test
    void hidingAnSsidAndItsErrorVocabulary() throws Exception {
        assertEquals(0, jni.wlanGetHide(5));
        long mark = trace.mark();
        assertEquals(0, jni.wlanSetHide(5, 1));
        assertEquals(List.of(at("wlanSetHide", "JNI wlanSetHide",
                " JNI wlanSetHide ssidIndex: 5 SsidHide:1  uiResult:0 ")), bindingRecords(mark));
        assertTrue(ssid(5).get("hidden").getAsBoolean());
        mark = trace.mark();
        assertEquals(1, jni.wlanGetHide(5));
        assertEquals(List.of(at("wlanGetHide", "JNI wlanGetHide", " JNI wlanGetHide ssidIndex 5 ret: 1 ")),
                bindingRecords(mark));
        mark = trace.mark();
        assertEquals(-1, jni.wlanSetHide(9, 1), "no such SSID");
        assertEquals(List.of(at("wlanSetHide", "JNI wlanSetHide",
                " JNI wlanSetHide ssidIndex: 9 SsidHide:1  uiResult:4294967295 ")), bindingRecords(mark));
        ctl().inject("app_m", SET_HIDE, Fault.status(0xF7103005L, 1));
        assertEquals(-100, jni.wlanSetHide(5, 0));
        assertTrue(ssid(5).get("hidden").getAsBoolean());
    }

    // ---- WPS -----------------------------------------------------------------------------------

    @Test
    void wpsStartsAndEndsAfterItsTime() throws Exception {
        assertEquals(0, jni.wlanGetWPSState(1));
        long mark = trace.mark();
        assertEquals(0, jni.wlanStartWPS(1));
        assertEquals(1, jni.wlanGetWPSState(5), "one session, whatever index is asked about");
        assertEquals(List.of(at("wlanStartWPS", "ZX_JNI_startWlanWps ret", " ZX_JNI_startWlanWps ret: 0 "),
                at("wlanGetWPSState", "ZX_JNI_wlanGetWPSState ret", " ZX_JNI_wlanGetWPSState ret: 1 ")),
                bindingRecords(mark));
        assertTrue(ctl().state("wifi").getAsJsonObject("wps").get("active").getAsBoolean());

        ctl().set("wifi", "wpsMs", new JsonPrimitive(50));
        assertEquals(0, jni.wlanStartWPS(1));
        Thread.sleep(300);
        assertEquals(0, jni.wlanGetWPSState(1), "the session ended");
    }

    @Test
    void wpsStateQueryIsTheSameForEveryIndex() throws Exception {
        jni.wlanGetWPSState(5);
        jni.wlanGetWPSState(0);
        List<byte[]> got = ctl().payloads("wifi", WPS_STATE);
        assertEquals(2, got.size());
        assertArrayEquals(new byte[18], got.get(0));
        assertArrayEquals(new byte[18], got.get(1));
        ctl().inject("wifi", WPS_STATE, Fault.status(0xF7603005L, 1));
        assertEquals(0xF7603005, jni.wlanGetWPSState(1));
    }

    // ---- wireless hosts ------------------------------------------------------------------------

    @Test
    void hostsAllOrThoseOfTheMacsGiven() throws Exception {
        long mark = trace.mark();
        String all = jni.getWLANHostInfo(null, 0);
        assertNotNull(all);
        assertEquals(List.of(HOST_1, HOST_2, HOST_3), macsIn(all));
        assertEquals(List.of(at("getWLANHostInfo", "RPCCall SUCCESS", "\r\n getWLANHostInfo JNI RPCCall SUCCESS\r\n")),
                bindingRecords(mark));
        assertEquals(List.of(HOST_1, HOST_2, HOST_3), macsIn(jni.getWLANHostInfo(new String[] {""}, 0)));
        assertEquals(List.of(HOST_3), macsIn(jni.getWLANHostInfo(new String[] {HOST_3.toLowerCase()}, 0)));
        assertEquals(List.of(HOST_1), macsIn(jni.getWLANHostInfo(new String[] {null, HOST_1, "00:00:00:00:00:01"}, 0)));

        List<byte[]> got = ctl().payloads("wifi", HOST_INFO);
        assertEquals(4, got.size());
        assertEquals(0, word(got.get(0), 160));
        assertEquals(0, word(got.get(1), 160), "one empty MAC is sent like none");
        assertEquals(1, word(got.get(2), 160));
        assertEquals(3, word(got.get(3), 160));
        assertEquals("", text(got.get(3), 0, 20));
        assertEquals(HOST_1, text(got.get(3), 20, 20));
    }

    @Test
    void eightMacsAreSentNineAreRefusedEmptyOnesCounted() throws Exception {
        String[] eight = new String[8];
        for (int i = 0; i < 8; i++) eight[i] = String.format("00:11:22:33:44:%02X", i);
        assertNotNull(jni.getWLANHostInfo(eight, 0));
        byte[] got = ctl().payloads("wifi", HOST_INFO).get(0);
        assertEquals(8, word(got, 160));
        for (int i = 0; i < 8; i++) assertEquals(eight[i], text(got, 20 * i, 20));

        String[] nine = Arrays.copyOf(eight, 9);
        nine[8] = HOST_1;
        long mark = trace.mark();
        assertNull(jni.getWLANHostInfo(nine, 0));
        assertNull(jni.getWLANHostInfo(new String[1000], 0));
        assertTrue(ctl().received("wifi").isEmpty(), "nothing is sent for more than 8 MACs");
        assertTrue(bindingRecords(mark).isEmpty());

        assertNotNull(jni.getWLANHostInfo(new String[] {"", ""}, 0));
        got = ctl().payloads("wifi", HOST_INFO).get(0);
        assertEquals(2, word(got, 160), "two empty MACs are two entries");
        assertArrayEquals(new byte[160], Arrays.copyOfRange(got, 0, 160));
    }

    @Test
    void overlongMacsStayInTheirEntries() throws Exception {
        String longMac = "AB".repeat(5000);
        assertNotNull(jni.getWLANHostInfo(new String[] {longMac, HOST_2}, 0));
        byte[] got = ctl().payloads("wifi", HOST_INFO).get(0);
        assertEquals("AB".repeat(10).substring(0, 19), text(got, 0, 20));
        assertEquals(0, got[19]);
        assertEquals(HOST_2, text(got, 20, 20), "the next entry is untouched");
        assertEquals(2, word(got, 160));
    }

    @Test
    void failedHostQueryIsTheFixedText() throws Exception {
        ctl().inject("wifi", HOST_INFO, Fault.status(0xF7603005L, 1));
        long mark = trace.mark();
        assertEquals("{\"Result\":-1, \"List\":null}", jni.getWLANHostInfo(null, 0));
        assertEquals(List.of(TraceRecord.lastWord1(FILE, line("getWLANHostInfo", "last_word(__LINE__, result)"),
                                     0xF7603005L),
                at("getWLANHostInfo", "RPCCall failed", "\r\n getWLANHostInfo JNI RPCCall failed\r\n")),
                bindingRecords(mark));
    }

    // ---- SSID information ----------------------------------------------------------------------

    @Test
    void ssidInformationForOneAndForAll() throws Exception {
        long mark = trace.mark();
        String one = jni.sysGetWLanInfo(1);
        assertEquals("{\"Result\":0,\"SSIDs\":[{\"SSIDIndex\":1,\"SSID\":\"Zentrix-5A3C\",\"Band\":\"2.4GHz\","
                + "\"Enable\":1,\"Hide\":0,\"SecurityMode\":\"WPA2-PSK\"}]}", one);
        assertEquals(List.of(at("sysGetWLanInfo", "sysGetWLanInfo called", "\r\n sysGetWLanInfo called \r\n"),
                at("sysGetWLanInfo", "ssid = %u", "\r\n ssid = 1 \r\n")), bindingRecords(mark));
        String all = jni.sysGetWLanInfo(0);
        assertEquals(3, JsonParser.parseString(all).getAsJsonObject().getAsJsonArray("SSIDs").size());
        ctl().inject("app_m", SSID_INFO, Fault.status(0xF7103005L, 1));
        assertNull(jni.sysGetWLanInfo(1), "a failed call leaves the block empty");
    }

    /** Sets SSID 1's name so that the answer for {@code index} is {@code length} characters long. */
    private void answerOfLength(int index, int ssids, int length) throws IOException {
        JsonArray list = new JsonArray();
        for (int i = 1; i <= ssids; i++) {
            JsonObject s = ssid(1).deepCopy();
            s.addProperty("index", i);
            s.addProperty("name", "n");
            list.add(s);
        }
        ctl().set("app_m", "ssids", list);
        int base = jni.sysGetWLanInfo(index).length();
        list.get(0).getAsJsonObject().addProperty("name", "n" + "x".repeat(length - base));
        ctl().set("app_m", "ssids", list);
    }

    @Test
    void oneSsidAnswersUpTo511Characters() throws Exception {
        answerOfLength(1, 1, 511);
        String got = jni.sysGetWLanInfo(1);
        assertNotNull(got);
        assertEquals(511, got.length());
        answerOfLength(1, 1, 512);
        // The reply block holds no more: a longer answer never reaches Java whole.
        String longer = jni.sysGetWLanInfo(1);
        assertTrue(longer == null || longer.length() <= 511, "at most 511 characters");
    }

    @Test
    void allSsidsAnswerUpTo4095Characters() throws Exception {
        answerOfLength(0, 8, 4095);
        String got = jni.sysGetWLanInfo(0);
        assertNotNull(got);
        assertEquals(4095, got.length());
        answerOfLength(0, 8, 4096);
        // The reply block holds no more: a longer answer never reaches Java whole.
        String longer = jni.sysGetWLanInfo(0);
        assertTrue(longer == null || longer.length() <= 4095, "at most 4095 characters");
    }

    // ---- LEDs ----------------------------------------------------------------------------------

    @Test
    void ledChangesAndAnswersZeroOrMinusOne() throws Exception {
        long mark = trace.mark();
        assertEquals("0", jni.LedSetState(3, 2, 250, 750));
        assertEquals(List.of(at("LedSetState", "LedSetState ledId", "LedSetState ledId: 3 color:2 ontime:250 offtime:750")),
                bindingRecords(mark));
        JsonObject led = ctl().state("app_m").getAsJsonArray("leds").get(2).getAsJsonObject();
        assertEquals(2, led.get("color").getAsInt());
        assertEquals(250, led.get("onTime").getAsInt());
        assertEquals(750, led.get("offTime").getAsInt());
        byte[] got = ctl().payloads("app_m", SET_LED).get(0);
        assertEquals(16, got.length);
        assertEquals(3, word(got, 0));
        assertEquals(750, word(got, 12));

        ctl().inject("app_m", SET_LED, Fault.status(0xF7103005L, 1));
        assertEquals("-1", jni.LedSetState(1, 2, 0, 0));
        String odd = jni.LedSetState(-1, -1, -1, -1);
        assertTrue(odd.equals("0") || odd.equals("-1"), "never JSON: " + odd);
    }
}
