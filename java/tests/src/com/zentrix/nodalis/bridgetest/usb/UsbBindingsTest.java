package com.zentrix.nodalis.bridgetest.usb;

import static com.zentrix.nodalis.bridgetest.support.BindingSource.FILE;
import static com.zentrix.nodalis.bridgetest.support.BindingSource.at;
import static com.zentrix.nodalis.bridgetest.support.BindingSource.line;
import static org.junit.jupiter.api.Assertions.assertArrayEquals;
import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertFalse;
import static org.junit.jupiter.api.Assertions.assertNotNull;
import static org.junit.jupiter.api.Assertions.assertNull;
import static org.junit.jupiter.api.Assertions.assertTrue;

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
import java.util.regex.Matcher;
import java.util.regex.Pattern;
import org.junit.jupiter.api.BeforeEach;
import org.junit.jupiter.api.Test;
import org.junit.jupiter.api.extension.RegisterExtension;

/** The USB natives of BaseServiceJNIMethods against the simulator's devices on pseudo-terminals. */
class UsbBindingsTest {
    @RegisterExtension
    static final GatewayExtension gateway = new GatewayExtension();

    private static final String API = "../velm/zx_velm_jni_api";
    private static final String OK = "{\"Result\":0}";
    private static final String LOCAL_FAILURE = "{\"Result\":-1,\"FailReason\":\"\"}";

    // Devices of the default profile.
    private static final int ECHO = 1;   // type 1
    private static final int HOST = 3;   // type 2, driven through the control socket
    private static final int ABSENT = 9; // type 2, a path that does not exist

    private static final long USB_OPEN = 0x4710303FL;
    private static final long USB_UNREGISTER_ALL = 0x47103076L;

    private final BaseServiceJNIMethods jni = new BaseServiceJNIMethods();
    private final TraceFile trace = TraceFile.fromEnvironment();
    private final List<Integer> handles = new ArrayList<>();

    @BeforeEach
    void releaseEverything() {
        assertEquals(0, jni.usbUnregisterAll());
    }

    // ---- helpers -------------------------------------------------------------------------------

    private static SimControl ctl() {
        return gateway.ctl();
    }



    private static TraceRecord entry(String method) throws IOException {
        return at(method, "\"" + method + "\", __LINE__",
                "\r\n Java_com_nodalis_deviceservice_impl_BaseServiceJNIMethods_" + method + " called \r\n");
    }

    private static TraceRecord reply(String method, String text) throws IOException {
        return at(method, "kReplyTrace", text + "\n");
    }

    private List<TraceRecord> records(long mark, String file) throws IOException {
        List<TraceRecord> out = new ArrayList<>();
        for (TraceRecord r : trace.since(mark)) {
            if (r.file().equals(file)) out.add(r);
        }
        return out;
    }

    private int open(String plugId, int type, int devId) {
        assertEquals(OK, jni.usbRegister(plugId, type));
        assertEquals(OK, jni.usbLock(devId));
        String answer = jni.usbOpen(devId);
        Matcher m = Pattern.compile("\\{\"Result\":0,\"Handle\":(\\d+)\\}").matcher(answer);
        assertTrue(m.matches(), answer);
        int handle = Integer.parseInt(m.group(1));
        handles.add(handle);
        return handle;
    }

    private static void deviceSend(int devId, byte[] bytes) throws IOException {
        ctl().usbWrite(devId, bytes);
    }

    private static byte[] deviceReceive(int devId, int count) throws IOException {
        return ctl().usbRead(devId, count, 20000);
    }

    private static String devicePath(int devId) throws IOException {
        return ctl().usbDevicePath(devId);
    }

    private static String stty(int devId) throws IOException, InterruptedException {
        Process p = new ProcessBuilder("stty", "-a", "-F", devicePath(devId)).redirectErrorStream(true).start();
        String out = new String(p.getInputStream().readAllBytes(), StandardCharsets.UTF_8);
        assertEquals(0, p.waitFor(), out);
        return " " + out.replace('\n', ' ').replace(';', ' ') + " ";
    }

