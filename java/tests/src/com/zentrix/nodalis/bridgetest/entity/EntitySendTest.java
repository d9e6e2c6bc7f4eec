package com.zentrix.nodalis.bridgetest.entity;

import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertNull;
import static org.junit.jupiter.api.Assertions.assertTrue;

import com.google.gson.JsonArray;
import com.google.gson.JsonObject;
import com.google.gson.JsonParser;
import com.google.gson.JsonPrimitive;
import com.zentrix.nodalis.bridgetest.support.BusLinkTest;
import com.zentrix.nodalis.bridgetest.support.GatewayExtension;
import com.zentrix.nodalis.bridgetest.support.SimControl;
import com.zentrix.nodalis.bridgetest.support.SimControl.Fault;
import com.zentrix.nodalis.bridgetest.support.TraceFile;
import com.zentrix.nodalis.bridgetest.support.TraceFile.TraceRecord;
import com.zentrix.nodalis.deviceservice.entity.DnsForwardEntry;
import com.zentrix.nodalis.deviceservice.entity.JNINativeMethods;
import com.zentrix.nodalis.deviceservice.entity.TrafficMonitoringRequest;
import com.zentrix.nodalis.deviceservice.entity.VpnTunnel;
import java.io.ByteArrayOutputStream;
import java.io.IOException;
import java.nio.ByteBuffer;
import java.nio.ByteOrder;
import java.nio.charset.StandardCharsets;
import java.util.ArrayList;
import java.util.HexFormat;
import java.util.List;
import org.junit.jupiter.api.Test;
import org.junit.jupiter.api.extension.RegisterExtension;

/** JNINativeMethods.send: every command from Java through the bridge to the simulated services. */
class EntitySendTest extends BusLinkTest {
    @RegisterExtension
    static final GatewayExtension gateway = new GatewayExtension();

    private static final String JNI = "l2tp_jni";
    private static final String API = "l2tp_api";

    private static final long DNS_FWD_ADD = 0x48304170L;
    private static final long DNS_FWD_DEL = 0x48304171L;
    private static final long DNS_FWD_STAT = 0x48304172L;
    private static final long TRAFFIC_ADD = 0x48304173L;
    private static final long TRAFFIC_DEL = 0x48304174L;
    private static final long VPN_SETUP = 0x48304180L;
    private static final long VPN_TEARDOWN = 0x48304181L;
    private static final long VPN_ADDR_ADD = 0x48304182L;
    private static final long VPN_ADDR_DEL = 0x48304183L;
    private static final long ONT_MAC = 0x48304185L;
    private static final long RESOLVE = 0x4730B000L;
    private static final long WLAN_CHANNEL = 0x47103053L;

    private static final String LNS = "198.51.100.9";
    private static final String USER = "alice";
    private static final String PASS = "s3cret";
    private static final String DEST_LIST = "203.0.113.0/24";
    private static final String SRC_LIST = "192.168.1.20";

    private final JNINativeMethods entity = new JNINativeMethods();
    private final TraceFile trace = TraceFile.fromEnvironment();

    private static SimControl ctl() {
        return gateway.ctl();
    }

    // ---- helpers -------------------------------------------------------------------------------

    private static TraceRecord jni(long line, String text) {
        return TraceRecord.trace(216, JNI, line, text);
    }

    private static TraceRecord commandType(int type) {
        return jni(868, "Command Type:" + type + "  \r\n");
    }

    /** The records of this unit and of the API written since the mark. */
    private List<TraceRecord> records(long mark, String file) throws IOException {
        List<TraceRecord> out = new ArrayList<>();
        for (TraceRecord r : trace.since(mark)) {
            if (r.file().equals(file)) out.add(r);
        }
        return out;
    }

    private static VpnTunnel tunnel(short port) {
        return new VpnTunnel(LNS, USER, PASS, port, DEST_LIST, SRC_LIST);
    }

