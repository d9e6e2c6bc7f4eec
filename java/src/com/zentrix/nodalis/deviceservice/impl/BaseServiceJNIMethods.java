package com.zentrix.nodalis.deviceservice.impl;

/**
 * The gateway's main service API for plug-ins. Every method is a native of the bridge library.
 *
 * <p>Most natives send one request over the gateway's message bus to a service process and wait
 * for its answer: the configuration service "app_m" (up to 30000 ms), the broadband service
 * "tarn" (5000 ms), the WLAN radio service "wifi" (5000 ms), the USB manager "usb_mngt" (30000
 * ms), the voice service "voice" (30000 ms) or the bundle manager "osgi_proxy" (60000 ms). On a
 * host every time-out is multiplied by {@code ZX_TIMEOUT_SCALE}. Each native's description names
 * the service and the command (the name of the wire catalogue, {@code wire/zx_wire_*.h}, with
 * its id); {@code docs/reference.md} gives the answers of the simulated gateway.
 *
 * <p>Unless a method says otherwise, a String answer is the JSON text written by the library or
 * the service, and null means the call failed (the failed text is cleared, and an empty text
 * reaches Java as null). Several families answer a failure text instead of null:
 * {@code {"Result":-1, "FailReason":""}}. No native throws an exception of its own.
 */
public class BaseServiceJNIMethods {
    static {
        System.loadLibrary("zxjavabridge");
    }

    // LAN hosts
    /**
     * The LAN hosts as the configuration service sees them. Asks "tarn" for the host count
     * ({@code ZX_TARN_RPC_GET_HOST_NUM}, 5000 ms), then "app_m" for the list
     * ({@code ZX_APPM_RPC_LAN_GET_NET_INFO}, 30000 ms) with 512 bytes of reply a host
     * (at most 38912 bytes, 76 hosts).
     *
     * @return {@code {"Result":0,"Info":[{"MAC":"00:1A:2B:00:10:01","IP":"192.168.1.2","HostName":"laptop",...}]}};
     *         {@code {"Result":0,"Info":[] }} when the host count is 0 or cannot be read;
     *         {@code {"Result":-1, "FailReason":""}} when "app_m" fails or does not answer; null
     *         only when no memory is left
     */
    public native String lanGetNetInfo();

    /**
     * Sets a LAN device's Internet and storage access ("app_m"
     * {@code ZX_APPM_RPC_LAN_SET_DEV_ACCESS_PERMISSION}, 30000 ms; sent as "ON" or
     * "OFF").
     *
     * @param device the device: its MAC (such as "001A2B001001", colon form also accepted by the
     *        simulated service) or its host name, at most 15 characters
     * @param b1 Internet access: 1 allowed, 0 blocked; any other value is refused
     * @param b2 storage access: true allowed, false blocked
     * @return the service's answer, {@code {"Result":0}}; {@code {"Result":-1, "FailReason":""}}
     *         when b1 is neither 0 nor 1, the service refuses (no such host, 0xF7302D01) or does
     *         not answer; "1" when device is null
     */
    public native String lanSetDevAccessPermission(String device, int b1, boolean b2);

    /**
     * The hosts whose Internet access is blocked ("app_m"
     * {@code ZX_APPM_RPC_LAN_GET_INTERNET_BLACKLIST}, 30000 ms), into a 2048-byte buffer.
     *
     * @return {@code {"Result":0,"BlackList":[{"MAC":"00:1A:2B:00:10:03","HostName":"tv"}]}};
     *         {@code {"Result":-1, "FailReason":""}} when the service fails or does not answer;
     *         null when the buffer cannot be allocated
     */
    public native String lanGetDevInternetAccessBlacklist();

    /**
     * The hosts whose storage access is blocked ("app_m"
     * {@code ZX_APPM_RPC_LAN_GET_STORAGE_BLACKLIST}, 30000 ms), into a 2048-byte buffer.
     *
     * @return {@code {"Result":0,"BlackList":[...]}} as for
     *         {@link #lanGetDevInternetAccessBlacklist}; {@code {"Result":-1, "FailReason":""}} when
     *         the service fails or does not answer; null when the buffer cannot be allocated
     */
    public native String lanGetDevStorageAccessBlacklist();

    /**
     * The bandwidth used by the online LAN devices together ("app_m"
     * {@code ZX_APPM_RPC_LAN_GET_DEV_BANDWIDTH}, 30000 ms; reply of at most 64 bytes).
     *
     * @return {@code {"Result":0,"UsBandwidth":640,"DsBandwidth":5120}} (kbit/s, upstream and
     *         downstream); {@code {"Result":-1, "FailReason":""}} when the service fails or does not
     *         answer
     */
    public native String lanGetDevBandwidth();

    /**
     * Sets a LAN device's maximum bandwidth ("app_m" {@code ZX_APPM_RPC_LAN_SET_DEV_MAX_BANDWIDTH},
     * 30000 ms). The MAC is sent in colon form (12 digits become "00:1A:2B:00:10:01",
     * case kept; the first 12 characters are taken).
     *
     * @param mac the device's MAC as 12 hexadecimal digits without separators; null sends an
     *        empty MAC
     * @param upBandwidth the upstream limit, sent unsigned (the simulated service: kbit/s, 0 no limit)
     * @param downBandwidth the downstream limit, sent unsigned, same unit
     * @return the service's JSON answer as it stands ({@code {"Result":0}} from the simulated
     *         service); null when the service fails or does not answer (nothing was written)
     */
    public native String lanSetDevMaxBandwidth(String mac, int upBandwidth, int downBandwidth);

