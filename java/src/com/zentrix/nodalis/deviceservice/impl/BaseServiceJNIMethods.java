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
    public native String eventInform(String name, String data);

    public native int notifyEvent(String name, String data);

    public native int notifyEvent(String first, String second, String data);

    public native void osgiPrintF(String text);

    public native void NotifyServicePlatformConnectState(String platform, int state);

    public native int isCloudRegistered();

    // Storage and media
    public native void setFilesScanSwitch(int switcher);

    public native String getFilesScanListByType(String fileType);

    public native String[] queryVolumeLabelInfo();

    public native boolean changeVolumeLabelName(String first, String second);

    public native boolean changeVolumeLabelNameByPath(String first, String second);

    public native String getVolumeLabelMntPath(String name);

    public native String[] getMediaFilesInfo();

    // HTTP forwarding, capabilities, voice
    public native String jniHttpForwardAttachAuth(String[] list, boolean jbSwitch);

    public native String jniHttpForwardStart(int ssid, int defaultForwardPort, String[] whiteDstAddr,
            String[] alwaysFwd, int alwaysForwardPort, boolean denyOtherPackage);

    public native String jniHttpForwardStop();

    public native String getPluginPermissions();

    public native int getFeatureSwitch(String feature);

    public native String getAPIFilePath();

    public native int voiceSetPOTSDoNotDisturb(int line, int state);

    public native String voiceGetPOTSDoNotDisturbState(int line);
}
