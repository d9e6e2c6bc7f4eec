package com.zentrix.nodalis.bridgetest.events;

import static com.zentrix.nodalis.bridgetest.support.BindingSource.FILE;
import static com.zentrix.nodalis.bridgetest.support.BindingSource.at;
import static com.zentrix.nodalis.bridgetest.support.BindingSource.line;
import static org.junit.jupiter.api.Assertions.assertArrayEquals;
import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertNull;
import static org.junit.jupiter.api.Assertions.assertTrue;

import com.google.gson.JsonObject;
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
 * The event and notification natives of BaseServiceJNIMethods against the simulated event centre
 * and configuration service: the exact records the event centre received (texts cut at their
 * field, null texts leaving empty fields), a refused event, osgiPrintF's line in the platform's
 * trace (conversion specifications recorded as they stand), the platform connection state and the
 * cloud registration, with the bindings' traces.
 */
class EventBindingsTest {
    @RegisterExtension
    static final GatewayExtension gateway = new GatewayExtension(List.of("eventcenter", "app_m"));

    private static final long EVENT_INFORM = 12342;
    private static final long EVENT_NOTIFY = 12348;
    private static final long EVENT_NOTIFY_EXTENDED = 12355;
    private static final long PLATFORM_STATE = 0x47103084L;
    private static final long CLOUD_STATUS = 0x4710306CL;
    private static final String SYMBOL_2 = "notifyEvent__Ljava_lang_String_2Ljava_lang_String_2";
    private static final String SYMBOL_3 = "notifyEvent__Ljava_lang_String_2Ljava_lang_String_2Ljava_lang_String_2";

    private final BaseServiceJNIMethods jni = new BaseServiceJNIMethods();
    private final TraceFile trace = TraceFile.fromEnvironment();

    private static SimControl ctl() {
        return gateway.ctl();
    }

    private List<TraceRecord> bindingRecords(long mark) throws IOException {
        return trace.since(mark, FILE);
    }

    private static byte[] ascii(String s) {
        return s.getBytes(StandardCharsets.UTF_8);
    }

    /** Record A: a reserved word, the name in 64 bytes, the data in 864. */
    private static byte[] recordA(String name, String data) {
        byte[] b = new byte[932];
        System.arraycopy(ascii(name), 0, b, 4, ascii(name).length);
        System.arraycopy(ascii(data), 0, b, 68, ascii(data).length);
        return b;
    }

    /** Record B: two names in 64 bytes each, the data in 864. */
    private static byte[] recordB(String first, String second, String data) {
        byte[] b = new byte[992];
        System.arraycopy(ascii(first), 0, b, 0, ascii(first).length);
        System.arraycopy(ascii(second), 0, b, 64, ascii(second).length);
        System.arraycopy(ascii(data), 0, b, 128, ascii(data).length);
        return b;
    }

    /** The one event of id {@code eventId} the event centre received. */
    private static byte[] oneEvent(long eventId) throws IOException {
        List<byte[]> got = ctl().payloads("eventcenter", eventId);
        assertEquals(1, got.size(), "events " + eventId);
        return got.get(0);
    }

    // ---- eventInform ---------------------------------------------------------------------------

    @Test
    void eventInformRaisesItsRecordAndAnswersResultZero() throws Exception {
        long mark = trace.mark();
        assertEquals("{\"Result\":0}", jni.eventInform("plugin.started", "{\"id\":7}"));
        assertArrayEquals(recordA("plugin.started", "{\"id\":7}"), oneEvent(EVENT_INFORM));
        assertEquals(List.of(
                at("eventInform", "trace_entry(\"eventInform\"",
                        "\r\n Java_com_nodalis_deviceservice_impl_BaseServiceJNIMethods_eventInform called \r\n"),
                at("eventInform", "GlobalInvokeEvent2 finished", "\r\n call EventCenter_GlobalInvokeEvent2 finished \r\n")),
                bindingRecords(mark));
    }

