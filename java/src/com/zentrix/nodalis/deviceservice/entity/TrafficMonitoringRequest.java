package com.zentrix.nodalis.deviceservice.entity;

/**
 * Traffic to monitor on behalf of a bundle, for {@link JNINativeMethods#send} commands 12 (add)
 * and 13 (delete).
 */
public class TrafficMonitoringRequest {
    /** The bundle the traffic is monitored for. */
    public String bundleName;

    private final String destAddressList;

    public TrafficMonitoringRequest(String bundleName, String destAddressList) {
        this.bundleName = bundleName;
        this.destAddressList = destAddressList;
    }

    /** The destination addresses, in the broadband service's list format. */
    public String getDestAddressList() {
        return destAddressList;
    }
}
