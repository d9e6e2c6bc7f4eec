package com.zentrix.nodalis.bridgetest.storage;

import static com.zentrix.nodalis.bridgetest.support.BindingSource.FILE;
import static com.zentrix.nodalis.bridgetest.support.BindingSource.at;
import static org.junit.jupiter.api.Assertions.assertArrayEquals;
import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertFalse;
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
import java.io.File;
import java.io.IOException;
import java.nio.charset.StandardCharsets;
import java.nio.file.Files;
import java.nio.file.Path;
import java.util.ArrayList;
import java.util.Comparator;
import java.util.List;
import java.util.stream.Stream;
import org.junit.jupiter.api.BeforeEach;
import org.junit.jupiter.api.Test;
import org.junit.jupiter.api.extension.RegisterExtension;

/**
 * The storage and media natives of BaseServiceJNIMethods against the simulated USB manager and
 * configuration service, whose discs are directories under the suite's gateway root: the volume
 * lines with the space java.io.File sees, label changes by name and by path, mount paths, the
 * scanner's switch, its file lists and its counts, with the bindings' traces.
 */
class StorageBindingsTest {
    @RegisterExtension
    static final GatewayExtension gateway = new GatewayExtension(List.of("app_m", "usb_mngt"));

    private static final long SCAN_SWITCH = 0x47103056L;
    private static final long SCAN_LIST = 0x47103057L;
    private static final long MEDIA_COUNTS = 0x472090A0L;
    private static final long DISC_INFO = 0x47103067L;
    private static final long RENAME = 0x47103065L;
    private static final long RENAME_BY_PATH = 0x47103068L;
    private static final long MOUNT_PATH = 0x47103066L;
    private static final String FAILURE = "{\"Result\":-1, \"FailReason\":\"\"}";

    private final BaseServiceJNIMethods jni = new BaseServiceJNIMethods();
    private final TraceFile trace = TraceFile.fromEnvironment();

    private static SimControl ctl() {
        return gateway.ctl();
    }

    private static Path root() {
        return Path.of(System.getenv("ZX_ROOT"));
    }

    private static Path disc1() {
        return root().resolve("mnt/usb1_1");
    }

    private static Path disc2() {
        return root().resolve("mnt/usb2_1");
    }

    /** The profile seeds the discs with media files: each test starts from empty discs. */
    @BeforeEach
    void emptyTheDiscs() throws IOException {
        for (Path disc : List.of(disc1(), disc2())) {
            if (!Files.isDirectory(disc)) continue;
            try (Stream<Path> all = Files.walk(disc)) {
                for (Path p : all.sorted(Comparator.reverseOrder()).toList()) {
                    if (!p.equals(disc)) Files.delete(p);
                }
            }
        }
    }

    private List<TraceRecord> bindingRecords(long mark) throws IOException {
        return trace.since(mark, FILE);
    }

    private static void touch(Path dir, String... names) throws IOException {
        Files.createDirectories(dir);
        for (String n : names) Files.writeString(dir.resolve(n), "media");
    }

    private static byte[] field(String text, int size) {
        byte[] b = new byte[size];
        byte[] t = text.getBytes(StandardCharsets.UTF_8);
        System.arraycopy(t, 0, b, 0, Math.min(t.length, size));
        return b;
    }

    private static byte[] concat(byte[] a, byte[] b) {
        byte[] out = new byte[a.length + b.length];
        System.arraycopy(a, 0, out, 0, a.length);
        System.arraycopy(b, 0, out, a.length, b.length);
        return out;
    }

    private static String discName(int index) throws IOException {
        return ctl().state("usb_mngt").getAsJsonArray("discs").get(index).getAsJsonObject().get("name").getAsString();
    }

    // ---- volumes -------------------------------------------------------------------------------

