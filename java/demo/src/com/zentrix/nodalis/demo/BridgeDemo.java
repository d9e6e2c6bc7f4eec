package com.zentrix.nodalis.demo;

import com.zentrix.nodalis.deviceservice.entity.JNINativeMethods;
import com.zentrix.nodalis.deviceservice.impl.BaseServiceJNIMethods;

/**
 * What a plug-in sees of the gateway: it brings up the bus link of the Java process, asks for the
 * processor load, the memory in use and the LOID, then tours the WLAN and LEDs (the SSIDs, the
 * radios' settings, a WPS start and its state, the wireless hosts, an LED change), the LAN ports,
 * the broadband family (LAN hosts, a bandwidth limit, a black list, an L2TP tunnel's life, HTTP
 * forwarding, a WAN access rule), the discs and the media scanner, capabilities and plug-in
 * permissions, events and the platform trace, the cloud registration and a telephone line's
 * do-not-disturb state. Each answer is printed as it came. Exit status 1 when the link does not
 * come up, a text answer is null or a setting is refused.
 */
public final class BridgeDemo {
    private BridgeDemo() {}

    public static void main(String[] args) {
        int started = new JNINativeMethods().startThread();
        System.out.printf("%-48s %s%n", "JNINativeMethods.startThread()", started);
        boolean ok = started == 0;

        BaseServiceJNIMethods base = new BaseServiceJNIMethods();
        ok &= show("BaseServiceJNIMethods.sysGetCpuUsage()", base.sysGetCpuUsage());
        ok &= show("BaseServiceJNIMethods.sysGetMemUsage()", base.sysGetMemUsage());
        ok &= show("BaseServiceJNIMethods.sysGetLoid()", base.sysGetLoid());

        // SSIDs: every one (index 0), then SSID 1 in detail.
        ok &= show("sysGetWLanInfo(0)", base.sysGetWLanInfo(0));
        show("wlanGetState(1)", base.wlanGetState(1));
        show("wlanGetHide(1)", base.wlanGetHide(1));
        ok &= show("wlanGetSecurity(1)", base.wlanGetSecurity(1));

        // The radios: 0 is 2.4 GHz, 1 is 5 GHz. Channels 1 and 6 banned on the first (the count of
        // channels, then one channel number a character): with automatic selection on it leaves
        // channel 6. 40 MHz on the second.
        ok &= show("wlanSetAutoChannelEnable(0, 1)", base.wlanSetAutoChannelEnable(0, 1)) == 0;
        ok &= show("wlanSetForbidChannel(0, 2, {1, 6})", base.wlanSetForbidChannel(0, 2, new char[] {1, 6})) == 0;
        ok &= show("wlanSetChannelWidth(1, 40)", base.wlanSetChannelWidth(1, 40)) == 0;
        show("wlanSetChannelWidth(2, 40)  (no radio 2)", base.wlanSetChannelWidth(2, 40));

        // WPS on SSID 1: the state reads 1 while the session is open.
        show("wlanGetWPSState(1)", base.wlanGetWPSState(1));
        ok &= show("wlanStartWPS(1)", base.wlanStartWPS(1)) == 0;
        ok &= show("wlanGetWPSState(1)", base.wlanGetWPSState(1)) == 1;

        // The wireless hosts: all of them, then one by its MAC.
        ok &= show("getWLANHostInfo(null, 0)", base.getWLANHostInfo(null, 0));
        ok &= show("getWLANHostInfo({\"F0:18:98:44:5D:E2\"}, 0)",
                base.getWLANHostInfo(new String[] {"F0:18:98:44:5D:E2"}, 0));

        // The WLAN LED (id 3) turns red and blinks 250 ms on, 750 ms off.
        String led = base.LedSetState(3, 2, 250, 750);
        show("LedSetState(3, 2, 250, 750)", led);
        ok &= "0".equals(led);

        // The four LAN ports: link and speed.
        ok &= show("lanGetPortStatus()", base.lanGetPortStatus());

        // The LAN hosts, one host's traffic, a bandwidth limit, the Internet black list after the
        // phone loses its access.
        ok &= show("lanGetNetInfo()", base.lanGetNetInfo());
        ok &= show("getLANHostStats(\"00:1A:2B:00:10:01\")", base.getLANHostStats("00:1A:2B:00:10:01"));
        show("lanSetDevMaxBandwidth(\"001A2B001001\", 2048, 16384)",
                base.lanSetDevMaxBandwidth("001A2B001001", 2048, 16384));
        show("lanGetDevMaxBandwidth(\"001A2B001001\")", base.lanGetDevMaxBandwidth("001A2B001001"));
        ok &= show("lanSetDevAccessPermission(\"001A2B001002\", 0, true)",
                base.lanSetDevAccessPermission("001A2B001002", 0, true));
        ok &= show("lanGetDevInternetAccessBlacklist()", base.lanGetDevInternetAccessBlacklist());

        // An L2TP tunnel: created, given destinations, asked, relieved of one, removed.
        String tunnel = base.wanCreateL2tpTunnel("203.0.113.9", "alice", "s3cret");
        ok &= show("wanCreateL2tpTunnel(\"203.0.113.9\", \"alice\", ...)", tunnel);
        String name = tunnel == null ? "l2tp1" : tunnel.replaceAll(".*\"TunnelName\":\"([^\"]*)\".*", "$1");
        String[] destinations = {"198.51.100.7", "198.51.100.8"};
        ok &= show("wanAttachL2tpTunnel(\"" + name + "\", {2 addresses})", base.wanAttachL2tpTunnel(name, destinations));
        ok &= show("wanGetL2tpTunnelStatus(\"" + name + "\")", base.wanGetL2tpTunnelStatus(name));
        ok &= show("wanDetachL2tpTunnel(\"" + name + "\", {1 address})",
                base.wanDetachL2tpTunnel(name, new String[] {"198.51.100.8"}));
        ok &= show("wanRemoveL2tpTunnel(\"" + name + "\")", base.wanRemoveL2tpTunnel(name));

        // HTTP forwarding: started with a white list and an always-forward rule, a source
        // authorised, stopped.
        ok &= showIs("0", "jniHttpForwardStart(1, 8081, {portal}, {ads}, 8080, true)",
                base.jniHttpForwardStart(1, 8081, new String[] {"portal.example.com"},
                        new String[] {"ads.example.com"}, 8080, true));
        ok &= showIs("0", "jniHttpForwardAttachAuth({\"192.168.1.2\"}, true)",
                base.jniHttpForwardAttachAuth(new String[] {"192.168.1.2"}, true));
        ok &= showIs("0", "jniHttpForwardStop()", base.jniHttpForwardStop());

        // A WAN access rule added, then deleted.
        ok &= show("addWANAccessRule(\"192.168.1.10\", \"0.0.0.0\", 8443, \"TCP\")",
                base.addWANAccessRule("192.168.1.10", "0.0.0.0", 8443, "TCP")) == 0;
        ok &= show("deleteWANAccessRule(\"192.168.1.10\", \"0.0.0.0\", 8443, \"TCP\")",
                base.deleteWANAccessRule("192.168.1.10", "0.0.0.0", 8443, "TCP")) == 0;

        // The discs: label, file-system type, mount path, then total, used and free bytes. The
        // first is renamed and found again by its new label.
        ok &= showAll("queryVolumeLabelInfo()", base.queryVolumeLabelInfo());
        ok &= showIs("true", "changeVolumeLabelName(\"USB_DISK1\", \"HOLIDAYS\")",
                String.valueOf(base.changeVolumeLabelName("USB_DISK1", "HOLIDAYS")));
        ok &= show("getVolumeLabelMntPath(\"HOLIDAYS\")", base.getVolumeLabelMntPath("HOLIDAYS"));
        ok &= showAll("queryVolumeLabelInfo()", base.queryVolumeLabelInfo());

        // The media scanner switched on: the counts of the files it found, and the videos.
        base.setFilesScanSwitch(1);
        System.out.printf("%-48s %s%n", "setFilesScanSwitch(1)", "(void; the answer is in the trace)");
        ok &= showAll("getMediaFilesInfo()", base.getMediaFilesInfo());
        ok &= show("getFilesScanListByType(\"video\")", base.getFilesScanListByType("video"));

        // Capabilities: two feature switches, where the list of the platform APIs lies, and the
        // permissions of the installed plug-ins.
        show("getFeatureSwitch(\"FT_PLUGIN_PERMISSION_ENABLE\")", base.getFeatureSwitch("FT_PLUGIN_PERMISSION_ENABLE"));
        show("getFeatureSwitch(\"FT_CWMP_OPCO_RMS\")", base.getFeatureSwitch("FT_CWMP_OPCO_RMS"));
        ok &= show("getAPIFilePath()", base.getAPIFilePath());
        ok &= show("getPluginPermissions()", base.getPluginPermissions());

        // Events for the event centre, a line of the plug-in's own in the platform trace, the
        // service platform's connection state and the cloud registration.
        ok &= show("eventInform(\"demo.started\", \"{...}\")",
                base.eventInform("demo.started", "{\"plugin\":\"demo\"}"));
        ok &= show("notifyEvent(\"demo.notice\", \"disc renamed\")",
                base.notifyEvent("demo.notice", "disc renamed")) == 0;
        ok &= show("notifyEvent(\"demo\", \"volume\", \"HOLIDAYS\")",
                base.notifyEvent("demo", "volume", "HOLIDAYS")) == 0;
        base.osgiPrintF("demo plug-in: tour almost done\r\n");
        System.out.printf("%-48s %s%n", "osgiPrintF(\"demo plug-in: ...\")", "(void; see the trace)");
        base.NotifyServicePlatformConnectState("demo-platform", 1);
        System.out.printf("%-48s %s%n", "NotifyServicePlatformConnectState(\"demo-platform\", 1)", "(void)");
        show("isCloudRegistered()", base.isCloudRegistered());

        // Do not disturb on the first telephone line, then read back.
        ok &= show("voiceSetPOTSDoNotDisturb(1, 1)", base.voiceSetPOTSDoNotDisturb(1, 1)) == 0;
        ok &= show("voiceGetPOTSDoNotDisturbState(1)", base.voiceGetPOTSDoNotDisturbState(1));
        System.exit(ok ? 0 : 1);
    }

    private static boolean showAll(String call, String[] answer) {
        if (answer == null) return show(call, (String) null);
        System.out.printf("%-48s %d element(s)%n", call, answer.length);
        boolean ok = true;
        for (String line : answer) {
            System.out.printf("%-48s %s%n", "", line == null ? "null" : line);
            ok &= line != null;
        }
        return ok;
    }

    private static boolean show(String call, String answer) {
        System.out.printf("%-48s %s%n", call, answer == null ? "null" : answer);
        return answer != null;
    }

    private static boolean showIs(String expected, String call, String answer) {
        show(call, answer);
        return expected.equals(answer);
    }

    private static int show(String call, int answer) {
        System.out.printf("%-48s %d%n", call, answer);
        return answer;
    }
}