    /**
     * A LAN device's maximum bandwidth ("app_m" {@code ZX_APPM_RPC_LAN_GET_DEV_MAX_BANDWIDTH},
     * 30000 ms; the MAC is sent in colon form, as text without its NUL).
     *
     * @param mac the device's MAC as 12 hexadecimal digits without separators; null sends an
     *        empty MAC
     * @return the service's JSON answer as it stands, such as
     *         {@code {"Result":0,"MAC":"00:1A:2B:00:10:01","UpMaxBandwidth":0,"DownMaxBandwidth":0}};
     *         null when the service fails or does not answer
     */
    public native String lanGetDevMaxBandwidth(String mac);

    /**
     * The status of the LAN ports ("app_m" {@code ZX_APPM_RPC_LAN_GET_PORT_STATUS},
     * 30000 ms), into a 512-byte buffer.
     *
     * @return {@code {"Result":0,"Ports":[{"Port":1,"Link":"Up","Speed":1000,"Duplex":"Full"}]}}
     *         (speed in Mbit/s); {@code {"Result":-1, "FailReason":""}} when the service fails or
     *         does not answer
     */
    public native String lanGetPortStatus();

    /**
     * Switches the per-device traffic statistics on or off ("app_m"
     * {@code ZX_APPM_RPC_LAN_SET_DEV_STATS_STATUS}, 30000 ms).
     *
     * @param b1 1 on, 0 off (the simulated service refuses other values with 0xF7302D02)
     * @return the service's answer, {@code {"Result":0,"Status":1}} from the simulated one;
     *         {@code {"Result":-1, "FailReason":""}} when the service refuses or does not answer
     */
    public native String lanSetDevStatsStatus(int b1);

    /**
     * The traffic counters of one LAN host ("tarn" {@code ZX_TARN_RPC_GET_LAN_HOST_STATS},
     * 5000 ms; the MAC is sent as 6 bytes).
     *
     * @param mac the host's MAC in colon form, "00:1A:2B:00:10:01" (hexadecimal fields read with
     *        {@code %x}; fields that do not parse are sent as 0)
     * @return {@code {"Result":0,"UsStats":52432896,"DsStats":734068736}} (upstream and
     *         downstream bytes); {@code {"Result":-1, "FailReason":""}} when mac is null, the
     *         service refuses (no such host, 0xF7302D01) or does not answer
     */
    public native String getLANHostStats(String mac);

    // System
    /**
     * The processor load, measured by the platform over 10 ms from the processor statistics
     * ({@code /proc/stat}, or {@code $ZX_PROC_DIR/stat} on a host). No service is asked.
     *
     * @return {@code {"Result":0 , "Percent":"12"}} (percent as text, never below 1); null when
     *         the statistics cannot be read
     */
    public native String sysGetCpuUsage();

    /**
     * The memory in use, from the platform's memory statistics ({@code /proc/meminfo}, or
     * {@code $ZX_PROC_DIR/meminfo} on a host). No service is asked.
     *
     * @return {@code {"Result":0 , "Percent":"42"}} (percent as text); null when the statistics
     *         cannot be read
     */
    public native String sysGetMemUsage();

    /**
     * The gateway's IP addresses ("app_m" {@code ZX_APPM_RPC_SYS_GET_IP_ADDR},
     * 30000 ms), into a 512-byte buffer.
     *
     * @return {@code {"Result":0,"WanIPv4":"100.64.12.34","LanIPv4":"192.168.1.1","WanIPv6":"2001:db8:1::2","LanIPv6":"2001:db8:2::1"}};
     *         {@code {"Result":-1, "FailReason":""}} when the service fails or does not answer
     */
    public native String sysGetIpAddr();

    /**
     * The gateway's LOID, the logical identifier its optical line terminal knows it by ("app_m"
     * {@code ZX_APPM_RPC_GET_LOID}, 30000 ms).
     *
     * @return the LOID as plain text, such as "ZXLOID0001"; null when the service fails or does not
     *         answer, or the LOID is longer than 127 characters
     */
    public native String sysGetLoid();

    // USB devices
    /**
     * Registers a plug-in's interest in a type of USB device ("usb_mngt"
     * {@code ZX_USB_RPC_REGISTER}, 30000 ms). On the simulated gateway the calling
     * process then acts as this plug-in for devices of that type (its latest registration for
     * the type counts), and registering an id again takes it over from a process that died.
     *
     * @param plugId the plug-in's id, at most 127 characters
     * @param type the device type, a number of the USB manager (the simulated gateway: 1 serial
     *        adapters, 2 other devices)
     * @return {@code {"Result":0}}, or {@code {"Result":-1,"FailReason":"empty plug-in id"}} with
     *         the USB manager's reason; null when plugId is null or the USB manager does not
     *         answer
     */
    public native String usbRegister(String plugId, int type);

    /**
     * Withdraws a plug-in's registration and releases its device locks ("usb_mngt"
     * {@code ZX_USB_RPC_UNREGISTER}, 30000 ms).
     *
     * @param plugId the plug-in's id, at most 127 characters
     * @return {@code {"Result":0}}, or {@code {"Result":-1,"FailReason":"plug-in X is not registered"}};
     *         null when plugId is null or the USB manager does not answer
     */
    public native String usbUnregister(String plugId);