    private static final class Bytes {
        private final ByteArrayOutputStream out = new ByteArrayOutputStream();

        Bytes text(String s) {
            out.writeBytes(s.getBytes(StandardCharsets.UTF_8));
            return this;
        }

        /** A text and its NUL. */
        Bytes z(String s) {
            return text(s).zeros(1);
        }

        /** A text in a zero-filled field of n bytes. */
        Bytes field(String s, int n) {
            byte[] b = s.getBytes(StandardCharsets.UTF_8);
            out.writeBytes(b);
            return zeros(n - b.length);
        }

        Bytes zeros(int n) {
            out.writeBytes(new byte[n]);
            return this;
        }

        Bytes u32(long v) {
            out.writeBytes(ByteBuffer.allocate(4).order(ByteOrder.LITTLE_ENDIAN).putInt((int) v).array());
            return this;
        }

        Bytes u8(int v) {
            out.write(v);
            return this;
        }

        Bytes u16(int v) {
            out.writeBytes(ByteBuffer.allocate(2).order(ByteOrder.LITTLE_ENDIAN).putShort((short) v).array());
            return this;
        }

        String hex() {
            return HexFormat.of().formatHex(out.toByteArray());
        }
    }

    private static Bytes bytes() {
        return new Bytes();
    }

    /** The only request {@code service} received since the last look (records are then cleared). */
    private static JsonObject onlyRecord(String service, long msgId) throws IOException {
        JsonArray records = ctl().received(service);
        ctl().clearRecords();
        assertEquals(1, records.size(), service + " records: " + records);
        JsonObject rec = records.get(0).getAsJsonObject();
        assertEquals(msgId, rec.get("msgId").getAsLong());
        return rec;
    }

    private static void assertNothingSent() throws IOException {
        for (String service : List.of("tarn", "app_m", "cwmp")) {
            assertEquals(0, ctl().received(service).size(), service);
        }
    }

    private static String decodedPayload(JsonObject rec) {
        return rec.getAsJsonObject("decoded").get("payload").getAsString();
    }

    private static String tunnelRequest(String lns, String user, String pass, String tunnelName, int port) {
        return bytes().field(lns, 256).field(user, 64).field(pass, 64).field(tunnelName, 64).u16(port).hex();
    }

    // ---- unknown commands ----------------------------------------------------------------------

    @Test
    void unknownTypesReturnNullAndTraceUnknownCommand() throws Exception {
        for (int type : new int[] {0, 10, 22, 50, 99, 102, 1000, -1, Integer.MIN_VALUE, Integer.MAX_VALUE}) {
            long mark = trace.mark();
            assertNull(entity.send(type, "ignored"), "type " + type);
            assertEquals(List.of(commandType(type), jni(1034, "\n Unknown Command!\r\n")), trace.since(mark));
        }
        assertNothingSent();
    }

    @Test
    void stringCommandsRefuseAnArgumentOfAnotherClass() throws Exception {
        // Types 14 and 21 read their argument as a String: an Object, an Integer or a String[] is
        // none, and reading it as one is undefined. Refused as a missing string: null, nothing sent.
        Object[] others = {new Object(), Integer.valueOf(7), new String[] {"x"}};
        for (Object arg : others) {
            long mark = trace.mark();
            assertNull(entity.send(14, arg));
            assertEquals(List.of(commandType(14), jni(946, "getDevicePPPoENameAndWANIP ret: 1 \r\n")), trace.since(mark));
            mark = trace.mark();
            assertNull(entity.send(21, arg));
            assertEquals(List.of(commandType(21), jni(1015, "getDnsAnalysis ret: 1 \r\n")), trace.since(mark));
        }
        assertNothingSent();
    }