    @Test
    void twoDiscsGiveTwoLinesOfSixFieldsWithTheirSpace() throws Exception {
        long mark = trace.mark();
        String[] lines = jni.queryVolumeLabelInfo();
        assertNotNull(lines);
        assertEquals(2, lines.length);
        List<Path> mounts = List.of(disc1(), disc2());
        String[][] texts = {{"USB_DISK1", "vfat"}, {"BACKUP", "ext4"}};
        for (int i = 0; i < 2; i++) {
            String[] f = lines[i].split(";", -1);
            assertEquals(6, f.length, lines[i]);
            assertEquals(texts[i][0], f[0]);
            assertEquals(texts[i][1], f[1]);
            assertEquals(mounts.get(i).toString(), f[2]);
            File judge = mounts.get(i).toFile();
            long total = Long.parseUnsignedLong(f[3]);
            long used = Long.parseUnsignedLong(f[4]);
            long free = Long.parseUnsignedLong(f[5]);
            assertEquals(judge.getTotalSpace(), total, "total as java.io.File sees it");
            assertEquals(total, used + free);
            assertTrue(Math.abs(judge.getFreeSpace() - free) < 64L << 20, "free " + free + " vs " + judge.getFreeSpace());
        }
        List<TraceRecord> records = bindingRecords(mark);
        assertEquals(4, records.size());
        assertEquals(at("queryVolumeLabelInfo", "ZX_JNI_getDiscInfo ret", "\r\n ZX_JNI_getDiscInfo ret: 0 \r\n"),
                records.get(1));
        assertEquals(at("queryVolumeLabelInfo", "\"\\r\\n%s\\r\\n\"", "\r\n" + lines[1] + "\r\n"), records.get(3));
        List<byte[]> got = ctl().payloads("usb_mngt", DISC_INFO);
        assertEquals(1, got.size());
        assertArrayEquals("input".getBytes(StandardCharsets.US_ASCII), got.get(0));
    }

    @Test
    void noDiscsGiveAnEmptyArrayAndAFailureNull() throws Exception {
        ctl().set("usb_mngt", "discs", new JsonArray());
        String[] lines = jni.queryVolumeLabelInfo();
        assertNotNull(lines);
        assertEquals(0, lines.length);
        ctl().inject("usb_mngt", DISC_INFO, Fault.status(0xF7104003L, 1));
        assertNull(jni.queryVolumeLabelInfo());
    }

    // As many lines as the list holds, each a Java string of its own (and no JNI complaint about
    // the references they take), full-length texts kept whole.
    @Test
    void thirtyTwoDiscsGiveThirtyTwoLines() throws Exception {
        JsonArray discs = new JsonArray();
        for (int i = 0; i < 32; i++) {
            JsonObject d = new JsonObject();
            d.addProperty("name", String.format("D%02d", i) + "L".repeat(60));
            d.addProperty("fsType", "f".repeat(31));
            d.addProperty("mount", "/mnt/many/" + i);
            discs.add(d);
        }
        ctl().set("usb_mngt", "discs", discs);
        String[] lines = jni.queryVolumeLabelInfo();
        assertNotNull(lines);
        assertEquals(32, lines.length);
        for (int i = 0; i < 32; i++) {
            String[] f = lines[i].split(";", -1);
            assertEquals(6, f.length, lines[i]);
            assertEquals(String.format("D%02d", i) + "L".repeat(60), f[0]);
            assertEquals("f".repeat(31), f[1]);
            assertEquals(root().resolve("mnt/many/" + i).toString(), f[2]);
        }
    }

    @Test
    void labelsChangeByNameAndByPath() throws Exception {
        long mark = trace.mark();
        assertTrue(jni.changeVolumeLabelName("USB_DISK1", "PHOTOS"));
        assertEquals(List.of(at("changeVolumeLabelName", "trace_entry(\"changeVolumeLabelName\"",
                "\r\n Java_com_nodalis_deviceservice_impl_BaseServiceJNIMethods_changeVolumeLabelName called \r\n")),
                bindingRecords(mark));
        assertEquals("PHOTOS", discName(0));
        assertArrayEquals(concat(field("USB_DISK1", 64), field("PHOTOS", 64)), ctl().payloads("usb_mngt", RENAME).get(0));
        assertTrue(jni.changeVolumeLabelNameByPath(disc2().toString(), "ARCHIVE"));
        assertEquals("ARCHIVE", discName(1));
        assertArrayEquals(concat(field(disc2().toString(), 64), field("ARCHIVE", 64)),
                ctl().payloads("usb_mngt", RENAME_BY_PATH).get(0));
        assertEquals("ARCHIVE", jni.queryVolumeLabelInfo()[1].split(";")[0]);
        assertFalse(jni.changeVolumeLabelName("NO_SUCH_DISC", "X"));
        assertFalse(jni.changeVolumeLabelNameByPath("/mnt/nowhere", "X"));
        assertFalse(jni.changeVolumeLabelName("PHOTOS", "a/b"), "a name with a slash is refused");
        assertEquals("PHOTOS", discName(0));
        // A name of 64 characters does not fit its half of the request: the service gets 63.
        assertTrue(jni.changeVolumeLabelName("PHOTOS", "N".repeat(64)));
        assertEquals("N".repeat(63), discName(0));
        ctl().clearRecords();
        assertFalse(jni.changeVolumeLabelName(null, "X"));
        assertFalse(jni.changeVolumeLabelName("PHOTOS", null));
        assertFalse(jni.changeVolumeLabelNameByPath("", "X"));
        assertFalse(jni.changeVolumeLabelNameByPath(disc1().toString(), null));
        assertTrue(ctl().received("usb_mngt").isEmpty(), "nothing is sent without both texts");
    }