    /**
     * Locks a device for the plug-in the caller registered as ("usb_mngt" {@code ZX_USB_RPC_LOCK},
     * 30000 ms). A device must be locked before {@link #usbOpen}.
     *
     * @param devId the device id of the USB manager
     * @return {@code {"Result":0}} (also when the caller holds the lock already), or
     *         {@code {"Result":-1,"FailReason":"device 1 is locked by P"}} with the USB manager's
     *         reason (no such device, no plug-in registered for its type, locked by another
     *         plug-in); null when the USB manager does not answer
     */
    public native String usbLock(int devId);

    /**
     * Releases a device lock ("usb_mngt" {@code ZX_USB_RPC_UNLOCK}, 30000 ms).
     *
     * @param devId the device id of the USB manager
     * @return {@code {"Result":0}}, or {@code {"Result":-1,"FailReason":"device 1 is not locked"}}
     *         with the USB manager's reason; null when the USB manager does not answer
     */
    public native String usbUnlock(int devId);

    /**
     * Opens a locked device: asks "usb_mngt" for its device file ({@code ZX_USB_RPC_OPEN},
     * 30000 ms), then opens that file for reading and writing in this process.
     *
     * @param devId the device id of the USB manager
     * @return {@code {"Result":0,"Handle":42}} with the handle for the data calls;
     *         {@code {"Result":-1,"FailReason":"..."}} when the USB manager refuses (not locked,
     *         locked by another plug-in, no such device) or the device file cannot be opened; null
     *         when the USB manager does not answer
     */
    public native String usbOpen(int devId);

    /**
     * Waits up to 4 seconds for data to read on an open device (no service is asked).
     *
     * @param handle the handle {@link #usbOpen} answered
     * @return true when data can be read; false after 4 seconds without data, for a handle above
     *         51579, or when the wait fails (a closed handle)
     */
    public native boolean usbDataAvailable(int handle);

    /**
     * Reads from an open device (no service is asked). Waits until data can be read, then reads
     * at most {@code count} bytes once. The holder's field {@code bytearray} receives a new array
     * of {@code offset + count} bytes: the data stands from index {@code offset}, the rest is zero.
     *
     * @param handle the handle {@link #usbOpen} answered
     * @param holder an object whose class has a field {@code byte[] bytearray}; it receives the
     *        data (left untouched when the read fails)
     * @param offset where the data starts in the array given to the holder, 0 or more
     * @param count the most bytes to read, 0 or more; {@code offset + count} at most 2^31 - 1
     * @param timeOut how long to wait for data, in seconds (not milliseconds: 500 waits more
     *        than 8 minutes); 0 only looks
     * @return {@code {"Result":0,"Len":5}} with the number of bytes read ({@code "Len":0} when
     *         timeOut is 0 and nothing is there); {@code {"Result":-2,"FailReason":""}} when
     *         nothing came within timeOut seconds; {@code {"Result":-1,"FailReason":""}} when the
     *         wait or the read fails; null for a negative handle, offset, count or timeOut, a
     *         holder without the field, or no memory
     */
    public native String usbRead(int handle, Object holder, int offset, int count, int timeOut);

    /**
     * Writes to an open device once (no service is asked; a short write is not retried).
     *
     * @param handle the handle {@link #usbOpen} answered
     * @param data the bytes
     * @param offset index of the first byte to write, 0 or more
     * @param count the number of bytes to write, 0 or more; {@code offset + count} within the array
     * @return {@code {"Result":0,"Len":5}} with the number of bytes written;
     *         {@code {"Result":-1,"FailReason":""}} when data is null, offset or count is negative
     *         or beyond the array, or the write fails
     */
    public native String usbWrite(int handle, byte[] data, int offset, int count);

    /**
     * Sets the serial line of an open device (no service is asked) and puts it in raw mode (no
     * echo, no line editing, no output processing, reads return what is there). Input and output
     * are flushed before and after.
     *
     * @param handle the handle {@link #usbOpen} answered
     * @param rate the speed in bit/s, one of 0, 50, 75, 110, 134, 150, 200, 300, 600, 1200, 1800,
     *        2400, 4800, 9600, 19200, 38400, 57600, 115200, 230400, 460800, 500000, 576000, 921600,
     *        1000000, 1152000, 1500000, 2000000, 2500000, 3000000, 3500000, 4000000
     * @param parity 0 none, 1 even, 2 odd, 3 mark, 4 space (3 and 4 leave the parity-enable bit
     *        as it was)
     * @param bits data bits: 5, 6, 7 or 8
     * @param stopBits stop bits: 1 or 2
     * @param hardwareFlowControl true sets, false clears, bit 0x80000000 (the value of
     *        {@code CRTSCTS}) in the input-mode flags, not in the control flags, so a standard
     *        Linux terminal does not change its RTS/CTS handling
     * @param softwareFlowControl true for XON/XOFF flow control (XON, XOFF and XANY)
     * @return {@code {"Result":0}}; {@code {"Result":-1,"FailReason":""}} for a rate, parity, data
     *         bit or stop bit value not listed, or when the terminal settings cannot be read or
     *         applied (a handle that is not a terminal); a refused value never reaches the line,
     *         but the queues may have been flushed already
     */
    public native String usbSetSerial(int handle, int rate, int parity, int bits, int stopBits,
            boolean hardwareFlowControl, boolean softwareFlowControl);

