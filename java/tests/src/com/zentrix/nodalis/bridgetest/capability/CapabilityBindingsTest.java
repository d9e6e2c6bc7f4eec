package com.zentrix.nodalis.bridgetest.capability;

import static com.zentrix.nodalis.bridgetest.support.BindingSource.FILE;
import static com.zentrix.nodalis.bridgetest.support.BindingSource.at;
import static com.zentrix.nodalis.bridgetest.support.BindingSource.line;
import static org.junit.jupiter.api.Assertions.assertArrayEquals;
import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertFalse;
import static org.junit.jupiter.api.Assertions.assertTrue;

import com.google.gson.JsonArray;
import com.google.gson.JsonElement;
import com.google.gson.JsonObject;
import com.google.gson.JsonParser;
import com.zentrix.nodalis.bridgetest.support.GatewayExtension;
import com.zentrix.nodalis.bridgetest.support.SimControl;
import com.zentrix.nodalis.bridgetest.support.SimControl.Fault;
import com.zentrix.nodalis.bridgetest.support.TraceFile;
import com.zentrix.nodalis.bridgetest.support.TraceFile.TraceRecord;
import com.zentrix.nodalis.deviceservice.impl.BaseServiceJNIMethods;
import java.io.IOException;
import java.nio.file.Files;
import java.nio.file.Path;
import java.util.ArrayList;
import java.util.HexFormat;
import java.util.List;
import java.util.Map;
import java.util.TreeMap;
import org.junit.jupiter.api.AfterEach;
import org.junit.jupiter.api.BeforeEach;
import org.junit.jupiter.api.Test;
import org.junit.jupiter.api.extension.RegisterExtension;

/**
 * The capability, permission and voice natives of BaseServiceJNIMethods against the simulated
 * bundle manager and voice service: feature switches and the API list path from the gateway
 * profile, the plug-in permissions read through the System V segment the native creates (its size
 * as the bundle manager received it, and no segment left after any path, as the kernel lists
 * them), and the do-not-disturb state of the telephone lines.
 */
class CapabilityBindingsTest {
    @RegisterExtension
    static final GatewayExtension gateway = new GatewayExtension(List.of("osgi_proxy", "voice"));

    private static final long DU_COUNT = 0x4720902AL;
    private static final long PERMISSIONS = 0x47209031L;
    private static final long SET_DND = 0x47209064L;
    private static final long GET_DND = 0x47209065L;
    private static final long SEGMENT_KEY = 0xD6EC6L;
    private static final String FAULT = "{ \"Result\": -1 }";

    private final BaseServiceJNIMethods jni = new BaseServiceJNIMethods();
    private final TraceFile trace = TraceFile.fromEnvironment();

    private static SimControl ctl() {
        return gateway.ctl();
    }

    private List<TraceRecord> bindingRecords(long mark) throws IOException {
        return trace.since(mark, FILE);
    }

    private static int word(byte[] b, int at) {
        return (b[at] & 0xFF) | (b[at + 1] & 0xFF) << 8 | (b[at + 2] & 0xFF) << 16 | (b[at + 3] & 0xFF) << 24;
    }

    private static byte[] words(int... values) {
        byte[] b = new byte[4 * values.length];
        for (int i = 0; i < values.length; i++) {
            for (int k = 0; k < 4; k++) b[4 * i + k] = (byte) (values[i] >>> (8 * k));
        }
        return b;
    }

    /** The System V segments with the permission key, as the kernel lists them. */
    private static int segmentsWithTheKey() throws IOException {
        int n = 0;
        List<String> rows = Files.readAllLines(Path.of("/proc/sysvipc/shm"));
        for (String row : rows.subList(1, rows.size())) {
            String[] f = row.trim().split("\\s+");
            if (Long.parseLong(f[0]) == SEGMENT_KEY) n++;
        }
        return n;
    }

    /** Runs a perl line (perl's shmget and shmctl are the System V calls themselves). */
    private static void perl(String script) throws Exception {
        Process p = new ProcessBuilder("perl", "-e", script).redirectErrorStream(true).start();
        String out = new String(p.getInputStream().readAllBytes());
        assertEquals(0, p.waitFor(), "perl: " + out);
    }

    private static JsonObject bundle(String state, String... permissions) {
        JsonObject b = new JsonObject();
        b.addProperty("version", "1.0.0");
        b.addProperty("state", state);
        JsonArray p = new JsonArray();
        for (String s : permissions) p.add(s);
        b.add("permissions", p);
        return b;
    }

    /** Three installed units and two that do not count. */
    private static void threeUnits() throws IOException {
        JsonObject bundles = new JsonObject();
        bundles.add("weather", bundle("ACTIVE", "usb.access"));
        bundles.add("backup", bundle("RESOLVED", "lan.hosts.read", "usb.access"));
        bundles.add("meter", bundle("ACTIVE", "basic"));
        bundles.add("coming", bundle("INSTALLING"));
        bundles.add("gone", bundle("UNINSTALLED"));
        ctl().set("osgi_proxy", "bundles", bundles);
    }

