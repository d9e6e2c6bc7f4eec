package com.zentrix.nodalis.deviceservice.entity;

/**
 * An L2TP tunnel for {@link JNINativeMethods#send}: set-up and tear-down (commands 6 and 7) read
 * the server, the PPP credentials and the port; the address-list commands (8, 9, 100, 101) also
 * read the destination or source address list.
 */
public class VpnTunnel {
    /** Address of the L2TP server (LNS), at most 255 characters. */
    public String lnsAddress;
    /** PPP user name, at most 63 characters. */
    public String userName;
    /** PPP password, at most 63 characters. */
    public String password;
    /** Destination UDP port; the native side reads its 16 bits (-1 is port 65535). */
    public short desPort;

    private final String desAddressList;
    private final String srcAddressList;

    public VpnTunnel(String lnsAddress, String userName, String password, short desPort, String desAddressList,
            String srcAddressList) {
        this.lnsAddress = lnsAddress;
        this.userName = userName;
        this.password = password;
        this.desPort = desPort;
        this.desAddressList = desAddressList;
        this.srcAddressList = srcAddressList;
    }

    /** The destinations whose traffic goes through the tunnel, in the broadband service's list format. */
    public String getDesAddressList() {
        return desAddressList;
    }

    /** The sources whose traffic goes through the tunnel, in the broadband service's list format. */
    public String getSrcAddressList() {
        return srcAddressList;
    }
}
