package com.zentrix.nodalis.bridgetest.bundle;

import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertTrue;

import com.google.gson.JsonArray;
import com.google.gson.JsonObject;
import com.google.gson.JsonParser;
import com.google.gson.JsonPrimitive;
import com.zentrix.nodalis.bridgetest.support.GatewayExtension;
import com.zentrix.nodalis.bridgetest.support.SimControl;
import com.zentrix.nodalis.bridgetest.support.TraceFile;
import com.zentrix.nodalis.bridgetest.support.TraceFile.TraceRecord;
import com.zentrix.nodalis.deviceservice.opco.wap.velm.jni.IBundleManageServiceJNI;
import java.io.IOException;
import java.nio.charset.StandardCharsets;
import java.nio.file.Files;
import java.nio.file.Path;
import java.util.ArrayList;
import java.util.List;
import java.util.concurrent.CyclicBarrier;
import java.util.concurrent.ExecutorService;
import java.util.concurrent.Executors;
import java.util.concurrent.Future;
import java.util.concurrent.TimeUnit;
import java.util.regex.Matcher;
import java.util.regex.Pattern;
import org.junit.jupiter.api.BeforeEach;
import org.junit.jupiter.api.Test;
import org.junit.jupiter.api.extension.RegisterExtension;

/**
 * IBundleManageServiceJNI from Java through the bridge to the simulated bundle manager: installs
 * from package files with their start actions, the operations and their log lines, the codes the
 * bundle manager refuses with as Java results, both queries as json-c renders them, and eight
 * threads working at once.
 */
class BundleManageTest {
    @RegisterExtension
    static final GatewayExtension gateway = new GatewayExtension(List.of("osgi_proxy"));

    private static final String BINDINGS = "baseservice_jni";
    private static final String VELM = "../velm/zx_velm_jni_api";
    private static final long GENERAL = 0xFFFFFFFFL;
    private static final long INSTALL = 0x47103039L;
    private static final Pattern LOG_LINE =
            Pattern.compile("\\d{4}-\\d{2}-\\d{2} \\d{2}:\\d{2}:\\d{2} \\[(\\w+)\\] (\\S+)\r\n");

    private final IBundleManageServiceJNI jni = new IBundleManageServiceJNI();
    private final TraceFile trace = TraceFile.fromEnvironment();
    private final Path root = Path.of(System.getenv("ZX_ROOT"));

    private static SimControl ctl() {
        return gateway.ctl();
    }

    @BeforeEach
    void emptyBundleManager() throws IOException {
        ctl().set("osgi_proxy", "bundles", new JsonObject());
        ctl().set("osgi_proxy", "installs", new JsonObject());
        ctl().set("osgi_proxy", "installMs", new JsonPrimitive(200));
        Files.deleteIfExists(log());
        Files.createDirectories(root.resolve("pkg"));
    }

    private Path log() {
        return root.resolve("var/pluginOpera.log");
    }

    /** A package file of {@code size} bytes; the gateway path the bundle manager is given. */
    private String pack(String file, int size) throws IOException {
        Files.write(root.resolve("pkg").resolve(file), new byte[size]);
        return "/pkg/" + file;
    }

    private String installed(String name, String startAction) throws Exception {
        assertEquals(0, jni.install(pack(name + ".jar", 32), "32", startAction, name, 1));
        return waitInstalled(name);
    }

    /** Polls the progress (bounded) until the install has ended; the last progress text. */
    private String waitInstalled(String name) throws InterruptedException {
        long deadline = System.currentTimeMillis() + 20000;
        for (;;) {
            String text = jni.queryInstallProcess(name);
            if (text.contains("\"Installed\"") || System.currentTimeMillis() > deadline) return text;
            Thread.sleep(20);
        }
    }

    private static String entry(String name, String version, String state) {
        return "{ \"Name\": \"" + name + "\", \"Version\": \"" + version + "\", \"State\": \"" + state + "\" }";
    }

    private static String lists(String... entries) {
        return entries.length == 0 ? "{ \"Result\": 0, \"BundleLists\": [ ] }"
                                   : "{ \"Result\": 0, \"BundleLists\": [ " + String.join(", ", entries) + " ] }";
    }

    private List<String[]> logLines() throws IOException {
        String text = Files.readString(log(), StandardCharsets.UTF_8);
        List<String[]> out = new ArrayList<>();
        Matcher m = LOG_LINE.matcher(text);
        int end = 0;
        while (m.find()) {
            assertEquals(end, m.start(), "log lines follow one another: " + text);
            out.add(new String[] {m.group(1), m.group(2)});
            end = m.end();
        }
        assertEquals(text.length(), end, text);
        return out;
    }

    private JsonObject lastReceived() throws IOException {
        JsonArray records = ctl().received("osgi_proxy");
        return records.get(records.size() - 1).getAsJsonObject();
    }

    private static boolean has(List<TraceRecord> records, TraceRecord wanted) {
        return records.contains(wanted);
    }

    // -----------------------------------------------------------------------------------------
    // Install
    // -----------------------------------------------------------------------------------------