    @Test
    void nullTextsLeaveEmptyFieldsAndTheEventIsRaised() throws Exception {
        assertEquals("{\"Result\":0}", jni.eventInform("plugin.started", null));
        assertArrayEquals(recordA("plugin.started", ""), oneEvent(EVENT_INFORM));
        assertEquals("{\"Result\":0}", jni.eventInform(null, "only data"));
        assertArrayEquals(recordA("", "only data"), oneEvent(EVENT_INFORM));
        assertEquals("{\"Result\":0}", jni.eventInform(null, null));
        assertArrayEquals(new byte[932], oneEvent(EVENT_INFORM));
        assertEquals("{\"Result\":0}", jni.eventInform("", ""), "an empty text is no text");
        assertArrayEquals(new byte[932], oneEvent(EVENT_INFORM));
        assertEquals(0, jni.notifyEvent(null, null));
        assertArrayEquals(new byte[932], oneEvent(EVENT_NOTIFY));
        assertEquals(0, jni.notifyEvent(null, null, null));
        assertArrayEquals(new byte[992], oneEvent(EVENT_NOTIFY_EXTENDED));
        assertEquals(0, jni.notifyEvent("first", null, "data"));
        assertArrayEquals(recordB("first", "", "data"), oneEvent(EVENT_NOTIFY_EXTENDED));
    }

    @Test
    void longTextsAreCutAtTheirFieldLessOne() throws Exception {
        String data = "d".repeat(899) + "E"; // 900 characters
        String name = "n".repeat(100);
        assertEquals("{\"Result\":0}", jni.eventInform(name, data));
        assertArrayEquals(recordA("n".repeat(63), "d".repeat(863)), oneEvent(EVENT_INFORM));
        assertEquals(0, jni.notifyEvent(name, data));
        assertArrayEquals(recordA("n".repeat(63), "d".repeat(863)), oneEvent(EVENT_NOTIFY));
        assertEquals(0, jni.notifyEvent("a".repeat(64), "b".repeat(70), data));
        assertArrayEquals(recordB("a".repeat(63), "b".repeat(63), "d".repeat(863)), oneEvent(EVENT_NOTIFY_EXTENDED));
        // Exactly a field's capacity fits whole.
        assertEquals(0, jni.notifyEvent("x".repeat(63), "y".repeat(863)));
        assertArrayEquals(recordA("x".repeat(63), "y".repeat(863)), oneEvent(EVENT_NOTIFY));
        String huge = "H".repeat(3_000_000);
        assertEquals("{\"Result\":0}", jni.eventInform(huge, huge));
        assertArrayEquals(recordA("H".repeat(63), "H".repeat(863)), oneEvent(EVENT_INFORM));
    }

    @Test
    void theEventCentreSeesTheFieldsDecoded() throws Exception {
        jni.notifyEvent("net", "wan", "up");
        JsonObject decoded = null;
        for (var e : ctl().received("eventcenter")) {
            JsonObject r = e.getAsJsonObject();
            if (r.get("msgId").getAsLong() == EVENT_NOTIFY_EXTENDED && r.has("decoded")) decoded = r.getAsJsonObject("decoded");
        }
        assertTrue(decoded != null, "the event centre decoded the record");
        assertEquals("NotifyEventExtended", decoded.get("event").getAsString());
        assertEquals("net", decoded.get("first").getAsString());
        assertEquals("wan", decoded.get("second").getAsString());
        assertEquals("up", decoded.get("data").getAsString());
    }

    @Test
    void aRefusedEventIsNullOrItsCode() throws Exception {
        ctl().inject("eventcenter", EVENT_INFORM, Fault.status(0xF7400001L, 1));
        assertNull(jni.eventInform("name", "data"));
        ctl().inject("eventcenter", EVENT_NOTIFY, Fault.status(0xF7400001L, 1));
        assertEquals(0xF7400001, jni.notifyEvent("name", "data"));
        ctl().inject("eventcenter", EVENT_NOTIFY_EXTENDED, Fault.status(5, 1));
        assertEquals(5, jni.notifyEvent("a", "b", "data"));
        assertEquals(1, ctl().payloads("eventcenter", EVENT_NOTIFY_EXTENDED).size(), "the event was sent all the same");
    }