    /**
     * Closes a handle {@link #usbOpen} answered (no service is asked; the lock stays).
     *
     * @param handle the handle to close
     * @return {@code {"Result":0}}; {@code {"Result":-1,"FailReason":""}} when the number is not
     *         a handle that {@link #usbOpen} answered in this process and that is still open
     */
    public native String usbClose(int handle);

    /**
     * Drops every registration and every lock of every plug-in ("usb_mngt"
     * {@code ZX_USB_RPC_UNREGISTER_ALL}, 30000 ms; no request, no reply read).
     *
     * @return 0 on success; otherwise the bus status as a signed number, such as -135262207
     *         ({@code ZX_MSG_ERR_TIMEOUT}, 0xF7F01001) or -135262206 ({@code ZX_MSG_ERR_NO_DEST},
     *         0xF7F01002: the USB manager is not running)
     */
    public native int usbUnregisterAll();

    // WAN and L2TP tunnels
    /**
     * The WAN interface counters ("app_m" {@code ZX_APPM_RPC_WAN_GET_IF_STATS},
     * 30000 ms; reply of at most 64 bytes).
     *
     * @return {@code {"Result":0,"RxBytes":1048641536,"TxBytes":104865792}} (bytes);
     *         {@code {"Result":-1, "FailReason":""}} when the service fails or does not answer
     */
    public native String wanGetIfStats();

    /**
     * The PPPoE account of the WAN connection ("tarn" {@code ZX_TARN_RPC_GET_PPPOE_USER},
     * 5000 ms).
     *
     * @return {@code {"Result":0, "PppoeAccount":"user001@isp"}} (the name as it stands, not
     *         escaped); {@code {"Result":-1, "FailReason":""}} when the service fails or does not
     *         answer
     */
    public native String wanGetPppoeAccount();

    /**
     * Brings up an L2TP tunnel to a server, on UDP port 1701 ("tarn" {@code ZX_TARN_RPC_VPN_SETUP},
     * 5000 ms).
     *
     * @param str the L2TP server's (LNS) address, at most 255 characters
     * @param str2 the PPP user name, at most 63 characters
     * @param str3 the PPP password, at most 63 characters
     * @return {@code {"Result":0,"TunnelName":"l2tp1"}} with the name the other tunnel natives
     *         take; {@code {"Result":-1, "FailReason":""}} when an argument is too long or the
     *         service fails or does not answer; null when an argument is null
     */
    public native String wanCreateL2tpTunnel(String str, String str2, String str3);

    /**
     * Tears a tunnel down ("tarn" {@code ZX_TARN_RPC_VPN_TEARDOWN}, 5000 ms).
     *
     * @param tunnel the tunnel's name as {@link #wanCreateL2tpTunnel} answered it, at most 63
     *        characters
     * @return {@code {"Result":0}}; {@code {"Result":-1, "FailReason":""}} when the name is too
     *         long or the service fails or does not answer; null when the name is null or empty
     *         (nothing is sent)
     */
    public native String wanRemoveL2tpTunnel(String tunnel);

    /**
     * Adds destinations to a tunnel: traffic to them goes through it ("tarn"
     * {@code ZX_TARN_RPC_VPN_ADDR_ADD}, 5000 ms, destination list; the list travels
     * in a shared data block, compressed above 2048 bytes).
     *
     * @param tunnel the tunnel's name, at most 63 characters
     * @param addresses the destination addresses, joined with "," (null elements are skipped;
     *        each may use 64 characters on average, longer ones are cut)
     * @return {@code {"Result":0}}; {@code {"Result":-1, "FailReason":""}} when the service fails
     *         or does not answer; null when the tunnel name is null or empty, the list is empty, or
     *         no memory is left
     */
    public native String wanAttachL2tpTunnel(String tunnel, String[] addresses);

    /**
     * Removes destinations from a tunnel ("tarn" {@code ZX_TARN_RPC_VPN_ADDR_DEL},
     * 5000 ms, destination list in a shared data block).
     *
     * @param tunnel the tunnel's name, at most 63 characters
     * @param addresses the destination addresses, joined with "," as for
     *        {@link #wanAttachL2tpTunnel}
     * @return {@code {"Result":0}}; {@code {"Result":-1, "FailReason":""}} when the service fails
     *         or does not answer; null when the tunnel name is null or empty, the list is empty, or
     *         no memory is left
     */
    public native String wanDetachL2tpTunnel(String tunnel, String[] addresses);

    /**
     * The status of a tunnel ("tarn" {@code ZX_TARN_RPC_GET_TUNNEL_STATUS}, 5000 ms).
     *
     * @param tunnel the tunnel's name
     * @return {@code {"Result":0 ,"TunnelStatus":"1"}} with the service's status word (the
     *         simulated service: 1 up, 0 for a name it does not know);
     *         {@code {"Result":-1, "FailReason":""}} when the service fails or does not answer;
     *         null when the name is null
     */
    public native String wanGetL2tpTunnelStatus(String tunnel);