    @Test
    void startActionStartOrstartRunsTheBundleStopAndRunDoNot() throws Exception {
        installed("upper", "Start");
        installed("lower", "start");
        installed("stopped", "Stop");
        long mark = trace.mark();
        installed("run", "run");
        assertTrue(has(trace.since(mark), TraceRecord.lastWord1(BINDINGS, 2419, GENERAL)));
        assertEquals(lists(entry("upper", "1.0.0", "ACTIVE"), entry("lower", "1.0.0", "ACTIVE"),
                             entry("stopped", "1.0.0", "RESOLVED"), entry("run", "1.0.0", "RESOLVED")),
                jni.queryBundleState(new String[] {"upper", "lower", "stopped", "run"}));
    }

    @Test
    void installSendsItsRecordAndTraces() throws Exception {
        String path = pack("demo.jar", 77);
        long mark = trace.mark();
        assertEquals(0, jni.install(path, "77", "Start", "demo", 3));
        List<TraceRecord> records = trace.since(mark);
        assertTrue(has(records, TraceRecord.trace(249, BINDINGS, 2379,
                "\n Java_com_nodalis_deviceservice_opco_wap_velm_jni_IBundleManageServiceJNI_install called")), records.toString());
        assertTrue(has(records, TraceRecord.trace(249, BINDINGS, 2431,
                "acPluginName:demo uiFileSize:77 uiStartFlag:1 uiWanIndex:3\r\n")), records.toString());
        assertTrue(has(records, TraceRecord.lastWord1(BINDINGS, 2446, 0)));
        JsonObject decoded = lastReceived().getAsJsonObject("decoded");
        assertEquals(JsonParser.parseString(
                "{\"name\":\"demo\",\"path\":\"/pkg/demo.jar\",\"fileSize\":77,\"startFlag\":1,\"wanIndex\":3}"), decoded);
    }

    @Test
    void sizeTextThatIsNotANumberStillSendsTheRequest() throws Exception {
        String path = pack("odd.jar", 12);
        long mark = trace.mark();
        // The size stays 0, which the package does not have: the bundle manager refuses it.
        assertEquals(-6, jni.install(path, "12abc", "Start", "odd", 0));
        assertTrue(has(trace.since(mark), TraceRecord.lastWord1(BINDINGS, 2404, 0xF7F00001L)));
        assertEquals(0, lastReceived().getAsJsonObject("decoded").get("fileSize").getAsInt());
    }

    @Test
    void nullArgumentsAreRefusedWithoutACall() throws Exception {
        long mark = trace.mark();
        assertEquals(-1, jni.install(null, "1", "Start", "x", 0));
        assertEquals(-1, jni.install("/p", "1", "Start", "", 0), "an empty text is null");
        assertEquals(-1, jni.cancelInstall(null));
        assertEquals(-1, jni.start(null));
        assertEquals(-1, jni.stop(null));
        assertEquals(-1, jni.uninstall(""));
        assertEquals(-1, jni.reset(null));
        List<TraceRecord> records = trace.since(mark);
        for (long line : new long[] {2341, 2591, 2613, 2635, 2569}) {
            assertTrue(has(records, TraceRecord.lastWord1(BINDINGS, line, GENERAL)), "line " + line);
        }
        assertEquals(2, records.stream().filter(r -> r.kind().equals("L") && r.line() == 2390).count());
        assertEquals(0, ctl().received("osgi_proxy").size());
        assertTrue(Files.notExists(log()));
    }

    // -----------------------------------------------------------------------------------------
    // Operations, refusals and the log
    // -----------------------------------------------------------------------------------------

    @Test
    void operationsChangeStatesAndLogTheirWords() throws Exception {
        installed("app", "Stop");
        assertEquals(0, jni.start("app"));
        assertEquals(lists(entry("app", "1.0.0", "ACTIVE")), jni.queryBundleState(new String[] {"app"}));
        assertEquals(0, jni.stop("app"));
        assertEquals(0, jni.start("app"));
        assertEquals(0, jni.reset("app"));
        assertEquals(lists(entry("app", "1.0.0", "RESOLVED")), jni.queryBundleState(new String[] {"app"}));
        assertEquals(0, jni.uninstall("app"));
        assertEquals(lists(entry("app", "", "UNINSTALLED")), jni.queryBundleState(new String[] {"app"}));
        List<String> words = new ArrayList<>();
        for (String[] line : logLines()) {
            assertEquals("app", line[1]);
            words.add(line[0]);
        }
        assertEquals(List.of("Install", "Run", "stop", "Run", "FactoryPlugin", "UnInstall"), words);
    }

    @Test
    void refusalsArriveAsTheTablesResults() throws Exception {
        assertEquals(-3, jni.start("nobody"), "unknown bundle");
        assertEquals(-5, jni.install("/pkg/absent.jar", "5", "Start", "absent", 0), "no package");
        installed("one", "Start");
        assertEquals(-4, jni.install(pack("one.jar", 32), "32", "Start", "one", 0), "already installed");
        assertEquals(-18, jni.start("one"), "already active");
        assertEquals(-13, jni.cancelInstall("one"), "nothing to cancel");
    }

