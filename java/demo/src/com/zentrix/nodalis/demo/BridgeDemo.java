package com.zentrix.nodalis.demo;

import com.zentrix.nodalis.deviceservice.entity.JNINativeMethods;
import com.zentrix.nodalis.deviceservice.impl.BaseServiceJNIMethods;

/**
 * What a plug-in sees of the gateway: it brings up the bus link of the Java process, then asks
 * for the processor load, the memory in use and the LOID, and prints each answer as it came.
 * Exit status 1 when the link does not come up or an answer is null.
 */
public final class BridgeDemo {
    private BridgeDemo() {}

    public static void main(String[] args) {
        int started = new JNINativeMethods().startThread();
        System.out.printf("%-40s %s%n", "JNINativeMethods.startThread()", started);
        boolean ok = started == 0;

        BaseServiceJNIMethods base = new BaseServiceJNIMethods();
        ok &= show("BaseServiceJNIMethods.sysGetCpuUsage()", base.sysGetCpuUsage());
        ok &= show("BaseServiceJNIMethods.sysGetMemUsage()", base.sysGetMemUsage());
        ok &= show("BaseServiceJNIMethods.sysGetLoid()", base.sysGetLoid());
        System.exit(ok ? 0 : 1);
    }

    private static boolean show(String call, String answer) {
        System.out.printf("%-40s %s%n", call, answer == null ? "null" : answer);
        return answer != null;
    }
}
