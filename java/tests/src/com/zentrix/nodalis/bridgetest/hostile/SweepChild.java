package com.zentrix.nodalis.bridgetest.hostile;

import com.zentrix.nodalis.bridgetest.hostile.HostileCatalogue.Arg;
import com.zentrix.nodalis.bridgetest.hostile.HostileCatalogue.Case;
import com.zentrix.nodalis.bridgetest.usb.ByteHolder;
import com.zentrix.nodalis.deviceservice.impl.BaseServiceJNIMethods;
import java.io.PrintStream;
import java.lang.reflect.InvocationTargetException;
import java.lang.reflect.Method;
import java.lang.reflect.Modifier;
import java.nio.charset.StandardCharsets;
import java.util.HashMap;
import java.util.List;
import java.util.Map;

/**
 * The child JVM of the sweep: runs the catalogue's cases from the index given on its command line
 * to the end, one after the other, and writes a line before and after each call. When a call kills
 * the JVM, the parent sees a begin line without its end line.
 *
 * <pre>
 *     @@ begin INDEX
 *     @@ end INDEX returned ANSWER    (or: threw CLASS: MESSAGE)
 * </pre>
 *
 * Each line starts on a line of its own: the natives may have left console output without a newline.
 */
public final class SweepChild {
    static final String BEGIN = "@@ begin ";
    static final String END = "@@ end ";
    static final int ECHO_DEVICE = 1;

    private SweepChild() {}

    public static void main(String[] argv) throws Exception {
        PrintStream out = new PrintStream(new java.io.FileOutputStream(java.io.FileDescriptor.out), true,
                StandardCharsets.UTF_8);
        int from = Integer.parseInt(argv[0]);
        List<Case> cases = HostileCatalogue.cases();
        Map<String, Object> receivers = new HashMap<>();
        for (int i = from; i < cases.size(); i++) {
            Case c = cases.get(i);
            Method m = HostileCatalogue.method(c);
            Object receiver = null;
            if (!Modifier.isStatic(m.getModifiers())) {
                receiver = receivers.get(c.owner());
                if (receiver == null) {
                    receiver = m.getDeclaringClass().getDeclaredConstructor().newInstance();
                    receivers.put(c.owner(), receiver);
                }
            }
            Object[] args = arguments(c);
            out.print("\n" + BEGIN + i + "\n");
            out.flush();
            String report;
            try {
                report = "returned " + HostileCatalogue.render(m.invoke(receiver, args));
            } catch (InvocationTargetException e) {
                Throwable t = e.getCause();
                report = "threw " + t.getClass().getName() + ": " + String.valueOf(t.getMessage()).lines().findFirst().orElse("");
            }
            out.print("\n" + END + i + " " + report + "\n");
            out.flush();
        }
    }

    private static Object[] arguments(Case c) throws InterruptedException {
        List<Arg> args = c.args();
        if (c.method().startsWith("send#")) {
            return new Object[] {Integer.parseInt(c.method().substring(5)), args.get(0).make.get()};
        }
        Object[] out = new Object[args.size()];
        for (int i = 0; i < out.length; i++) {
            out[i] = args.get(i) == Arg.H_OPEN ? openEcho() : args.get(i).make.get();
        }
        return out;
    }

    /**
     * A fresh handle of the echo device: everything released, then registered, locked and opened.
     * What earlier cases wrote and the device sent back is read away first, so that a write finds
     * room on the line and answers the same way in every run.
     */
    private static int openEcho() throws InterruptedException {
        BaseServiceJNIMethods jni = new BaseServiceJNIMethods();
        jni.usbUnregisterAll();
        jni.usbRegister("hostileSweep", 1);
        jni.usbLock(ECHO_DEVICE);
        int handle = HostileCatalogue.handleOf(jni.usbOpen(ECHO_DEVICE));
        for (int round = 0; round < 2; round++) {
            ByteHolder holder = new ByteHolder();
            for (int i = 0; i < 256; i++) {
                String answer = jni.usbRead(handle, holder, 0, 4096, 0);
                if (answer == null || !answer.startsWith("{\"Result\":0,") || answer.contains("\"Len\":0}")) break;
            }
            Thread.sleep(20);
        }
        return handle;
    }
}