    /**
     * Adds a WAN access (NAT) rule ("app_m" {@code ZX_APPM_RPC_SET_NAT_INFO}, operation
     * 1, 30000 ms).
     *
     * @param address1 the first address, a valid IPv4 address text (at most 15 characters)
     * @param address2 the second address, a valid IPv4 address text ("0.0.0.0" for any)
     * @param port the port, 0 to 65535
     * @param text3 the rule's third field, such as the protocol "TCP", at most 15 characters
     * @return 0 when the rule was added; -1 when a text is null, an address is not valid, the port
     *         is 65536 or more, or the service refuses (the simulated one: the rule exists,
     *         0xF7103A01) or does not answer
     */
    public native int addWANAccessRule(String address1, String address2, int port, String text3);

    /**
     * Deletes a WAN access (NAT) rule ("app_m" {@code ZX_APPM_RPC_SET_NAT_INFO},
     * operation 0, 30000 ms).
     *
     * @param address1 the first address of the rule, a valid IPv4 address text
     * @param address2 the second address of the rule, a valid IPv4 address text
     * @param port the rule's port, 0 to 65535
     * @param text3 the rule's third field, such as "TCP"
     * @return 0 when the rule was deleted; -1 when a text is null, an address is not valid, the
     *         port is 65536 or more, or the service refuses (the simulated one: no such rule,
     *         0xF7103A02) or does not answer
     */
    public native int deleteWANAccessRule(String address1, String address2, int port, String text3);

    // WLAN and LEDs
    /**
     * The security settings of an SSID ("app_m" {@code ZX_APPM_RPC_WLAN_GET_SECURITY},
     * 30000 ms), into a 256-byte buffer.
     *
     * @param ssidIndex the SSID, 1 to 8
     * @return the service's JSON as it stands, such as
     *         {@code {"Result":0,"SSIDIndex":1,"SecurityMode":"WPA2-PSK","Key":"harbour-lights-42"}}
     *         or {@code {"Result":-1,"FailReason":"no SSID 9"}}; {@code {"Result":1}} when the
     *         service fails or does not answer
     */
    public native String wlanGetSecurity(int ssidIndex);

    /**
     * Sets the security of an SSID ("app_m" {@code ZX_APPM_RPC_WLAN_SET_SECURITY},
     * 30000 ms). The key's native copy is overwritten with zeros before it is freed. The service's
     * JSON answer is not returned: 0 only means the service answered.
     *
     * @param ssidIndex the SSID, 1 to 8
     * @param first the security mode, at most 63 characters: "None", "WPA-PSK", "WPA2-PSK",
     *        "WPA-WPA2-PSK", "WPA3-SAE", "WPA2-WPA3" on the simulated gateway
     * @param key the key, up to 64 characters (the simulated service: 8 to 63 printable
     *        characters or 64 hexadecimal digits; ignored for "None")
     * @return 0 when the service answered (its refusal, such as an unknown mode, is in the
     *         JSON that is not returned: read the settings back with {@link #wlanGetSecurity});
     *         -1 when a text is null or the service fails or does not answer
     */
    public native int wlanSetSecurity(int ssidIndex, String first, String key);

    /**
     * Switches a radio's automatic channel selection ("wifi"
     * {@code ZX_WIFI_RPC_SET_AUTO_CHANNEL_ENABLE}, 5000 ms).
     *
     * @param radioIndex the radio: 0 the 2.4 GHz radio, 1 the 5 GHz radio; 2 is refused without a call
     * @param enable 1 on, 0 off
     * @return 0 on success; -1 for radio 2, or when the service refuses (no such radio 0xF7603001,
     *         a bad value 0xF7603002) or does not answer
     */
    public native int wlanSetAutoChannelEnable(int radioIndex, int enable);

    /**
     * Sets a radio's channel width ("wifi" {@code ZX_WIFI_RPC_SET_CHANNEL_WIDTH},
     * 5000 ms).
     *
     * @param radioIndex the radio: 0 the 2.4 GHz radio, 1 the 5 GHz radio; 2 is refused without a call
     * @param width the width in MHz: 20 or 40, on the 5 GHz radio also 80 and 160
     * @return 0 on success; -1 for radio 2, or when the service refuses (no such radio, a width
     *         the radio does not take) or does not answer
     */
    public native int wlanSetChannelWidth(int radioIndex, int width);

    /**
     * Sets the channels a radio must not use ("wifi" {@code ZX_WIFI_RPC_SET_FORBID_CHANNEL},
     * 5000 ms). The channel numbers travel as bytes of a text (at most 31, ended by
     * the first 0); a radio under automatic selection leaves a channel that became forbidden.
     *
     * @param radioIndex the radio: 0 the 2.4 GHz radio, 1 the 5 GHz radio; 2 is refused without a call
     * @param count the number of channels taken from the array, at most 32 and at most its
     *        length; 0 or less sends no channel (the simulated service then lifts every ban)
     * @param channels the channel numbers, one a char, each cut to its low 8 bits (1 to 255)
     * @return 0 on success; -1 when count is beyond 32 or the array, for radio 2, or when the
     *         service refuses or does not answer
     */
    public native int wlanSetForbidChannel(int radioIndex, int count, char[] channels);

    /**
     * Switches an SSID on or off ("app_m" {@code ZX_APPM_RPC_WLAN_SET_STATE}, 30000 ms).
     *
     * @param ssidIndex the SSID, 1 to 8
     * @param state 1 on, 0 off
     * @return the service's JSON as it stands: {@code {"Result":0}}, or a refusal such as
     *         {@code {"Result":-1,"FailReason":"no SSID 9"}}; {@code {"Result":-1, "FailReason":""}}
     *         when the service fails or does not answer
     */
    public native String wlanSetState(int ssidIndex, int state);