    @Test
    void objectCommandsRefuseAnArgumentWithoutTheirMembers() throws Exception {
        // The object commands read the fields and getters of their own kinds; a String, an Integer
        // or an array has none of them: each answers 1 (type 3 its statistic, 0), nothing sent.
        Object[] others = {"x", Integer.valueOf(7), new String[] {"x"}, new Object()};
        for (int type : new int[] {3, 4, 5, 6, 7, 8, 9, 12, 13, 100, 101}) {
            for (Object arg : others) {
                assertEquals(type == 3 ? "0" : "1", entity.send(type, arg), "type " + type);
            }
        }
        assertNothingSent();
    }

    // ---- device information ---------------------------------------------------------------------

    @Test
    void type1AnswersTheOntMacAndNullWhenTheCallFails() throws Exception {
        long mark = trace.mark();
        assertEquals("00:1A:2B:3C:4D:5E", entity.send(1, null));
        assertEquals(List.of(commandType(1), jni(874, "\n getONTMac ret: 0 \r\n"),
                jni(879, "\nget ont mac result data:00:1A:2B:3C:4D:5E \r\n")), records(mark, JNI));
        JsonObject rec = onlyRecord("tarn", ONT_MAC);
        assertEquals(bytes().u32(500).hex(), rec.get("data").getAsString());
        assertEquals(500, rec.get("replyCap").getAsLong());

        ctl().inject("tarn", ONT_MAC, Fault.status(0xF7000042L, 1));
        mark = trace.mark();
        assertNull(entity.send(1, null));
        assertEquals(List.of(commandType(1), jni(874, "\n getONTMac ret: " + (int) 0xF7000042L + " \r\n")),
                records(mark, JNI));
    }

    @Test
    void type2AnswersTheWanAddress() throws Exception {
        long mark = trace.mark();
        assertEquals("100.64.12.34", entity.send(2, null));
        assertEquals(List.of(commandType(2), jni(883, "\n getWANIP ret: 0 "),
                jni(888, "\nget WAN IP result data:100.64.12.34\n")), records(mark, JNI));
    }

    @Test
    void type11AnswersThePppoeUserName() throws Exception {
        long mark = trace.mark();
        assertEquals("user001@isp", entity.send(11, null));
        assertEquals(List.of(commandType(11), jni(927, "\n getPppoeUserName ret: 0 \r\n")), records(mark, JNI));
    }

    @Test
    void type14AnswersPppoeNameAndWanAddressOfTheNamedConnection() throws Exception {
        String answer = "{\"Result\":0, \"PPPoEName\":\"user001@isp\" ,\"WANIP\":\"100.64.12.34\" }";
        long mark = trace.mark();
        assertEquals(answer, entity.send(14, "INTERNET_PPPOE"));
        assertEquals(List.of(commandType(14), jni(125, "\n getDevicePPPoENameAndWANIP->getip :INTERNET_PPPOE\r\n"),
                jni(946, "getDevicePPPoENameAndWANIP ret: 0 \r\n"),
                jni(951, "getDevicePPPoENameAndWANIP result data:" + answer + " \r\n")), records(mark, JNI));
        JsonObject rec = onlyRecord("app_m", 0x47103054L);
        assertEquals(bytes().field("INTERNET_PPPOE", 256).hex(), rec.get("data").getAsString());

        mark = trace.mark();
        assertNull(entity.send(14, null));
        assertEquals(List.of(commandType(14), jni(946, "getDevicePPPoENameAndWANIP ret: 1 \r\n")), records(mark, JNI));
        assertNothingSent();
    }

    @Test
    void type15AnswersTheChannelAndKeepsTheUntouchedBufferOnFailure() throws Exception {
        ctl().set("app_m", "wlanChannel", new JsonPrimitive(11));
        long mark = trace.mark();
        assertEquals("11", entity.send(15, null));
        assertEquals(List.of(commandType(15), jni(956, "getDeviceWLANChannel ret: 0 \r\n"),
                jni(961, "getDeviceWLANChannel result data:11 \r\n")), records(mark, JNI));

        // The buffer is not cleared after a failure; the channel query wrote nothing into it, so it is
        // still empty and Java gets null.
        ctl().inject("app_m", WLAN_CHANNEL, Fault.status(0xF7000015L, 1));
        mark = trace.mark();
        assertNull(entity.send(15, null));
        assertEquals(List.of(commandType(15), jni(956, "getDeviceWLANChannel ret: " + (int) 0xF7000015L + " \r\n")),
                records(mark, JNI));
    }