    // ---- tests ---------------------------------------------------------------------------------

    @Test
    void bytesTravelBothWaysIncludingBinaryAnd4KB() throws Exception {
        int handle = open("plugH", 2, HOST);
        assertEquals(OK, jni.usbSetSerial(handle, 115200, 0, 8, 1, false, false));

        byte[] data = new byte[4096 + 10];
        for (int i = 0; i < data.length; i++) data[i] = (byte) (i * 13 + 1);
        assertEquals("{\"Result\":0,\"Len\":4096}", jni.usbWrite(handle, data, 10, 4096));
        assertArrayEquals(Arrays.copyOfRange(data, 10, data.length), deviceReceive(HOST, 4096));

        byte[] sent = new byte[20];
        for (int i = 0; i < sent.length; i++) sent[i] = (byte) (0xF0 + i);
        sent[3] = 0;
        deviceSend(HOST, sent);
        assertTrue(jni.usbDataAvailable(handle));
        byte[] received = new byte[0];
        while (received.length < sent.length) {
            ByteHolder holder = new ByteHolder();
            String answer = jni.usbRead(handle, holder, 10, 20, 5);
            Matcher m = Pattern.compile("\\{\"Result\":0,\"Len\":(\\d+)\\}").matcher(answer);
            assertTrue(m.matches(), answer);
            int len = Integer.parseInt(m.group(1));
            assertEquals(30, holder.bytearray.length, "offset + count, whatever was delivered");
            assertArrayEquals(new byte[10], Arrays.copyOfRange(holder.bytearray, 0, 10));
            assertArrayEquals(new byte[20 - len], Arrays.copyOfRange(holder.bytearray, 10 + len, 30));
            byte[] more = Arrays.copyOfRange(holder.bytearray, 10, 10 + len);
            byte[] joined = Arrays.copyOf(received, received.length + len);
            System.arraycopy(more, 0, joined, received.length, len);
            received = joined;
        }
        assertArrayEquals(sent, received);
        assertEquals(OK, jni.usbClose(handle));
    }

    @Test
    void echoDeviceAnswersWhatJavaWrote() throws Exception {
        int handle = open("plugA", 1, ECHO);
        assertEquals(OK, jni.usbSetSerial(handle, 9600, 0, 8, 1, false, false));
        byte[] ping = {0, (byte) 0xFF, '\r', '\n', 0x11, 0x13};
        assertEquals("{\"Result\":0,\"Len\":6}", jni.usbWrite(handle, ping, 0, ping.length));
        byte[] back = new byte[0];
        while (back.length < ping.length) {
            ByteHolder holder = new ByteHolder();
            String answer = jni.usbRead(handle, holder, 0, 16, 5);
            int len = Integer.parseInt(answer.replaceAll("\\{\"Result\":0,\"Len\":(\\d+)\\}", "$1"));
            byte[] joined = Arrays.copyOf(back, back.length + len);
            System.arraycopy(holder.bytearray, 0, joined, back.length, len);
            back = joined;
        }
        assertArrayEquals(ping, back);
        assertEquals(OK, jni.usbClose(handle));
    }