    @Test
    void mountPathsByName() throws Exception {
        long mark = trace.mark();
        assertEquals(disc2().toString(), jni.getVolumeLabelMntPath("BACKUP"));
        assertEquals(List.of(at("getVolumeLabelMntPath", "trace_entry(\"getVolumeLabelMntPath\"",
                "\r\n Java_com_nodalis_deviceservice_impl_BaseServiceJNIMethods_getVolumeLabelMntPath called \r\n")),
                bindingRecords(mark));
        assertArrayEquals(field("BACKUP", 64), ctl().payloads("usb_mngt", MOUNT_PATH).get(0));
        assertNull(jni.getVolumeLabelMntPath("NO_SUCH_DISC"));
        assertNull(jni.getVolumeLabelMntPath(null));
        assertNull(jni.getVolumeLabelMntPath(""));
        assertEquals(1, ctl().payloads("usb_mngt", MOUNT_PATH).size(), "only the unknown name was asked for");
        assertNull(jni.getVolumeLabelMntPath("\uD800" + "Z".repeat(1_000_000)));
    }

    // ---- media scanner -------------------------------------------------------------------------

    @Test
    void countsPrintTheVideosFirst() throws Exception {
        touch(disc1(), "a.jpg", "b.PNG", "c.gif", "v1.mp4", "v2.mkv", "song1.mp3", "song2.flac", "notes.txt");
        touch(disc1().resolve("deep/er"), "v3.avi", "v4.MOV", "s3.wav", "s4.aac", "s5.m4a");
        touch(disc2(), "v5.ts", "s6.ogg", "s7.wma", "readme");
        long mark = trace.mark();
        String[] counts = jni.getMediaFilesInfo();
        assertNotNull(counts);
        assertArrayEquals(new String[] {"video:5;picture:3;music:7"}, counts);
        assertEquals(List.of(
                at("getMediaFilesInfo", "Binding<kMediaLineSize>",
                        "\r\n Java_com_nodalis_deviceservice_impl_BaseServiceJNIMethods_getMediaFilesInfo called \r\n"),
                at("getMediaFilesInfo", "ZX_JNI_GetMediaFilesInfo ret", "\r\n ZX_JNI_GetMediaFilesInfo ret: 0 \r\n"),
                at("getMediaFilesInfo", "\"\\r\\n%s\\r\\n\"", "\r\nvideo:5;picture:3;music:7\r\n")),
                bindingRecords(mark));
        assertArrayEquals(new byte[4], ctl().payloads("app_m", MEDIA_COUNTS).get(0), "the request is a zero word");
        ctl().inject("app_m", MEDIA_COUNTS, Fault.status(0xF7105001L, 1));
        assertNull(jni.getMediaFilesInfo());
    }