    @Test
    void types16To20AnswerCloudAddressLanAddressPhysicalInformationUpgradeStateAndAddressWithPort()
            throws Exception {
        assertEquals("192.168.100.10", entity.send(16, null));
        assertEquals("127.0.0.1", entity.send(17, null));
        String phy = ctl().state("app_m").get("phyInfo").getAsString();
        assertEquals(phy, entity.send(18, null));
        // No upgrade-status file on this host: state 4.
        long mark = trace.mark();
        assertEquals("4", entity.send(19, null));
        assertEquals(List.of(commandType(19), jni(995, "getDeviceUpdateState ret: 0 \r\n"),
                jni(1000, "getDeviceUpdateState result data:4 \r\n")), records(mark, JNI));
        mark = trace.mark();
        assertEquals("192.168.100.10:8443", entity.send(20, null));
        assertEquals(List.of(commandType(20), jni(1005, "getDeviceCloudAddressAndPort ret: 0 \r\n"),
                jni(1010, "getDeviceCloudAddressAndPort result data:192.168.100.10:8443 \r\n")), records(mark, JNI));
    }

    @Test
    void type21ResolvesADomain() throws Exception {
        long mark = trace.mark();
        assertEquals("198.51.100.1,198.51.100.2,198.51.100.3", entity.send(21, "three.example.com"));
        assertEquals(List.of(commandType(21), jni(706, "\n getDnsAnalysis->pcDomain :three.example.com\r\n"),
                jni(1015, "getDnsAnalysis ret: 0 \r\n"),
                jni(1020, "getDnsAnalysis result data:198.51.100.1,198.51.100.2,198.51.100.3 \r\n")),
                records(mark, JNI));
        JsonObject rec = onlyRecord("tarn", RESOLVE);
        assertEquals(bytes().field("three.example.com", 256).u32(0).hex(), rec.get("data").getAsString());
        assertNull(entity.send(21, null));
        assertNull(entity.send(21, ""));
        assertNothingSent();
    }

    @Test
    void type21RefusesA500CharacterDomainAndSends499() throws Exception {
        String d500 = "a".repeat(500);
        long mark = trace.mark();
        assertNull(entity.send(21, d500));
        assertEquals(List.of(commandType(21), jni(706, "\n getDnsAnalysis->pcDomain :" + d500 + "\r\n"),
                TraceRecord.lastWord(JNI, 710, 1, 500, 500, 0, 0), jni(1015, "getDnsAnalysis ret: 1 \r\n")),
                records(mark, JNI));
        assertNothingSent();

        // 499 characters fit: the call is made (the service gets the name cut to 255 characters and
        // knows no such name, so the answer is still null).
        String d499 = "b".repeat(499);
        assertNull(entity.send(21, d499));
        JsonObject rec = onlyRecord("tarn", RESOLVE);
        assertEquals(bytes().field("b".repeat(255), 256).u32(0).hex(), rec.get("data").getAsString());
    }

    // ---- DNS forwarding ---------------------------------------------------------------------------