    /**
     * Whether an SSID is on ("app_m" {@code ZX_APPM_RPC_WLAN_GET_STATE}, 30000 ms).
     *
     * @param ssidIndex the SSID, 1 to 8
     * @return the service's word: 1 on, 0 off; 0 also when the service fails or does not answer
     */
    public native int wlanGetState(int ssidIndex);

    /**
     * Whether an SSID is hidden ("app_m" {@code ZX_APPM_RPC_WLAN_GET_HIDE}, 30000 ms).
     *
     * @param ssidIndex the SSID, 1 to 8
     * @return the service's word: 1 hidden, 0 shown; 0 also when the service fails or does not answer
     */
    public native int wlanGetHide(int ssidIndex);

    /**
     * Hides or shows an SSID ("app_m" {@code ZX_APPM_RPC_WLAN_SET_HIDE}, 30000 ms).
     *
     * @param ssidIndex the SSID, 1 to 8
     * @param hide 1 hidden, 0 shown
     * @return 0 on success; -1 when the service answers 0xF760300A (no such SSID); -100 for any
     *         other failure (a bad value, no answer within the time-out, service not running)
     */
    public native int wlanSetHide(int ssidIndex, int hide);

    /**
     * Starts WPS ("wifi" {@code ZX_WIFI_RPC_START_WPS}, 5000 ms). The simulated session
     * ends 120000 ms after its start (profile member {@code wpsMs}).
     *
     * @param ssidIndex the SSID
     * @return 0 on success; otherwise the service's or the bus's status as a signed number, such
     *         as -144691190 (0xF760300A, no such SSID) or -135262207 ({@code ZX_MSG_ERR_TIMEOUT})
     */
    public native int wlanStartWPS(int ssidIndex);

    /**
     * Whether a WPS session is open ("wifi" {@code ZX_WIFI_RPC_GET_WPS_STATE}, 5000 ms).
     * The gateway has one WPS state: the index is traced but not sent.
     *
     * @param ssidIndex the SSID (not sent)
     * @return 1 while a session is open, 0 otherwise; on failure the bus's status as a signed
     *         number, such as -135262207 ({@code ZX_MSG_ERR_TIMEOUT})
     */
    public native int wlanGetWPSState(int ssidIndex);

    /**
     * The associated wireless hosts ("wifi" {@code ZX_WIFI_JNI_RPC_GET_WLANHOSTINFO},
     * 5000 ms; reply of at most 4096 bytes).
     *
     * @param macs up to 8 MACs in colon form, each at most 19 characters (longer ones are cut;
     *        null elements are sent empty); null, an empty array or one empty text asks for every host
     * @param unused not used
     * @return the service's JSON as it stands,
     *         {@code {"Result":0,"List":[{"MAC":"A4:5E:60:1B:2C:3D","SSIDIndex":1,"RSSI":-48,"TxRate":144,"RxRate":130}]}}
     *         (RSSI in dBm, rates in Mbit/s); {@code {"Result":-1, "List":null}} when the service
     *         fails or does not answer; null for more than 8 MACs (nothing is sent) or no memory
     */
    public native String getWLANHostInfo(String[] macs, int unused);

    /**
     * The information of one SSID or of all ("app_m" {@code ZX_APPM_RPC_WLAN_GET_SSID_INFO},
     * 30000 ms).
     *
     * @param ssid the SSID, 1 to 8; 0 for every SSID
     * @return {@code {"Result":0,"SSIDs":[{"SSIDIndex":1,"SSID":"Zentrix-5A3C","Band":"2.4GHz","Enable":1,"Hide":0,"SecurityMode":"WPA2-PSK"}]}}
     *         or the service's refusal ({@code {"Result":-1,"FailReason":"no SSID 9"}}); null when
     *         the service fails or does not answer, the answer exceeds 4095 characters (ssid 0) or
     *         511 (one SSID), or no memory is left
     */
    public native String sysGetWLanInfo(int ssid);

    /**
     * Sets an LED's colour and blinking ("app_m" {@code ZX_APPM_RPC_SET_LED_STATE},
     * 30000 ms).
     *
     * @param ledId the LED's number
     * @param color 0 off, 1 green, 2 red, 3 amber (the simulated gateway's colours)
     * @param ontime how long the LED is lit in each blink, in milliseconds
     * @param offtime how long it is dark in each blink, in milliseconds (both 0: steady)
     * @return "0" on success; "-1" when the service refuses (no such LED, a bad value) or does
     *         not answer. Never JSON
     */
    public native String LedSetState(int ledId, int color, int ontime, int offtime);

    // Events and notifications
    /**
     * Raises event 12342 ({@code ZX_EVENT_INFORM}) on the gateway's event centre (on a host: the
     * "eventcenter" endpoint, 5000 ms) with a 932-byte record: name and data. A null text leaves
     * its field empty and the event is raised all the same.
     *
     * @param name the event's name, at most 63 characters (longer ones are cut)
     * @param data the event's data, at most 863 characters (longer ones are cut)
     * @return {@code {"Result":0}}; null when the event centre refused the event or did not answer
     */
    public native String eventInform(String name, String data);

