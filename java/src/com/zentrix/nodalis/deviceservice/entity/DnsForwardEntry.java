package com.zentrix.nodalis.deviceservice.entity;

/**
 * A DNS forwarding entry for {@link JNINativeMethods#send}: the domains whose queries go to a DNS
 * server of the plug-in's choosing (commands 4 and 5), or the server whose forwarding statistic
 * is asked for (command 3).
 */
public class DnsForwardEntry {
    private final String dnsData;
    private final String forwardIP;
    private final String ipOfStatics;

    /**
     * @param dnsData the domain data as the gateway's broadband service reads it
     * @param forwardIP the DNS server the domains' queries are forwarded to
     * @param ipOfStatics the DNS server whose forwarded queries are counted
     */
    public DnsForwardEntry(String dnsData, String forwardIP, String ipOfStatics) {
        this.dnsData = dnsData;
        this.forwardIP = forwardIP;
        this.ipOfStatics = ipOfStatics;
    }

    public String getDNSData() {
        return dnsData;
    }

    public String getForwardIP() {
        return forwardIP;
    }

    public String getIpOfStatics() {
        return ipOfStatics;
    }
}