    @Test
    void type3AnswersTheStatisticAndZeroAfterAFailure() throws Exception {
        JsonObject stats = new JsonObject();
        stats.addProperty("8.8.8.8", 42);
        ctl().set("tarn", "dnsStatistic", stats);
        long mark = trace.mark();
        assertEquals("42", entity.send(3, new DnsForwardEntry(null, null, "8.8.8.8")));
        assertEquals(List.of(commandType(3), jni(892, "\n getDNSForwardConstatics ret: 0 ")), records(mark, JNI));
        JsonObject rec = onlyRecord("tarn", DNS_FWD_STAT);
        assertEquals(bytes().z("8.8.8.8").hex(), rec.get("data").getAsString());

        mark = trace.mark();
        assertEquals("0", entity.send(3, new DnsForwardEntry("a.com", "8.8.8.8", null)));
        assertEquals(List.of(commandType(3), jni(892, "\n getDNSForwardConstatics ret: 1 ")), records(mark, JNI));
        assertNothingSent();

        ctl().inject("tarn", DNS_FWD_STAT, Fault.status(0xF7000003L, 1));
        assertEquals("0", entity.send(3, new DnsForwardEntry(null, null, "8.8.8.8")));

        mark = trace.mark();
        assertEquals("0", entity.send(3, null));
        assertEquals(List.of(commandType(3), jni(222, "\n getDNSForwardConstatics->GetObjectClass failed \r\n"),
                jni(892, "\n getDNSForwardConstatics ret: 1 ")), records(mark, JNI));
        mark = trace.mark();
        assertEquals("0", entity.send(3, "not an entry"));
        assertEquals(List.of(commandType(3), jni(231, "\n getDNSForwardConstatics->getMethodID failed \r\n"),
                jni(892, "\n getDNSForwardConstatics ret: 1 ")), records(mark, JNI));
    }

    @Test
    void type4AddsAForwardingRule() throws Exception {
        long mark = trace.mark();
        assertEquals("0", entity.send(4, new DnsForwardEntry("a.com", "8.8.8.8", null)));
        assertEquals(List.of(commandType(4), jni(158, "\n addDNSForwardList->data size:5 \r\n"),
                jni(169, "\n addDNSForwardList->ip:8.8.8.8 \r\n"), jni(897, "\n addDNSForwardList ret: 0 ")),
                records(mark, JNI));
        JsonObject rec = onlyRecord("tarn", DNS_FWD_ADD);
        assertEquals(bytes().z("a.com").z("8.8.8.8").hex(), decodedPayload(rec));
        JsonArray rules = ctl().state("tarn").getAsJsonArray("dnsForward");
        assertEquals(1, rules.size());
        assertEquals("8.8.8.8", rules.get(0).getAsJsonObject().get("server").getAsString());

        // A 16-character server is refused by the API.
        assertEquals("1", entity.send(4, new DnsForwardEntry("a.com", "192.168.100.2001", null)));
        assertEquals("1", entity.send(4, new DnsForwardEntry(null, "8.8.8.8", null)));
        mark = trace.mark();
        assertEquals("1", entity.send(4, new Object()));
        assertEquals(List.of(commandType(4), jni(150, "\n addDNSForwardList->getMethodID failed \r\n"),
                jni(897, "\n addDNSForwardList ret: 1 ")), records(mark, JNI));
        assertNothingSent();
    }

    @Test
    void type5DeletesAForwardingRule() throws Exception {
        assertEquals("0", entity.send(4, new DnsForwardEntry("a.com", "8.8.8.8", null)));
        ctl().clearRecords();
        long mark = trace.mark();
        assertEquals("0", entity.send(5, new DnsForwardEntry("a.com", null, null)));
        assertEquals(List.of(commandType(5), jni(204, "\n deleteDNSForwardList->data size:5 \r\n"),
                jni(902, "\n deleteDNSForwardList ret: 0 ")), records(mark, JNI));
        JsonObject rec = onlyRecord("tarn", DNS_FWD_DEL);
        assertEquals(bytes().z("a.com").hex(), decodedPayload(rec));
        assertEquals(0, ctl().state("tarn").getAsJsonArray("dnsForward").size());
        mark = trace.mark();
        assertEquals("1", entity.send(5, null));
        assertEquals(List.of(commandType(5), jni(186, "\n deleteDNSForwardList->GetObjectClass failed \r\n"),
                jni(902, "\n deleteDNSForwardList ret: 1 ")), records(mark, JNI));
    }

