package com.zentrix.nodalis.example.gatewaywatch;

/**
 * The example plug-in's service: the gateway's state as a plug-in reads it through the platform
 * classes. Other bundles find it in the service registry under this interface's name.
 */
public interface GatewayWatch {
    /** The LOID the configuration service answers, or null. */
    String loid();

    /** The CPU load in percent, -1 when the gateway does not answer. */
    int cpuPercent();

    /** The names and bands of the SSIDs, such as "Zentrix-5A3C (2.4GHz)". */
    String[] ssids();

    /** The attached discs, such as "USB_DISK1 (vfat) at /mnt/usb1_1, 248349249536 bytes free". */
    String[] discs();

    /** The device MAC, asked through the entity service's numbered command 1. */
    String deviceMac();

    /** Raises an event on the gateway's event centre; answers the library's JSON (null: refused). */
    String raise(String name, String data);
}