    @Test
    void notifyEventTracesItsDataBeforeItsEntry() throws Exception {
        long mark = trace.mark();
        assertEquals(0, jni.notifyEvent("name", "payload-1"));
        assertEquals(List.of(
                at(SYMBOL_2, "notifyEvent data = %s",
                        "\r\n Java_com_nodalis_deviceservice_impl_BaseServiceJNIMethods_notifyEvent data = payload-1\r\n"),
                at(SYMBOL_2, "trace_entry(\"notifyEvent\"",
                        "\r\n Java_com_nodalis_deviceservice_impl_BaseServiceJNIMethods_notifyEvent called \r\n"),
                at(SYMBOL_2, "Evwent2 finished", "\r\n call EventCenter_GlobalInvokeEvwent2 finished \r\n")),
                bindingRecords(mark));
        mark = trace.mark();
        assertEquals(0, jni.notifyEvent("a", "b", "payload-2"));
        assertEquals(List.of(
                at(SYMBOL_3, "notifyEvent data = %s", "\r\n notifyEvent data = payload-2\r\n"),
                at(SYMBOL_3, "notifyEvent called", "\r\n notifyEvent called \r\n"),
                at(SYMBOL_3, "call notifyEvent finished", "\r\n call notifyEvent finished \r\n")),
                bindingRecords(mark));
        mark = trace.mark();
        assertEquals(0, jni.notifyEvent("a", "b", null));
        assertEquals(List.of(
                at(SYMBOL_3, "notifyEvent called", "\r\n notifyEvent called \r\n"),
                at(SYMBOL_3, "call notifyEvent finished", "\r\n call notifyEvent finished \r\n")),
                bindingRecords(mark), "no data, no data trace");
    }

    @Test
    void hostileTextsAreCarriedAsUtf8() throws Exception {
        // An unpaired surrogate becomes the encoder's replacement '?'; a character above U+07FF three bytes.
        assertEquals("{\"Result\":0}", jni.eventInform("\uD800x", "\u20AC\uDC00"));
        byte[] expected = recordA("?x", "");
        byte[] data = {(byte) 0xE2, (byte) 0x82, (byte) 0xAC, '?'};
        System.arraycopy(data, 0, expected, 68, data.length);
        assertArrayEquals(expected, oneEvent(EVENT_INFORM));
        // A multi-byte character at the cut: only whole bytes up to 863 are kept.
        String euros = "\u20AC".repeat(300); // 900 bytes
        assertEquals(0, jni.notifyEvent("n", euros));
        byte[] got = oneEvent(EVENT_NOTIFY);
        byte[] cut = new byte[864];
        System.arraycopy(euros.getBytes(StandardCharsets.UTF_8), 0, cut, 0, 863);
        byte[] field = new byte[864];
        System.arraycopy(got, 68, field, 0, 864);
        assertArrayEquals(cut, field);
    }

    // ---- osgiPrintF ----------------------------------------------------------------------------

    @Test
    void osgiPrintFRecordsConversionSpecificationsAsTheyStand() throws Exception {
        long mark = trace.mark();
        jni.osgiPrintF("%s%s%n");
        List<TraceRecord> records = trace.since(mark);
        assertEquals(List.of(
                at("osgiPrintF", "trace_entry(\"osgiPrintF\"",
                        "\r\n Java_com_nodalis_deviceservice_impl_BaseServiceJNIMethods_osgiPrintF called \r\n"),
                new TraceRecord("T", 0, "-", 0, 3, "%s%s%n", 0, List.of()),
                at("osgiPrintF", "call osgiPrintF finished", "\r\n call osgiPrintF finished \r\n")),
                records);
        mark = trace.mark();
        String many = "%n%p%99999s%x".repeat(1000) + "\r\nline two\u00E9";
        jni.osgiPrintF(many);
        assertEquals(new TraceRecord("T", 0, "-", 0, 3, many, 0, List.of()), trace.since(mark).get(1));
    }

    @Test
    void osgiPrintFWithoutATextTracesTheFailure() throws Exception {
        TraceRecord failed = at("osgiPrintF", "failed to transfer jstring", "\r\n failed to transfer jstring \r\n");
        long mark = trace.mark();
        jni.osgiPrintF(null);
        jni.osgiPrintF("");
        assertEquals(List.of(failed, failed), trace.since(mark));
    }

