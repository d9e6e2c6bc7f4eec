package com.zentrix.nodalis.deviceservice.entity;

/**
 * A DNS forwarding entry for {@link JNINativeMethods#send}: the domains whose queries go to a DNS
 * server of the plug-in's choosing (commands 4 and 5), or the server whose forwarding statistic
 * is asked for (command 3). The native side calls the getters by name.
 */
public class DnsForwardEntry {
    private final String dnsData;
    private final String forwardIP;
    private final String ipOfStatics;

    /**
     * An entry with its domains and servers.
     *
     * @param dnsData the domain data as the gateway's broadband service reads it (not empty)
     * @param forwardIP the DNS server the domains' queries are forwarded to, at most 15 characters
     * @param ipOfStatics the DNS server whose forwarded queries are counted, at most 255 characters
     */
    public DnsForwardEntry(String dnsData, String forwardIP, String ipOfStatics) {
        this.dnsData = dnsData;
        this.forwardIP = forwardIP;
        this.ipOfStatics = ipOfStatics;
    }

    /**
     * The domains of commands 4 (add) and 5 (delete).
     *
     * @return the domain data, sent to the broadband service in a shared data block
     */
    public String getDNSData() {
        return dnsData;
    }

    /**
     * The server of command 4.
     *
     * @return the DNS server address as text
     */
    public String getForwardIP() {
        return forwardIP;
    }

    /**
     * The server of command 3.
     *
     * @return the DNS server address as text
     */
    public String getIpOfStatics() {
        return ipOfStatics;
    }
}
