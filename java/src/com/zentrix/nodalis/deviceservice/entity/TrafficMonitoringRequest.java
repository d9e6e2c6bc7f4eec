package com.zentrix.nodalis.deviceservice.entity;

/**
 * Traffic to monitor on behalf of a bundle, for {@link JNINativeMethods#send} commands 12 (add)
 * and 13 (delete). The native side reads the field and the getter by name; a null or empty
 * name or list makes the command answer "1".
 */
public class TrafficMonitoringRequest {
    /** The bundle the traffic is monitored for; longer names are cut to 255 characters (127 in the notice to "app_m"). */
    public String bundleName;

    private final String destAddressList;

    /**
     * A request for one bundle.
     *
     * @param bundleName the bundle the traffic is monitored for
     * @param destAddressList the destination addresses, in the broadband service's list format
     */
    public TrafficMonitoringRequest(String bundleName, String destAddressList) {
        this.bundleName = bundleName;
        this.destAddressList = destAddressList;
    }

    /**
     * The destinations to monitor.
     *
     * @return the list in the broadband service's format, sent in a shared data block
     */
    public String getDestAddressList() {
        return destAddressList;
    }
}