    @Test
    void theSwitchTurnsTheScannerOffAndOn() throws Exception {
        touch(disc1(), "v.mp4");
        long mark = trace.mark();
        jni.setFilesScanSwitch(0);
        assertEquals(0, ctl().state("app_m").get("filesScan").getAsInt());
        assertEquals(List.of(
                new TraceRecord("T", 249, FILE, com.zentrix.nodalis.bridgetest.support.BindingSource.line(
                        "setFilesScanSwitch", "kScannerEntry"), 0,
                        "\r\n com_nodalis_deviceservice_impl_BaseServiceJNIMethods called \r\n", 0, List.of()),
                at("setFilesScanSwitch", "switcher = %u", "\r\n  switcher = 0 \r\n"),
                at("setFilesScanSwitch", "ZX_JNI_setFilesScanSwitch ret", " ZX_JNI_setFilesScanSwitch ret: 0 buff:{\"Result\":0}"),
                at("setFilesScanSwitch", "returned = %s", "\r\n  returned = {\"Result\":0} \r\n")),
                bindingRecords(mark));
        assertArrayEquals(new byte[4], ctl().payloads("app_m", SCAN_SWITCH).get(0));
        assertArrayEquals(new String[] {"video:0;picture:0;music:0"}, jni.getMediaFilesInfo());
        assertEquals(FAILURE, jni.getFilesScanListByType("video"), "no lists while it is off");
        jni.setFilesScanSwitch(1);
        assertArrayEquals(new String[] {"video:1;picture:0;music:0"}, jni.getMediaFilesInfo());
    }

    @Test
    void aSwitchValueTheServiceRefusesOrAFailedCallIsOnlyTraced() throws Exception {
        long mark = trace.mark();
        jni.setFilesScanSwitch(7);
        List<TraceRecord> records = bindingRecords(mark);
        assertEquals(at("setFilesScanSwitch", "returned = %s",
                "\r\n  returned = {\"Result\":-1,\"FailReason\":\"invalid switch value\"} \r\n"), records.get(3));
        assertEquals(1, ctl().state("app_m").get("filesScan").getAsInt());
        ctl().inject("app_m", SCAN_SWITCH, Fault.status(0xF7105009L, 1));
        mark = trace.mark();
        jni.setFilesScanSwitch(-1);
        records = bindingRecords(mark);
        assertEquals(at("setFilesScanSwitch", "switcher = %u", "\r\n  switcher = 4294967295 \r\n"), records.get(1));
        assertEquals(at("setFilesScanSwitch", "returned = %s", "\r\n  returned = " + (int) 0xF7105009L + " \r\n"),
                records.get(3));
    }

    @Test
    void aListWithoutItsNulIsReturnedWhole() throws Exception {
        touch(disc2(), "z.mp3", "a.MP3");
        touch(disc1(), "m.ogg");
        long mark = trace.mark();
        String list = jni.getFilesScanListByType("music");
        assertNotNull(list);
        JsonObject parsed = JsonParser.parseString(list).getAsJsonObject();
        assertEquals(0, parsed.get("Result").getAsInt());
        assertEquals("music", parsed.get("Type").getAsString());
        List<String> files = new ArrayList<>();
        for (var f : parsed.getAsJsonArray("Files")) files.add(f.getAsString());
        List<String> expected = new ArrayList<>(List.of(disc1().resolve("m.ogg").toString(),
                disc2().resolve("a.MP3").toString(), disc2().resolve("z.mp3").toString()));
        expected.sort(null);
        assertEquals(expected, files);
        assertTrue(list.endsWith("]}"), "nothing cut, nothing after the text: " + list);
        assertEquals(List.of(
                new TraceRecord("T", 249, FILE, com.zentrix.nodalis.bridgetest.support.BindingSource.line(
                        "getFilesScanListByType", "kScannerEntry"), 0,
                        "\r\n com_nodalis_deviceservice_impl_BaseServiceJNIMethods called \r\n", 0, List.of()),
                at("getFilesScanListByType", "pFileType = %s", "pFileType = music"),
                at("getFilesScanListByType", "ZX_JNI_getFilesScanListByType ret",
                        "\r\n ZX_JNI_getFilesScanListByType ret: 0 \r\n")),
                bindingRecords(mark));
        assertArrayEquals("music".getBytes(StandardCharsets.US_ASCII), ctl().payloads("app_m", SCAN_LIST).get(0),
                "the type without its NUL");
    }

    @Test
    void failedListsAreTheFixedTextAndANullTypeIsNull() throws Exception {
        assertEquals(FAILURE, jni.getFilesScanListByType("films"));
        assertEquals(FAILURE, jni.getFilesScanListByType("\uD800" + "v".repeat(500_000)));
        long mark = trace.mark();
        assertNull(jni.getFilesScanListByType(null));
        assertNull(jni.getFilesScanListByType(""));
        assertEquals(2, bindingRecords(mark).size(), "only the entry text, twice");
        ctl().clearRecords();
        assertNull(jni.getFilesScanListByType(null));
        assertTrue(ctl().received("app_m").isEmpty());
    }
}