    // ---- tunnels ------------------------------------------------------------------------------------

    @Test
    void type6PassesPortMinusOneAs65535AndTracesMinusOne() throws Exception {
        long mark = trace.mark();
        assertEquals("0", entity.send(6, tunnel((short) -1)));
        assertEquals(List.of(commandType(6), jni(290, "\n setupVPN->port:-1\r\n"), jni(907, "\n setupVPN ret: 0 ")),
                records(mark, JNI));
        JsonObject rec = onlyRecord("tarn", VPN_SETUP);
        assertEquals(tunnelRequest(LNS, USER, PASS, "", 65535), rec.get("data").getAsString());

        mark = trace.mark();
        assertEquals("0", entity.send(6, tunnel((short) 1701)));
        assertEquals(List.of(commandType(6), jni(290, "\n setupVPN->port:1701\r\n"), jni(907, "\n setupVPN ret: 0 ")),
                records(mark, JNI));
        rec = onlyRecord("tarn", VPN_SETUP);
        assertEquals(tunnelRequest(LNS, USER, PASS, "", 1701), rec.get("data").getAsString());
        assertEquals(2, ctl().state("tarn").getAsJsonArray("tunnels").size());
    }

    @Test
    void type6FailuresOfItsOwn() throws Exception {
        long mark = trace.mark();
        assertEquals("1", entity.send(6, null));
        assertEquals(List.of(commandType(6), jni(257, "\n setupVPN->GetObjectClass failed \r\n"),
                jni(907, "\n setupVPN ret: 1 ")), records(mark, JNI));
        mark = trace.mark();
        assertEquals("1", entity.send(6, new DnsForwardEntry("a", "b", "c")));
        assertEquals(List.of(commandType(6), jni(271, "\n setupVPN->getMethodID failed \r\n"),
                jni(907, "\n setupVPN ret: 1 ")), records(mark, JNI));
        VpnTunnel noPassword = tunnel((short) 1701);
        noPassword.password = null;
        mark = trace.mark();
        assertEquals("1", entity.send(6, noPassword));
        assertEquals(List.of(commandType(6), jni(907, "\n setupVPN ret: 1 ")), records(mark, JNI));
        assertNothingSent();
        ctl().inject("tarn", VPN_SETUP, Fault.status(0xF7000006L, 1));
        assertEquals(Integer.toString((int) 0xF7000006L), entity.send(6, tunnel((short) 1701)));
    }

    @Test
    void type7TearsDownByServerAndCredentials() throws Exception {
        assertEquals("0", entity.send(6, tunnel((short) 1701)));
        ctl().clearRecords();
        long mark = trace.mark();
        assertEquals("0", entity.send(7, tunnel((short) 1701)));
        assertEquals(List.of(commandType(7), jni(912, "\n disconnectVPN ret: 0 ")), records(mark, JNI));
        JsonObject rec = onlyRecord("tarn", VPN_TEARDOWN);
        assertEquals(tunnelRequest(LNS, USER, PASS, "", 0), rec.get("data").getAsString());
        assertEquals(0, ctl().state("tarn").getAsJsonArray("tunnels").size());
        mark = trace.mark();
        assertEquals("1", entity.send(7, "no tunnel"));
        assertEquals(List.of(commandType(7), jni(324, "\n disconnectVPN->getMethod Id  failed \r\n"),
                jni(912, "\n disconnectVPN ret: 1 ")), records(mark, JNI));
        mark = trace.mark();
        assertEquals("1", entity.send(7, null));
        assertEquals(List.of(commandType(7), jni(312, "\n disconnectVPN->GetObjectClass failed \r\n"),
                jni(912, "\n disconnectVPN ret: 1 ")), records(mark, JNI));
    }