    @Test
    void writeBeyondTheArrayIsRefusedBeforeAnythingIsSent() throws Exception {
        int handle = open("plugW", 2, HOST);
        assertEquals(OK, jni.usbSetSerial(handle, 115200, 0, 8, 1, false, false));
        long mark = trace.mark();
        // An offset or a count reaching beyond the array would read, trace and send memory that
        // Java never passed: refused as a write without a buffer, with nothing sent.
        assertEquals(LOCAL_FAILURE, jni.usbWrite(handle, new byte[16], 0x7FFF0000, 16));
        assertEquals(List.of(entry("usbWrite"), at("usbWrite", "iHandle", "\r\n iHandle = " + handle + " \r\n"),
                at("usbWrite", "iOffset", "\r\n iOffset = 2147418112 \r\n"),
                at("usbWrite", "iCount", "\r\n iCount = 16 \r\n"), reply("usbWrite", LOCAL_FAILURE)),
                records(mark, FILE));
        assertEquals(List.of(TraceRecord.lastWord(API, 1681, 1, handle, 0, 0x7FFF0000L, 16)), records(mark, API));
        assertEquals(LOCAL_FAILURE, jni.usbWrite(handle, new byte[16], 0, 4096));
        assertEquals(LOCAL_FAILURE, jni.usbWrite(handle, new byte[16], 8, 9));
        assertEquals(LOCAL_FAILURE, jni.usbWrite(handle, new byte[16], Integer.MAX_VALUE, Integer.MAX_VALUE));
        for (TraceRecord r : records(mark, API)) {
            assertFalse(r.text() != null && r.text().startsWith("ZX_JNI_UsbWrite: Len"), "nothing traced: " + r);
        }
        // The first bytes the device sees are those of the next good write: nothing went before.
        byte[] tail = {1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 16};
        assertEquals("{\"Result\":0,\"Len\":8}", jni.usbWrite(handle, tail, 8, 8));
        assertArrayEquals(Arrays.copyOfRange(tail, 8, 16), deviceReceive(HOST, 8));
        assertEquals(OK, jni.usbClose(handle));
    }

    @Test
    void readIntoAHolderOfAnotherClassIsRefusedBeforeTheDeviceIsRead() throws Exception {
        int handle = open("plugR", 2, HOST);
        assertEquals(OK, jni.usbSetSerial(handle, 115200, 0, 8, 1, false, false));
        deviceSend(HOST, new byte[] {'a', 'b', 'c'});
        assertTrue(jni.usbDataAvailable(handle));
        long mark = trace.mark();
        // The data goes to the holder's byte[] "bytearray": an object without that field, or no
        // object, has nowhere to take it, and reading would lose the device's bytes.
        assertNull(jni.usbRead(handle, new Object(), 0, 3, 0));
        assertNull(jni.usbRead(handle, null, 0, 3, 0));
        assertNull(jni.usbRead(handle, "bytearray", 0, 3, 0));
        // offset + count longer than any Java array would overflow the array the data goes to.
        ByteHolder holder = new ByteHolder();
        assertNull(jni.usbRead(handle, holder, Integer.MAX_VALUE, 1, 0));
        assertNull(holder.bytearray);
        long illegal = records(mark, FILE).stream().filter(r -> "\r\n Illegal parameters !\r\n".equals(r.text())).count();
        assertEquals(4, illegal);
        assertTrue(records(mark, API).isEmpty(), "the platform function is not called");
        // The bytes are all still there for a proper holder.
        byte[] got = new byte[0];
        while (got.length < 3) {
            String answer = jni.usbRead(handle, holder, 0, 3, 5);
            int len = Integer.parseInt(answer.replaceAll("\\{\"Result\":0,\"Len\":(\\d+)\\}", "$1"));
            byte[] joined = Arrays.copyOf(got, got.length + len);
            System.arraycopy(holder.bytearray, 0, joined, got.length, len);
            got = joined;
        }
        assertArrayEquals(new byte[] {'a', 'b', 'c'}, got);
        assertEquals(OK, jni.usbClose(handle));
    }

    @Test
    void readParametersAreCheckedBeforeAnything() throws Exception {
        long mark = trace.mark();
        ByteHolder holder = new ByteHolder();
        assertNull(jni.usbRead(5, holder, 0, -1, 0));
        assertNull(holder.bytearray);
        List<TraceRecord> got = records(mark, FILE);
        assertEquals(List.of(entry("usbRead"), at("usbRead", "iHandle", "\r\n iHandle = 5 \r\n"),
                at("usbRead", "iOffset", "\r\n iOffset = 0 \r\n"),
                at("usbRead", "iCount", "\r\n iCount = 4294967295 \r\n"),
                at("usbRead", "iTimeOut", "\r\n iTimeOut = 0 \r\n"),
                at("usbRead", "Illegal parameters", "\r\n Illegal parameters !\r\n")), got);
        assertTrue(records(mark, API).isEmpty(), "the platform function is not called");
        assertNull(jni.usbRead(-1, holder, 0, 1, 0));
        assertNull(jni.usbRead(5, holder, -10, 1, 0));
        assertNull(jni.usbRead(5, holder, 0, 1, -1));
        assertNull(holder.bytearray);
    }

