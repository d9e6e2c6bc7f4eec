package com.zentrix.nodalis.deviceservice.entity;

/**
 * The entity service: starts the library's link to the gateway's message bus and runs the
 * numbered commands of the tunnel and device-information API.
 */
public class JNINativeMethods {
    static {
        System.loadLibrary("zxjavabridge");
    }

    /**
     * Registers this process on the bus as "jamvm" and starts the message thread.
     *
     * @return 0 when the bus link is up (also when it already was), 1 on failure
     */
    public native int startThread();

    /**
     * Runs one numbered command.
     *
     * @param type the command number
     * @param arg the command's input: a Java string or an object whose members the command reads
     * @return the command's text answer or the decimal form of its result code; null when empty
     */
    public native String send(int type, Object arg);
}