    private void assertListCommand(int type, long msgId, String list, int kind, long line, String retText)
            throws Exception {
        long mark = trace.mark();
        assertEquals("0", entity.send(type, tunnel((short) 1701)));
        assertEquals(List.of(commandType(type), jni(line, retText)), records(mark, JNI));
        JsonObject rec = onlyRecord("tarn", msgId);
        assertEquals(bytes().z(list).z(LNS).z(USER).z(PASS).u32(kind).hex(), decodedPayload(rec));
    }

    @Test
    void types8And9AddAndDeleteDestinationAddresses() throws Exception {
        assertListCommand(8, VPN_ADDR_ADD, DEST_LIST, 0, 917, "\n addVPNAddress ret: 0 ");
        assertEquals(1, ctl().state("tarn").getAsJsonArray("vpnAddressLists").size());
        assertListCommand(9, VPN_ADDR_DEL, DEST_LIST, 0, 922, "\n deleteVPNAddress ret: 0 ");
        assertEquals(0, ctl().state("tarn").getAsJsonArray("vpnAddressLists").size());
    }

    @Test
    void types100And101AddAndDeleteSourceAddresses() throws Exception {
        assertListCommand(100, VPN_ADDR_ADD, SRC_LIST, 1, 1025, "\n addVPNSrcAddress ret: 0 ");
        assertListCommand(101, VPN_ADDR_DEL, SRC_LIST, 1, 1030, "\n deleteVPNSrcAddress ret: 0 ");
    }

    @Test
    void tunnelListCommandsWithAMissingMemberOrValue() throws Exception {
        VpnTunnel noPassword = tunnel((short) 1701);
        noPassword.password = null;
        assertEquals("1", entity.send(8, noPassword));
        assertEquals("1", entity.send(100, new VpnTunnel(LNS, USER, PASS, (short) 1, DEST_LIST, null)));
        assertNothingSent();

        long mark = trace.mark();
        assertEquals("1", entity.send(8, null));
        assertEquals("1", entity.send(9, null));
        assertEquals("1", entity.send(100, null));
        assertEquals("1", entity.send(101, null));
        assertEquals(List.of(commandType(8), jni(359, "\n addVPNAddress->GetObjectClass failed \r\n"),
                jni(917, "\n addVPNAddress ret: 1 "), commandType(9),
                jni(413, "\n deleteVPNAddress->GetObjectClass failed \r\n"), jni(922, "\n deleteVPNAddress ret: 1 "),
                commandType(100), jni(469, "\n addVPNAddress->GetObjectClass failed \r\n"),
                jni(1025, "\n addVPNSrcAddress ret: 1 "), commandType(101),
                jni(523, "\n deleteVPNAddress->GetObjectClass failed \r\n"),
                jni(1030, "\n deleteVPNSrcAddress ret: 1 ")), records(mark, JNI));

        Object wrong = new TrafficMonitoringRequest("b", "l");
        mark = trace.mark();
        assertEquals("1", entity.send(8, wrong));
        assertEquals("1", entity.send(9, wrong));
        assertEquals("1", entity.send(100, wrong));
        assertEquals("1", entity.send(101, wrong));
        assertEquals(List.of(commandType(8), jni(374, "\n addVPNAddress->getMethod Id  failed \r\n"),
                jni(917, "\n addVPNAddress ret: 1 "), commandType(9),
                jni(428, "\n deleteVPNAddress->getMethod Id  failed \r\n"), jni(922, "\n deleteVPNAddress ret: 1 "),
                commandType(100), jni(484, "\n addVPNSrcAddress->getMethod Id  failed \r\n"),
                jni(1025, "\n addVPNSrcAddress ret: 1 "), commandType(101),
                jni(538, "\n deleteVPNSrcAddress->getMethod Id  failed \r\n"),
                jni(1030, "\n deleteVPNSrcAddress ret: 1 ")), records(mark, JNI));
    }

    // ---- traffic monitoring ---------------------------------------------------------------------