    @Test
    void pollFindsNothingAndTimeOutGivesMinusTwo() throws Exception {
        int handle = open("plugH", 2, HOST);
        assertEquals(OK, jni.usbSetSerial(handle, 9600, 0, 8, 1, false, false));
        ByteHolder holder = new ByteHolder();
        assertEquals("{\"Result\":0,\"Len\":0}", jni.usbRead(handle, holder, 10, 20, 0));
        assertArrayEquals(new byte[30], holder.bytearray);
        ByteHolder later = new ByteHolder();
        assertEquals("{\"Result\":-2,\"FailReason\":\"\"}", jni.usbRead(handle, later, 0, 4, 5));
        assertArrayEquals(new byte[4], later.bytearray);
        ByteHolder empty = new ByteHolder();
        assertEquals("{\"Result\":0,\"Len\":0}", jni.usbRead(handle, empty, 0, 0, 0));
        assertEquals(0, empty.bytearray.length);
        assertEquals(OK, jni.usbClose(handle));
    }

    @Test
    void dataAvailableRefusesHandlesAbove51579() throws Exception {
        long mark = trace.mark();
        assertFalse(jni.usbDataAvailable(51580));
        List<TraceRecord> api = records(mark, API);
        assertEquals(List.of(TraceRecord.lastWord1(API, 1519, 1)), api);
        List<TraceRecord> got = records(mark, FILE);
        assertEquals(List.of(entry("usbDataAvailable"),
                at("usbDataAvailable", "iHandle", "\r\n iHandle = 51580 \r\n"),
                at("usbDataAvailable", "ZX_JNI_UsbDataAvailable %u", "ZX_JNI_UsbDataAvailable 0\n")), got);
    }

    @Test
    void failingOpenReturnsNullAndTracesAnEmptyLine() throws Exception {
        ctl().inject("usb_mngt", USB_OPEN, Fault.status(0xF7F00002L, 1));
        long mark = trace.mark();
        assertNull(jni.usbOpen(4));
        assertEquals(List.of(entry("usbOpen"), at("usbOpen", "iDevId", "\r\n iDevId = 4 \r\n"),
                reply("usbOpen", "")), records(mark, FILE));
    }

    @Test
    void failedOpenAfterAGoodAnswerIsToldInTheText() throws Exception {
        assertEquals(OK, jni.usbRegister("plugH", 2));
        assertEquals(OK, jni.usbLock(ABSENT));
        assertEquals(LOCAL_FAILURE, jni.usbOpen(ABSENT));
    }

    @Test
    void lockConflictBetweenTwoPlugIns() throws Exception {
        assertEquals(OK, jni.usbRegister("plugA", 1));
        assertEquals(OK, jni.usbLock(ECHO));
        assertEquals(OK, jni.usbRegister("plugB", 1));
        String refused = "{\"Result\":-1,\"FailReason\":\"device 1 is locked by plugA\"}";
        assertEquals(refused, jni.usbLock(ECHO));
        assertEquals(refused, jni.usbUnlock(ECHO));
        assertEquals(refused, jni.usbOpen(ECHO));
        assertEquals(OK, jni.usbUnregister("plugB"));
        assertEquals(OK, jni.usbUnlock(ECHO));
        assertEquals(OK, jni.usbRegister("plugB", 1));
        assertEquals(OK, jni.usbLock(ECHO));
        assertEquals(0, jni.usbUnregisterAll());
        assertEquals("", ctl().usbLockedBy(ECHO));
    }