    @Test
    void osgiPrintFTakesHugeAndBrokenTexts() throws Exception {
        String huge = "%s".repeat(1_000_000);
        long mark = trace.mark();
        jni.osgiPrintF(huge);
        jni.osgiPrintF("\uDBFF%d\uD800");
        List<TraceRecord> records = trace.since(mark);
        assertEquals(6, records.size());
        assertEquals(huge, records.get(1).text());
        assertEquals("?%d?", records.get(4).text());
    }

    // ---- platform connection state and cloud registration --------------------------------------

    @Test
    void platformStateReachesTheServiceAndIsTracedAtLevel222() throws Exception {
        long mark = trace.mark();
        jni.NotifyServicePlatformConnectState("cloud-platform", 2);
        assertEquals(List.of(new TraceRecord("T", 222, FILE,
                line("NotifyServicePlatformConnectState", "NotifyServicePlatformConnectState[%s][%u]"), 0,
                "NotifyServicePlatformConnectState[cloud-platform][2]\r\n", 0, List.of())), bindingRecords(mark));
        List<byte[]> got = ctl().payloads("app_m", PLATFORM_STATE);
        assertEquals(1, got.size());
        assertEquals(132, got.get(0).length);
        assertEquals(2, got.get(0)[0]);
        assertEquals("cloud-platform", new String(got.get(0), 4, 14, StandardCharsets.UTF_8));
    }

    @Test
    void platformStateWithoutATextOrRefusedIsOnlyRecorded() throws Exception {
        long mark = trace.mark();
        jni.NotifyServicePlatformConnectState(null, 1);
        assertEquals(List.of(TraceRecord.lastWord1(FILE,
                line("NotifyServicePlatformConnectState", "last_word(__LINE__, 1)"), 1)), bindingRecords(mark));
        assertTrue(ctl().payloads("app_m", PLATFORM_STATE).isEmpty());
        ctl().inject("app_m", PLATFORM_STATE, Fault.status(0xF7103002L, 1));
        mark = trace.mark();
        jni.NotifyServicePlatformConnectState("p", 0);
        List<TraceRecord> records = bindingRecords(mark);
        assertEquals(2, records.size());
        assertEquals(TraceRecord.lastWord1(FILE,
                line("NotifyServicePlatformConnectState", "last_word(__LINE__, code)"), 0xF7103002L), records.get(1));
    }

    @Test
    void cloudRegistrationIsTheStatusOrZero() throws Exception {
        long mark = trace.mark();
        assertEquals(1, jni.isCloudRegistered());
        assertEquals(List.of(
                at("isCloudRegistered", "trace_entry(\"isCloudRegistered\"",
                        "\r\n Java_com_nodalis_deviceservice_impl_BaseServiceJNIMethods_isCloudRegistered called \r\n"),
                at("isCloudRegistered", "uiRet = %u",
                        "\r\n call ZX_JNI_GetCloudStatus uiRet = 0 uiRegStatus = 1\r\n")),
                bindingRecords(mark));
        List<byte[]> got = ctl().payloads("app_m", CLOUD_STATUS);
        assertEquals(1, got.size());
        assertArrayEquals(new byte[4], got.get(0), "the request is a zero word");
        ctl().set("app_m", "cloudStatus", new com.google.gson.JsonPrimitive(0));
        assertEquals(0, jni.isCloudRegistered(), "not registered");
        ctl().set("app_m", "cloudStatus", new com.google.gson.JsonPrimitive(7));
        assertEquals(7, jni.isCloudRegistered());
        ctl().inject("app_m", CLOUD_STATUS, Fault.status(0xF7103002L, 1));
        mark = trace.mark();
        assertEquals(0, jni.isCloudRegistered(), "a failed read");
        assertEquals(at("isCloudRegistered", "uiRet = %u",
                "\r\n call ZX_JNI_GetCloudStatus uiRet = 4145033218 uiRegStatus = 0\r\n"), bindingRecords(mark).get(1));
    }
}