    /** Waits (bounded) for app_m's record of the one-way notice, with its decoded payload. */
    private static JsonObject notice() throws Exception {
        long deadline = System.currentTimeMillis() + 20_000;
        for (;;) {
            JsonArray records = ctl().received("app_m");
            if (records.size() > 0 && records.get(0).getAsJsonObject().has("decoded")) {
                return records.get(0).getAsJsonObject();
            }
            if (System.currentTimeMillis() > deadline) throw new AssertionError("no notice reached app_m");
            Thread.sleep(5);
        }
    }

    @Test
    void type12AddsMonitoredDestinationsAndTellsAppM() throws Exception {
        TrafficMonitoringRequest req = new TrafficMonitoringRequest("com.example.meter", DEST_LIST);
        long mark = trace.mark();
        assertEquals("0", entity.send(12, req));
        assertEquals(List.of(commandType(12), jni(935, "\n addTrafficMonitoringDestAddress ret: 0 ")),
                records(mark, JNI));
        JsonObject n = notice();
        assertEquals(39, n.get("msgId").getAsLong());
        assertEquals(bytes().u8(1).field("com.example.meter", 128).z(DEST_LIST).hex(),
                decodedPayload(n));
        JsonObject rec = onlyRecord("tarn", TRAFFIC_ADD);
        assertEquals(bytes().z(DEST_LIST).hex(), decodedPayload(rec));
        assertTrue(rec.get("data").getAsString().endsWith(bytes().field("com.example.meter", 256).hex()));
        JsonArray lists = ctl().state("tarn").getAsJsonObject("trafficMonitoring").getAsJsonArray("com.example.meter");
        assertEquals(JsonParser.parseString("[\"" + DEST_LIST + "\"]"), lists);
    }

    @Test
    void type13TracesTheAddTextAndDeletes() throws Exception {
        TrafficMonitoringRequest req = new TrafficMonitoringRequest("com.example.meter", DEST_LIST);
        assertEquals("0", entity.send(12, req));
        notice();
        ctl().clearRecords();
        long mark = trace.mark();
        assertEquals("0", entity.send(13, req));
        assertEquals(List.of(commandType(13), jni(940, "\n addTrafficMonitoringDestAddress ret: 0 ")),
                records(mark, JNI));
        assertEquals("00", decodedPayload(notice()).substring(0, 2));
        onlyRecord("tarn", TRAFFIC_DEL);
        assertEquals(0, ctl().state("tarn").getAsJsonObject("trafficMonitoring")
                .getAsJsonArray("com.example.meter").size());
    }

    @Test
    void trafficCommandsWithAMissingMemberOrValue() throws Exception {
        long mark = trace.mark();
        assertEquals("1", entity.send(12, new TrafficMonitoringRequest(null, DEST_LIST)));
        assertEquals("1", entity.send(13, new TrafficMonitoringRequest("b", null)));
        assertEquals(List.of(commandType(12),
                jni(597, "\n addTrafficMonitoringDestAddress->CallObjectMethod failed \r\n"),
                jni(935, "\n addTrafficMonitoringDestAddress ret: 1 "), commandType(13),
                jni(631, "\n deleteTrafficMonitoringDestAddress->CallObjectMethod failed \r\n"),
                jni(940, "\n addTrafficMonitoringDestAddress ret: 1 ")), records(mark, JNI));
        mark = trace.mark();
        assertEquals("1", entity.send(12, null));
        assertEquals("1", entity.send(13, tunnel((short) 1)));
        assertEquals(List.of(commandType(12),
                jni(578, "\n addTrafficMonitoringDestAddress->GetObjectClass failed \r\n"),
                jni(935, "\n addTrafficMonitoringDestAddress ret: 1 "), commandType(13),
                jni(620, "\n deleteTrafficMonitoringDestAddress->GetMethodID failed \r\n"),
                jni(940, "\n addTrafficMonitoringDestAddress ret: 1 ")), records(mark, JNI));
        assertNothingSent();
    }
}
