package com.zentrix.nodalis.deviceservice.entity;

/**
 * The entity service: starts the library's link to the gateway's message bus and runs the
 * numbered commands of the tunnel and device-information API.
 *
 * <p>The commands of {@link #send} are answered by the broadband service "tarn", the
 * configuration service "app_m" and the remote-management service "cwmp", each call waiting up
 * to 5000 ms (times {@code ZX_TIMEOUT_SCALE} on a host). The command numbers, their argument
 * objects and their answers are listed in {@code docs/reference.md}.
 */
public class JNINativeMethods {
    static {
        System.loadLibrary("zxjavabridge");
    }

    /**
     * Registers this process on the message bus under the name "jamvm" (queue sizes 1024 and
     * 1024), registers the handler of module id 0 and starts the message thread
     * "JNImsgthread", which receives bus messages for the rest of the process's life and only
     * traces them. Call it once, early; there is no way to stop the link. Natives that call a
     * service work without it too (a process without an endpoint can still make calls). On a
     * host, a "jamvm" left behind by a process that died is taken over; one held by a live
     * process makes this call fail.
     *
     * @return 0 when the bus link is up (also when it already was); 1 when the platform library
     *         "libzx_kor_basic.so" cannot be loaded, a platform function is missing, the bus
     *         registration fails (for example "jamvm" is held by another live process) or the
     *         thread cannot be started; a later call tries again
     */
    public native int startThread();

    /**
     * Runs one numbered command and answers in a 500-byte buffer.
     *
     * <p>Text commands (1, 2, 11, 14 to 21) answer the service's text: 1 the device MAC
     * ("tarn" {@code ZX_TARN_RPC_GET_ONT_MAC}), 2 the WAN address ({@code ZX_TARN_RPC_GET_WAN_IP}),
     * 11 the PPPoE user name ({@code ZX_TARN_RPC_GET_PPPOE_USER}), 14 the PPPoE name and WAN
     * address of the connection named by {@code arg} as
     * {@code {"Result":0, "PPPoEName":"..." ,"WANIP":"..." }} ("app_m"
     * {@code ZX_APPM_RPC_GET_PPPOE_WAN}; a call that fails still answers this text, with both
     * values empty), 15 the WLAN channel number ({@code ZX_APPM_RPC_GET_WLAN_CHANNEL}),
     * 16 the management (cloud) address ({@code ZX_APPM_RPC_GET_MGT_ADDRESS}), 17 the LAN address
     * of "br0" (read locally), 18 the physical device information ({@code ZX_APPM_RPC_GET_PHY_INFO}),
     * 19 the state of the last upgrade (read from "/mnt/jffs2/save_upgrade_status", "4" when the
     * file is missing), 20 the management address and port as "address:port", a host name resolved
     * to its first address ("cwmp" {@code ZX_CWMP_RPC_GET_MGT_ADDRESS} when the feature switch
     * "FT_CWMP_OPCO_RMS" is on, else "app_m"; "tarn" {@code ZX_TARN_RPC_RESOLVE_DOMAIN}), 21 the
     * addresses the domain {@code arg} resolves to, joined by "," (a domain that already is an
     * address comes back as it is).
     *
     * <p>Numeric commands answer a decimal number: 3 the number of queries forwarded to the DNS
     * server {@link DnsForwardEntry#getIpOfStatics} ("0" also when the call failed); 4 and 5 add
     * and delete DNS forwarding ({@link DnsForwardEntry}); 6 and 7 set up and tear down an L2TP
     * tunnel, 8 and 9 add and delete its destination addresses, 100 and 101 its source addresses
     * ({@link VpnTunnel}); 12 and 13 add and delete monitored destinations
     * ({@link TrafficMonitoringRequest}). These answer the result code: "0" success, "1" a missing
     * argument or field, "257" an argument too long, otherwise the platform's or service's
     * status as a signed number (for example "-135262207" for {@code ZX_MSG_ERR_TIMEOUT},
     * 0xF7F01001, "-135262206" for {@code ZX_MSG_ERR_NO_DEST}, 0xF7F01002: service not running).
     *
     * @param type the command number: 1 to 9, 11 to 21, 100 or 101; any other number (0, 10,
     *        22 to 99, above 101, negative) is unknown and answers null
     * @param arg the command's input: a {@link DnsForwardEntry} (3, 4, 5), a {@link VpnTunnel}
     *        (6 to 9, 100, 101), a {@link TrafficMonitoringRequest} (12, 13), a String (14: the
     *        connection name, such as "INTERNET_PPPOE"; 21: the domain name, at most 499
     *        characters); ignored by the other commands. The members are read by name, so any
     *        class with the same fields and getters will do
     * @return the command's text answer, or the decimal form of its result code; null when the
     *         answer is empty: an unknown command, or a failed text command (service did not
     *         answer in 5000 ms, refused, reply too long for its buffer, missing or too-long
     *         argument). Command 15 keeps whatever was written before a failure
     */
    public native String send(int type, Object arg);
}