    /**
     * Raises event 12348 ({@code ZX_EVENT_NOTIFY}) with a name and data, in the record of
     * {@link #eventInform}.
     *
     * @param name the notification's name, at most 63 characters (longer ones are cut; null: empty)
     * @param data its data, at most 863 characters (longer ones are cut; null: empty)
     * @return the event centre's result: 0 raised; otherwise its status as a signed number, such
     *         as -135262206 ({@code ZX_MSG_ERR_NO_DEST}: no event centre running)
     */
    public native int notifyEvent(String name, String data);

    /**
     * Raises event 12355 ({@code ZX_EVENT_NOTIFY_EXTENDED}) with two names and data, in a
     * 992-byte record.
     *
     * @param first the first name, at most 63 characters (longer ones are cut; null: empty)
     * @param second the second name, at most 63 characters (longer ones are cut; null: empty)
     * @param data the data, at most 863 characters (longer ones are cut; null: empty)
     * @return the event centre's result: 0 raised; otherwise its status as a signed number
     */
    public native int notifyEvent(String first, String second, String data);

    /**
     * Writes one line into the platform's trace of this process (level 0, no file, line 0, flag
     * 3; on a host the sink chosen by {@code ZX_TRACE}). No service is asked.
     *
     * @param text the line. It is handed to the trace as its format: do not put conversion
     *        specifications ("%s", "%n", ...) into it; write "%%" for a percent sign. A null text
     *        writes nothing
     */
    public native void osgiPrintF(String text);

    /**
     * Reports the state of the connection to a service platform ("app_m"
     * {@code ZX_APPM_RPC_NOTIFY_PLATFORM_CONNECT_STATE}, 30000 ms; no reply). The
     * outcome is only traced: Java learns nothing of it.
     *
     * @param platform the platform's text, at most 127 characters (longer ones are cut); null
     *        sends nothing
     * @param state the connection state, a number passed on unchanged
     */
    public native void NotifyServicePlatformConnectState(String platform, int state);

    /**
     * The gateway's registration status with the management cloud ("app_m"
     * {@code ZX_APPM_RPC_GET_CLOUD_STATUS}, 30000 ms).
     *
     * @return the service's status word (the simulated gateway: 1 registered, from its profile
     *         member {@code cloudStatus}); 0 when not registered, and also when the status cannot
     *         be read (service failing or not answering)
     */
    public native int isCloudRegistered();

    // Storage and media
    /**
     * Switches the media-file scanner on or off ("app_m" {@code ZX_APPM_RPC_SET_FILES_SCAN_SWITCH},
     * 30000 ms). The outcome is only traced.
     *
     * @param switcher 1 on, 0 off (the simulated service refuses other values in its answer)
     */
    public native void setFilesScanSwitch(int switcher);

    /**
     * The scanner's list of the files of one type ("app_m" {@code ZX_APPM_RPC_GET_FILES_SCAN_LIST},
     * 30000 ms). The list comes back in a shared data block, which is read and freed.
     *
     * @param fileType "video", "picture" or "music"
     * @return the service's text, such as
     *         {@code {"Result":0,"Type":"video","Files":["/mnt/usb1_1/movies/holiday.mp4"]}}
     *         (paths of the gateway; the simulated one answers host paths under {@code ZX_ROOT});
     *         {@code {"Result":-1, "FailReason":""}} when the scanner is off (0xF7105001), the type
     *         is unknown (0xF7105002), the block cannot be read, or the service does not answer;
     *         null when fileType is null
     */
    public native String getFilesScanListByType(String fileType);

    /**
     * One line per attached disc ("usb_mngt" {@code ZX_USB_RPC_GET_DISC_INFO},
     * 30000 ms, at most 32 discs); the space is measured in this process with {@code statfs} on
     * the mount path.
     *
     * @return lines "label;file-system type;mount path;total;used;free" with the three figures in
     *         bytes (used = total - free; free counts every free block), such as
     *         "USB_DISK1;vfat;/mnt/usb1_1;270553174016;22203924480;248349249536"; an empty array
     *         when no disc is attached; null when the USB manager fails or does not answer
     */
    public native String[] queryVolumeLabelInfo();

    /**
     * Renames a disc by its label ("usb_mngt" {@code ZX_USB_RPC_CHANGE_DISC_NAME},
     * 30000 ms).
     *
     * @param first the disc's current label (at most 63 characters reach the service)
     * @param second the new label, 1 to 63 characters without "/"
     * @return true when the disc was renamed; false when a text is null, or the USB manager
     *         refuses (no such disc 0xF7104001, a bad name 0xF7104002) or does not answer
     */
    public native boolean changeVolumeLabelName(String first, String second);

    /**
     * Renames the disc mounted at a path ("usb_mngt" {@code ZX_USB_RPC_CHANGE_DISC_NAME_BY_PATH},
     * 30000 ms).
     *
     * @param first the disc's mount path (at most 63 characters reach the service)
     * @param second the new label, 1 to 63 characters without "/"
     * @return true when the disc was renamed; false when a text is null, or the USB manager
     *         refuses or does not answer
     */
    public native boolean changeVolumeLabelNameByPath(String first, String second);

    /**
     * The mount path of the disc with a label ("usb_mngt" {@code ZX_USB_RPC_GET_MNT_PATH_BY_DISC_NAME},
     * 30000 ms).
     *
     * @param name the disc's label, at most 63 characters
     * @return the mount path (at most 127 characters), such as "/mnt/usb1_1"; null when the name
     *         is null, the USB manager refuses (no such disc) or does not answer
     */
    public native String getVolumeLabelMntPath(String name);