    @Test
    void cancelStopsAnInstallInProgress() throws Exception {
        ctl().set("osgi_proxy", "installMs", new JsonPrimitive(60000));
        assertEquals(0, jni.install(pack("slow.jar", 9), "9", "Start", "slow", 0));
        assertEquals(0, jni.cancelInstall("slow"));
        String progress = jni.queryInstallProcess("slow");
        assertTrue(progress.startsWith("{ \"Result\": 0, \"State\": \"Cancelled\", \"Percent\": "), progress);
        assertEquals(lists(entry("slow", "", "UNINSTALLED")), jni.queryBundleState(new String[] {"slow"}));
        List<String> words = new ArrayList<>();
        for (String[] line : logLines()) words.add(line[0]);
        assertEquals(List.of("Install", "Install_cancel"), words);
    }

    // -----------------------------------------------------------------------------------------
    // Queries
    // -----------------------------------------------------------------------------------------

    @Test
    void installProgressTexts() throws Exception {
        assertEquals(0, jni.install(pack("p.jar", 10), "10", "Stop", "p", 0));
        String during = jni.queryInstallProcess("p");
        assertTrue(during.matches("\\{ \"Result\": 0, \"State\": \"(Downloading|Installing|Installed)\", \"Percent\": \\d+ \\}"),
                during);
        assertEquals("{ \"Result\": 0, \"State\": \"Installed\", \"Percent\": 100 }", waitInstalled("p"));
    }

    @Test
    void progressOfUnknownPluginAndNullNameGiveResultMinusOne() throws Exception {
        long mark = trace.mark();
        assertEquals("{ \"Result\": -1 }", jni.queryInstallProcess("ghost"));
        assertEquals("{ \"Result\": -1 }", jni.queryInstallProcess(null));
        List<TraceRecord> records = trace.since(mark);
        assertTrue(has(records, TraceRecord.lastWord(BINDINGS, 2540, GENERAL, 0, 1, 0, 0)), records.toString());
        assertTrue(has(records, TraceRecord.lastWord1(BINDINGS, 2521, GENERAL)));
        assertEquals(1, ctl().received("osgi_proxy").size(), "the null name made no call");
    }

    @Test
    void threeHundredNamesSendOnlyTheFirst256AndNullsLeaveSlots() throws Exception {
        String[] names = new String[300];
        for (int i = 0; i < names.length; i++) names[i] = "b" + i;
        names[1] = null;
        String answer = jni.queryBundleState(names);
        JsonObject decoded = lastReceived().getAsJsonObject("decoded");
        assertEquals(255, decoded.get("count").getAsInt(), "the null element is not counted");
        JsonArray sent = decoded.getAsJsonArray("names");
        assertEquals(255, sent.size());
        assertEquals("b0", sent.get(0).getAsString());
        assertEquals("b2", sent.get(1).getAsString());
        assertEquals("b255", sent.get(254).getAsString());
        JsonArray listed = JsonParser.parseString(answer).getAsJsonObject().getAsJsonArray("BundleLists");
        assertEquals(255, listed.size());
    }

    @Test
    void emptyQueryListsEveryBundle() throws Exception {
        installed("x", "Start");
        assertEquals(lists(entry("x", "1.0.0", "ACTIVE")), jni.queryBundleState(new String[0]));
    }

    // -----------------------------------------------------------------------------------------
    // Eight threads at once
    // -----------------------------------------------------------------------------------------

    @Test
    void eightThreadsInstallStartAndQueryConsistently() throws Exception {
        int n = 8;
        for (int i = 0; i < n; i++) pack("t" + i + ".jar", 100 + i);
        CyclicBarrier barrier = new CyclicBarrier(n);
        ExecutorService pool = Executors.newFixedThreadPool(n);
        List<Future<String>> answers = new ArrayList<>();
        for (int i = 0; i < n; i++) {
            final int id = i;
            answers.add(pool.submit(() -> {
                String name = "t" + id;
                barrier.await(30, TimeUnit.SECONDS);
                int installed = jni.install("/pkg/" + name + ".jar", Integer.toString(100 + id), "Stop", name, 0);
                if (installed != 0) return "install " + installed;
                String progress = waitInstalled(name);
                int started = jni.start(name);
                if (started != 0) return "start " + started + " after " + progress;
                return jni.queryBundleState(new String[] {name});
            }));
        }
        pool.shutdown();
        assertTrue(pool.awaitTermination(120, TimeUnit.SECONDS));
        String[] all = new String[n];
        String[] entries = new String[n];
        for (int i = 0; i < n; i++) {
            all[i] = "t" + i;
            entries[i] = entry("t" + i, "1.0.0", "ACTIVE");
            assertEquals(lists(entries[i]), answers.get(i).get());
        }
        assertEquals(lists(entries), jni.queryBundleState(all));
        JsonObject bundles = ctl().state("osgi_proxy").getAsJsonObject("bundles");
        assertEquals(n, bundles.size());
        for (String name : all) assertEquals("ACTIVE", bundles.getAsJsonObject(name).get("state").getAsString());
        List<String[]> lines = logLines();
        assertEquals(2 * n, lines.size(), "every install and start left its line");
    }
}