    @Test
    void registrationTracesAndNullPlugId() throws Exception {
        long mark = trace.mark();
        assertEquals(OK, jni.usbRegister("plugT", 7));
        assertEquals(List.of(
                at("usbRegister", "Binding<128> b(env, __LINE__,", "\r\n  Java_com_nodalis_deviceservice_impl_BaseServiceJNIMethods_usbRegister called \r\n"),
                at("usbRegister", "pcPlugId", "\r\n pcPlugId = plugT \r\n"),
                at("usbRegister", "iType", "\r\n iType = 7 \r\n"),
                reply("usbRegister", OK)), records(mark, FILE));

        mark = trace.mark();
        String unknown = "{\"Result\":-1,\"FailReason\":\"no such device 4294967295\"}";
        assertEquals(unknown, jni.usbUnlock(-1));
        assertEquals(List.of(
                at("usbUnlock", "Binding<128> b(env, __LINE__,", "\r\n Java_com_nodalis_deviceservice_impl_BaseServiceJNIMethods_usbUnlock  called \r\n"),
                at("usbUnlock", "iDevId", "\r\n iDevId = 4294967295  \r\n"),
                reply("usbUnlock", unknown)), records(mark, FILE));

        ctl().clearRecords();
        mark = trace.mark();
        assertNull(jni.usbRegister(null, 1));
        assertNull(jni.usbUnregister(""));
        assertEquals(List.of(
                TraceRecord.lastWord1(FILE, line("usbRegister", "last_word(__LINE__, 1)"), 1),
                TraceRecord.lastWord1(FILE, line("usbUnregister", "last_word(__LINE__, 1)"), 1)), records(mark, FILE));
        assertTrue(ctl().received("usb_mngt").isEmpty(), "nothing reached usb_mngt");
    }

    @Test
    void unregisterAllReturnsTheServiceCode() throws Exception {
        ctl().inject("usb_mngt", USB_UNREGISTER_ALL, Fault.status(0xF7F00002L, 1));
        assertEquals(0xF7F00002, jni.usbUnregisterAll());
        assertEquals(0, jni.usbUnregisterAll());
    }

    @Test
    void serialSettingsAsTheTerminalHoldsThem() throws Exception {
        int handle = open("plugH", 2, HOST);
        assertEquals(OK, jni.usbSetSerial(handle, 38400, 2, 8, 2, false, true));
        String words = stty(HOST);
        assertTrue(words.contains("speed 38400 baud"), words);
        for (String w : List.of("parodd", "cstopb", "inpck", "ixon", "ixoff", "ixany", "-icrnl", "-icanon", "-isig",
                "-echo", "-echoe", "-opost", "min = 0")) {
            assertTrue(words.contains(" " + w + " "), w + " in" + words);
        }
        assertEquals(OK, jni.usbSetSerial(handle, 19200, 0, 8, 1, false, false));
        words = stty(HOST);
        assertTrue(words.contains("speed 19200 baud"), words);
        // Parity 0 clears only PARENB: odd parity and the input check stay as they were.
        for (String w : List.of("parodd", "inpck", "-cstopb", "-ixon", "-ixoff", "-ixany")) {
            assertTrue(words.contains(" " + w + " "), w + " in" + words);
        }
        // Rejected settings never reach the terminal.
        assertEquals(LOCAL_FAILURE, jni.usbSetSerial(handle, 14400, 0, 8, 1, false, false));
        assertEquals(LOCAL_FAILURE, jni.usbSetSerial(handle, 9600, 0, 9, 1, false, false));
        assertEquals(LOCAL_FAILURE, jni.usbSetSerial(handle, 9600, 0, 8, 3, false, false));
        assertEquals(LOCAL_FAILURE, jni.usbSetSerial(handle, 9600, 5, 8, 1, false, false));
        assertTrue(stty(HOST).contains("speed 19200 baud"));
        assertEquals(OK, jni.usbClose(handle));
        assertNotNull(jni.usbClose(handle), "a second close is told in the text");
    }
}