    @BeforeEach
    void noSegmentBefore() throws IOException {
        assertEquals(0, segmentsWithTheKey(), "a permission segment exists before the test");
    }

    @AfterEach
    void noSegmentAfter() throws IOException {
        assertEquals(0, segmentsWithTheKey(), "a permission segment was left behind");
    }

    // ---- feature switches and the API list -----------------------------------------------------

    @Test
    void featureSwitchesAreWhatTheProfileSays() throws Exception {
        long mark = trace.mark();
        assertEquals(1, jni.getFeatureSwitch("FT_PLUGIN_PERMISSION_ENABLE"));
        assertEquals(List.of(at("getFeatureSwitch", "IntBinding b(\"getFeatureSwitch\"",
                "\r\n Java_com_nodalis_deviceservice_impl_BaseServiceJNIMethods_getFeatureSwitch called \r\n")),
                bindingRecords(mark));
        assertEquals(0, jni.getFeatureSwitch("FT_CWMP_OPCO_RMS"));
        int unknown = jni.getFeatureSwitch("FT_NO_SUCH_FEATURE");
        assertTrue(unknown != 1, "an unknown feature is not on: " + unknown);
        assertEquals(unknown, jni.getFeatureSwitch("\uD800" + "F".repeat(1_000_000)));
        mark = trace.mark();
        assertEquals(1, jni.getFeatureSwitch(null));
        assertEquals(1, jni.getFeatureSwitch(""));
        TraceRecord missing = TraceRecord.lastWord1(FILE, line("getFeatureSwitch", "missing_argument(1, __LINE__)"), 1);
        assertEquals(List.of(missing, missing), bindingRecords(mark));
    }

    @Test
    void theApiListLiesInTheCustomisationDirectory() throws Exception {
        long mark = trace.mark();
        assertEquals("/etc/wap/customize/plugin_apilist.json", jni.getAPIFilePath());
        assertEquals(List.of(at("getAPIFilePath", "Binding<64> b(env, \"getAPIFilePath\"",
                "\r\n Java_com_nodalis_deviceservice_impl_BaseServiceJNIMethods_getAPIFilePath called \r\n")),
                bindingRecords(mark));
    }

    // ---- plug-in permissions -------------------------------------------------------------------

    @Test
    void threeUnitsAreReadThroughA6510ByteSegment() throws Exception {
        threeUnits();
        long mark = trace.mark();
        String text = jni.getPluginPermissions();
        assertTrue(bindingRecords(mark).isEmpty(), "a good read records nothing");
        Map<String, List<String>> got = new TreeMap<>();
        for (JsonElement e : JsonParser.parseString(text).getAsJsonArray()) {
            List<String> perms = new ArrayList<>();
            for (JsonElement p : e.getAsJsonObject().getAsJsonArray("Permissions")) perms.add(p.getAsString());
            got.put(e.getAsJsonObject().get("Name").getAsString(), perms);
        }
        assertEquals(Map.of("weather", List.of("usb.access"), "backup", List.of("lan.hosts.read", "usb.access"),
                "meter", List.of("basic")), got);
        List<Long> ids = new ArrayList<>();
        List<byte[]> sizes = new ArrayList<>();
        for (var e : ctl().received("osgi_proxy")) {
            JsonObject r = e.getAsJsonObject();
            ids.add(r.get("msgId").getAsLong());
            if (r.get("msgId").getAsLong() == PERMISSIONS) sizes.add(HexFormat.of().parseHex(r.get("data").getAsString()));
        }
        assertTrue(ids.contains(DU_COUNT) && ids.indexOf(DU_COUNT) < ids.indexOf(PERMISSIONS), ids.toString());
        assertEquals(1, sizes.size());
        assertArrayEquals(words(6510), sizes.get(0), "the size word the bundle manager received");
    }

    @Test
    void aFailedCountIsTheFaultTextWithoutASegment() throws Exception {
        threeUnits();
        ctl().inject("osgi_proxy", DU_COUNT, Fault.status(0xF7213003L, 1));
        long mark = trace.mark();
        assertEquals(FAULT, jni.getPluginPermissions());
        assertEquals(List.of(TraceRecord.lastWord1(FILE, line("getPluginPermissions", "last_word(__LINE__, counted)"),
                0xF7213003L)), bindingRecords(mark));
        assertTrue(ctl().payloads("osgi_proxy", PERMISSIONS).isEmpty());
    }

