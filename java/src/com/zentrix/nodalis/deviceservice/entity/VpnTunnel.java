package com.zentrix.nodalis.deviceservice.entity;

/**
 * An L2TP tunnel for {@link JNINativeMethods#send}: set-up and tear-down (commands 6 and 7) read
 * the server, the PPP credentials and the port; the address-list commands (8, 9, 100, 101) also
 * read the destination or source address list. The native side reads the fields and getters by
 * name; a null server, user name, password or list makes the command answer "1".
 */
public class VpnTunnel {
    /** Address of the L2TP server (LNS), at most 255 characters (a longer one is refused: "257" or "1"). */
    public String lnsAddress;
    /** PPP user name, at most 63 characters. */
    public String userName;
    /** PPP password, at most 63 characters; the native copy is overwritten with zeros before it is freed. */
    public String password;
    /** Destination UDP port (set-up only); the native side reads its 16 bits (-1 is port 65535). */
    public short desPort;

    private final String desAddressList;
    private final String srcAddressList;

    /**
     * A tunnel with its credentials and address lists.
     *
     * @param lnsAddress address of the L2TP server
     * @param userName PPP user name
     * @param password PPP password
     * @param desPort destination UDP port (1701 is the L2TP port)
     * @param desAddressList the destination list of commands 8 and 9, in the broadband service's
     *        list format, below 262144 bytes
     * @param srcAddressList the source list of commands 100 and 101, in the same format
     */
    public VpnTunnel(String lnsAddress, String userName, String password, short desPort, String desAddressList,
            String srcAddressList) {
        this.lnsAddress = lnsAddress;
        this.userName = userName;
        this.password = password;
        this.desPort = desPort;
        this.desAddressList = desAddressList;
        this.srcAddressList = srcAddressList;
    }

    /**
     * The destinations whose traffic goes through the tunnel (commands 8 and 9).
     *
     * @return the list in the broadband service's format, passed to it unchanged
     */
    public String getDesAddressList() {
        return desAddressList;
    }

    /**
     * The sources whose traffic goes through the tunnel (commands 100 and 101).
     *
     * @return the list in the broadband service's format, passed to it unchanged
     */
    public String getSrcAddressList() {
        return srcAddressList;
    }
}
