package com.zentrix.nodalis.bridgetest.usb;

/** What a plug-in hands to usbRead: the native stores the block it read in {@code bytearray}. */
public final class ByteHolder {
    public byte[] bytearray;
}