    @Test
    void noUnitsIsTheFaultTextWithoutASegment() throws Exception {
        ctl().set("osgi_proxy", "bundles", new JsonObject());
        long mark = trace.mark();
        assertEquals(FAULT, jni.getPluginPermissions());
        assertEquals(List.of(TraceRecord.lastWord1(FILE, line("getPluginPermissions", "no deployment unit"),
                0xFFFFFFFFL)), bindingRecords(mark));
        assertTrue(ctl().payloads("osgi_proxy", PERMISSIONS).isEmpty());
    }

    // A smaller segment under the key already exists: the native's segment cannot be had.
    @Test
    void aSegmentThatCannotBeHadIsTheFaultText() throws Exception {
        threeUnits();
        perl("shmget(0xD6EC6, 100, 0x3FF) // die \"shmget: $!\"");
        try {
            long mark = trace.mark();
            assertEquals(FAULT, jni.getPluginPermissions());
            assertEquals(List.of(TraceRecord.lastWord(FILE, line("getPluginPermissions", "if (!segment) return"),
                    0xFFFFFFFFL, 22 /* EINVAL: larger than the segment */, 6510, 0, 0)), bindingRecords(mark));
            assertTrue(ctl().payloads("osgi_proxy", PERMISSIONS).isEmpty());
            assertEquals(1, segmentsWithTheKey(), "only the test's own segment");
        } finally {
            perl("my $id = shmget(0xD6EC6, 0, 0); defined $id or die; shmctl($id, 0, 0) or die \"shmctl: $!\"");
        }
    }

    @Test
    void aRefusedFillIsTheFaultTextAndTheSegmentIsGone() throws Exception {
        threeUnits();
        ctl().inject("osgi_proxy", PERMISSIONS, Fault.status(0xF7213011L, 1));
        long mark = trace.mark();
        assertEquals(FAULT, jni.getPluginPermissions());
        List<TraceRecord> records = bindingRecords(mark);
        assertEquals(1, records.size());
        TraceRecord r = records.get(0);
        assertEquals(line("getPluginPermissions", "if (filled != 0) return"), r.line());
        assertEquals(0xF7213011L, r.code());
        assertEquals(List.of(6510L, 0L, 0L), r.data().subList(1, 4));
    }

    @Test
    void permissionsWithoutTheBundleManagerAreTheFaultText() throws Exception {
        ctl().inject("osgi_proxy", DU_COUNT, Fault.status(0xF7801303L, 1));
        assertEquals(FAULT, jni.getPluginPermissions());
    }

    // ---- voice ---------------------------------------------------------------------------------

    @Test
    void doNotDisturbIsSetAndReadPerLine() throws Exception {
        long mark = trace.mark();
        assertEquals(0, jni.voiceSetPOTSDoNotDisturb(2, 1));
        assertTrue(bindingRecords(mark).isEmpty(), "no traces");
        assertArrayEquals(words(2, 1), ctl().payloads("voice", SET_DND).get(0));
        JsonArray lines = ctl().state("voice").getAsJsonArray("potsLines");
        assertEquals(1, lines.get(1).getAsJsonObject().get("dnd").getAsInt());
        assertEquals(0, lines.get(0).getAsJsonObject().get("dnd").getAsInt());
        assertEquals("{ \"Result\": 0, \"State\": 1 }", jni.voiceGetPOTSDoNotDisturbState(2));
        assertArrayEquals(words(2), ctl().payloads("voice", GET_DND).get(0));
        assertEquals("{ \"Result\": 0, \"State\": 0 }", jni.voiceGetPOTSDoNotDisturbState(1));
        assertEquals(0, jni.voiceSetPOTSDoNotDisturb(2, 0));
        assertEquals("{ \"Result\": 0, \"State\": 0 }", jni.voiceGetPOTSDoNotDisturbState(2));
    }

    @Test
    void aThirdLineOrABadStateIsRefused() throws Exception {
        long mark = trace.mark();
        assertEquals(-1, jni.voiceSetPOTSDoNotDisturb(3, 1));
        assertEquals(List.of(TraceRecord.lastWord1(FILE,
                line("voiceSetPOTSDoNotDisturb", "last_word(__LINE__, code)"), 0xF7209001L)), bindingRecords(mark));
        assertEquals(-1, jni.voiceSetPOTSDoNotDisturb(1, 2));
        assertEquals(-1, jni.voiceSetPOTSDoNotDisturb(-1, -1));
        mark = trace.mark();
        assertEquals("{ \"Result\": 1, \"State\": 0 }", jni.voiceGetPOTSDoNotDisturbState(3));
        assertEquals(List.of(TraceRecord.lastWord1(FILE,
                line("voiceGetPOTSDoNotDisturbState", "last_word(__LINE__, code)"), 0xF7209001L)), bindingRecords(mark));
        assertFalse(ctl().state("voice").toString().contains("\"dnd\":2"));
    }
}
