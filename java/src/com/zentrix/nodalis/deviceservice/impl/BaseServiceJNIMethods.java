package com.zentrix.nodalis.deviceservice.impl;

/**
 * The gateway's main service API for plug-ins. Every method is a native of the bridge library;
 * most answer a JSON text such as {"Result":0} and null when the platform call failed.
 */
public class BaseServiceJNIMethods {
    static {
        System.loadLibrary("zxjavabridge");
    }

    // LAN hosts
    public native String lanGetNetInfo();

    public native String lanSetDevAccessPermission(String device, int b1, boolean b2);

    public native String lanGetDevInternetAccessBlacklist();

    public native String lanGetDevStorageAccessBlacklist();

    public native String lanGetDevBandwidth();

    public native String lanSetDevMaxBandwidth(String mac, int upBandwidth, int downBandwidth);

    public native String lanGetDevMaxBandwidth(String mac);

    public native String lanGetPortStatus();

    public native String lanSetDevStatsStatus(int b1);

    public native String getLANHostStats(String mac);

    // System
    public native String sysGetCpuUsage();

    public native String sysGetMemUsage();

    public native String sysGetIpAddr();

    public native String sysGetLoid();

    // USB devices
    public native String usbRegister(String plugId, int type);

    public native String usbUnregister(String plugId);

    public native String usbLock(int devId);

    public native String usbUnlock(int devId);

    public native String usbOpen(int devId);

    public native boolean usbDataAvailable(int handle);

    /** holder: an object whose class has a field {@code byte[] bytearray}; it receives the data. */
    public native String usbRead(int handle, Object holder, int offset, int count, int timeOut);

    public native String usbWrite(int handle, byte[] data, int offset, int count);

    public native String usbSetSerial(int handle, int rate, int parity, int bits, int stopBits,
            boolean hardwareFlowControl, boolean softwareFlowControl);

    public native String usbClose(int handle);

    public native int usbUnregisterAll();

    // WAN and L2TP tunnels
    public native String wanGetIfStats();

    public native String wanGetPppoeAccount();

    public native String wanCreateL2tpTunnel(String str, String str2, String str3);

    public native String wanRemoveL2tpTunnel(String tunnel);

    public native String wanAttachL2tpTunnel(String tunnel, String[] addresses);

    public native String wanDetachL2tpTunnel(String tunnel, String[] addresses);

    public native String wanGetL2tpTunnelStatus(String tunnel);

    public native int addWANAccessRule(String address1, String address2, int port, String text3);

    public native int deleteWANAccessRule(String address1, String address2, int port, String text3);

    // WLAN and LEDs
    public native String wlanGetSecurity(int ssidIndex);

    public native int wlanSetSecurity(int ssidIndex, String first, String key);

    public native int wlanSetAutoChannelEnable(int radioIndex, int enable);

    public native int wlanSetChannelWidth(int radioIndex, int width);

    public native int wlanSetForbidChannel(int radioIndex, int count, char[] channels);

    public native String wlanSetState(int ssidIndex, int state);

    public native int wlanGetState(int ssidIndex);

    public native int wlanGetHide(int ssidIndex);

    public native int wlanSetHide(int ssidIndex, int hide);

    public native int wlanStartWPS(int ssidIndex);

    public native int wlanGetWPSState(int ssidIndex);

    public native String getWLANHostInfo(String[] macs, int unused);

    public native String sysGetWLanInfo(int ssid);

    public native String LedSetState(int ledId, int color, int ontime, int offtime);

    // Events and notifications
    /**
     * Raises event 12342 on the gateway's event centre with the name (at most 63 characters) and
     * the data (at most 863); a null text leaves its field empty. {"Result":0}, or null when the
     * event centre refused the event.
     */
    public native String eventInform(String name, String data);

    /** Raises event 12348 with a name and data, as {@link #eventInform}; the event centre's result (0: raised). */
    public native int notifyEvent(String name, String data);

    /**
     * Raises event 12355 with two names (at most 63 characters each) and data (at most 863); the
     * event centre's result (0: raised).
     */
    public native int notifyEvent(String first, String second, String data);

    /**
     * Writes one line into the platform's trace. The text is handed to the trace as its format:
     * do not put conversion specifications ("%s", "%n", ...) into it.
     */
    public native void osgiPrintF(String text);

    /** Reports the state of the connection to a service platform; the outcome is only traced. */
    public native void NotifyServicePlatformConnectState(String platform, int state);

    /** The gateway's registration status with the management cloud; 0 also when it cannot be read. */
    public native int isCloudRegistered();

    // Storage and media
    /** Switches the media-file scanner on (1) or off (0); the outcome is only traced. */
    public native void setFilesScanSwitch(int switcher);

    /**
     * The scanner's list of the files of one type ("video", "picture", "music") as the service
     * writes it, or {"Result":-1, "FailReason":""}; null for a null type.
     */
    public native String getFilesScanListByType(String fileType);

    /**
     * One element per attached disc: "label;file-system type;mount path;total;used;free" (bytes);
     * null when the discs cannot be listed.
     */
    public native String[] queryVolumeLabelInfo();

    /** Renames the disc labelled {@code first} to {@code second}; true when it was renamed. */
    public native boolean changeVolumeLabelName(String first, String second);

    /** Renames the disc mounted at the path {@code first} to {@code second}; true when it was renamed. */
    public native boolean changeVolumeLabelNameByPath(String first, String second);

    /** The mount path of the disc with this label, or null. */
    public native String getVolumeLabelMntPath(String name);

    /** One element, "video:V;picture:P;music:M" with the scanner's counts, or null. */
    public native String[] getMediaFilesInfo();

    // HTTP forwarding, capabilities, voice
    public native String jniHttpForwardAttachAuth(String[] list, boolean jbSwitch);

    public native String jniHttpForwardStart(int ssid, int defaultForwardPort, String[] whiteDstAddr,
            String[] alwaysFwd, int alwaysForwardPort, boolean denyOtherPackage);

    public native String jniHttpForwardStop();

    /**
     * The permissions of the installed plug-ins as the bundle manager writes them, or the fault
     * text {"Result":-1} when they cannot be read.
     */
    public native String getPluginPermissions();

    /** What the platform answers for a feature switch (1: on); 1 for a null name. */
    public native int getFeatureSwitch(String feature);

    /**
     * The path of the list of platform APIs plug-ins may use, or the fault text {"Result":-1}
     * (plug-in permissions switched off, no list configured).
     */
    public native String getAPIFilePath();

    /** Sets a telephone line's do-not-disturb state; 0, or -1 when the voice service refused. */
    public native int voiceSetPOTSDoNotDisturb(int line, int state);

    /**
     * A telephone line's do-not-disturb state: { "Result": 0, "State": s }, or
     * { "Result": 1, "State": 0 } when the voice service does not answer.
     */
    public native String voiceGetPOTSDoNotDisturbState(int line);
}
