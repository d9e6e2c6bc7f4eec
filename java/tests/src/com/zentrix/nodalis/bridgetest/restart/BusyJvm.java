package com.zentrix.nodalis.bridgetest.restart;

import com.zentrix.nodalis.deviceservice.entity.DnsForwardEntry;
import com.zentrix.nodalis.deviceservice.entity.JNINativeMethods;
import com.zentrix.nodalis.deviceservice.impl.BaseServiceJNIMethods;
import com.zentrix.nodalis.deviceservice.opco.wap.velm.jni.IBundleManageServiceJNI;
import java.util.concurrent.atomic.AtomicLong;

/**
 * A JVM with its bus link up and four threads calling without pause (shared blocks both ways
 * among the calls), until it is killed. Prints "busy &lt;pid&gt;" once its calls answer, or
 * "startThread &lt;code&gt;" and exits 1 when the bus link cannot be had.
 */
public final class BusyJvm {
    private BusyJvm() {}

    public static void main(String[] args) throws Exception {
        int started = new JNINativeMethods().startThread();
        if (started != 0) {
            System.out.println("startThread " + started);
            System.exit(1);
        }
        AtomicLong answered = new AtomicLong();
        for (int t = 0; t < 4; t++) {
            final int id = t;
            Thread w = new Thread(() -> {
                BaseServiceJNIMethods base = new BaseServiceJNIMethods();
                IBundleManageServiceJNI bundles = new IBundleManageServiceJNI();
                JNINativeMethods entity = new JNINativeMethods();
                for (long i = 0;; i++) {
                    boolean ok = switch ((int) (i % 4)) {
                        case 0 -> "ZXLOID0001".equals(base.sysGetLoid());
                        case 1 -> bundles.queryBundleState(new String[] {"com.zentrix.mediashare"}) != null;
                        case 2 -> base.getFilesScanListByType("video") != null;
                        default -> "0".equals(entity.send(4, new DnsForwardEntry("busy" + id + ".example.com", "8.8.8.8", null)))
                                & "0".equals(entity.send(5, new DnsForwardEntry("busy" + id + ".example.com", null, null)));
                    };
                    if (ok) answered.incrementAndGet();
                }
            }, "busy-" + t);
            w.setDaemon(true);
            w.start();
        }
        while (answered.get() < 200) Thread.sleep(5);
        System.out.println("busy " + ProcessHandle.current().pid());
        System.out.flush();
        Thread.sleep(Long.MAX_VALUE);
    }
}