    /**
     * The scanner's counts of media files ("app_m" {@code ZX_APPM_RPC_GET_MEDIA_FILES_INFO},
     * 30000 ms).
     *
     * @return one element, "video:V;picture:P;music:M" (the simulated scanner answers 0 for each
     *         while it is off); null when the service fails or does not answer
     */
    public native String[] getMediaFilesInfo();

    // HTTP forwarding, capabilities, voice
    /**
     * Admits source addresses to HTTP forwarding, one request each ("tarn"
     * {@code ZX_TARN_RPC_HTTP_FORWARD_ADD_AUTH}, 5000 ms).
     *
     * @param list the source addresses; every element is sent, even after a failure
     * @param jbSwitch false does nothing
     * @return "0" when the last element was admitted, or nothing was to be done (switch off,
     *         empty list); "-1" when the last element failed (null, empty, refused or no answer):
     *         only the last element decides
     */
    public native String jniHttpForwardAttachAuth(String[] list, boolean jbSwitch);

    /**
     * Starts HTTP forwarding ("tarn", 5000 ms each): clears the rules
     * ({@code ZX_TARN_RPC_HTTP_FORWARD_INIT}), sends each white-list address
     * ({@code ZX_TARN_RPC_HTTP_FORWARD_ADD_WHITENAME_LIST}) and each always-forward
     * address ({@code ZX_TARN_RPC_HTTP_FORWARD_SET_ALWAYS_FORWARD_RULE}), then the
     * default rule ({@code ZX_TARN_RPC_HTTP_FORWARD_SET_DEFAULT_FORWARD_RULE}), which
     * starts forwarding. The first failing step stops the start; what was sent stays.
     *
     * @param ssid the SSID whose clients are forwarded, sent with the default rule
     * @param defaultForwardPort the port traffic is forwarded to by default
     * @param whiteDstAddr destinations never forwarded, at most 32 (null elements skipped)
     * @param alwaysFwd destinations always forwarded, at most 32, each at most 256 characters
     *        (null elements skipped)
     * @param alwaysForwardPort the port the always-forwarded destinations go to
     * @param denyOtherPackage not sent to the service
     * @return "0" when every step succeeded; "-1" for more than 32 entries in either list
     *         (nothing is sent) or when a step failed
     */
    public native String jniHttpForwardStart(int ssid, int defaultForwardPort, String[] whiteDstAddr,
            String[] alwaysFwd, int alwaysForwardPort, boolean denyOtherPackage);

    /**
     * Stops HTTP forwarding ("tarn" {@code ZX_TARN_RPC_HTTP_FORWARD_STOP}, 5000 ms).
     *
     * @return "0", whatever happened
     */
    public native String jniHttpForwardStop();

    /**
     * The permissions of the installed plug-ins. Asks "osgi_proxy" for the number of deployment
     * units ({@code ZX_OSGI_RPC_GET_DU_COUNT}, 60000 ms), makes a System V
     * shared-memory segment (key 0xD6EC6, 2170 bytes a unit), has the bundle manager write the
     * permissions into it ({@code ZX_OSGI_RPC_GET_PLUGIN_PERMISSIONS}, 60000 ms),
     * reads it and removes it again.
     *
     * @return the bundle manager's text, such as
     *         {@code [{"Name":"com.zentrix.mediashare","Permissions":["usb.access","media.read"]}]};
     *         the fault text {@code {"Result":-1}} when the count is 0 or cannot be read, the
     *         segment cannot be made, attached or removed, or the bundle manager fails or does not
     *         answer; null when even that text cannot be built
     */
    public native String getPluginPermissions();

    /**
     * What the platform answers for a feature switch (from the gateway profile's
     * {@code features} on a host). No service is asked.
     *
     * @param feature the switch's name, such as "FT_PLUGIN_PERMISSION_ENABLE"
     * @return 1 when the switch is on, 0 when it is off or unknown; 1 also for a null name
     */
    public native int getFeatureSwitch(String feature);

    /**
     * The path of the list of platform APIs plug-ins may use: "/etc/wap/customize/" and the
     * platform value "VELM_SPEC_PLUGIN_APILIST". No service is asked.
     *
     * @return the path, such as "/etc/wap/customize/plugin_apilist.json" (at most 63
     *         characters); the fault text {@code {"Result":-1}} when the feature switch
     *         "FT_PLUGIN_PERMISSION_ENABLE" is off or the platform value is not configured
     */
    public native String getAPIFilePath();

    /**
     * Sets a telephone line's do-not-disturb state ("voice" {@code ZX_VOICE_RPC_SET_POTS_DND},
     * 30000 ms; no reply read).
     *
     * @param line the POTS line number (the simulated gateway: 1 and 2)
     * @param state 1 do not disturb, 0 normal
     * @return 0 on success; -1 when the voice service refuses (no such line 0xF7209001, a state
     *         other than 0 and 1 0xF7209002) or does not answer
     */
    public native int voiceSetPOTSDoNotDisturb(int line, int state);

    /**
     * A telephone line's do-not-disturb state ("voice" {@code ZX_VOICE_RPC_GET_POTS_DND},
     * 30000 ms).
     *
     * @param line the POTS line number
     * @return {@code { "Result": 0, "State": 1 }} (1 do not disturb, 0 normal), or
     *         {@code { "Result": 1, "State": 0 }} when the voice service refuses or does not answer
     */
    public native String voiceGetPOTSDoNotDisturbState(int line);
}
