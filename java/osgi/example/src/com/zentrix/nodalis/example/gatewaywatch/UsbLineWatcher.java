package com.zentrix.nodalis.example.gatewaywatch;

import java.io.ByteArrayOutputStream;
import java.nio.charset.StandardCharsets;
import java.util.regex.Matcher;
import java.util.regex.Pattern;

import com.zentrix.nodalis.deviceservice.impl.BaseServiceJNIMethods;

/**
 * Owns one USB device while the bundle is active: registers the plug-in for the device's type,
 * locks and opens the device, and answers every line the device sends. A line is reported to the
 * gateway's event centre as the event "gatewaywatch.usb" and answered on the device with
 * "ACK <line> LOID <loid>". Stopping closes the device, unlocks it and withdraws the registration.
 */
final class UsbLineWatcher implements Runnable {
    static final String PLUG_ID = "com.zentrix.nodalis.example.gatewaywatch";
    private static final Pattern HANDLE = Pattern.compile("\"Handle\":(\\d+)");
    private static final Pattern LEN = Pattern.compile("\"Result\":0,\"Len\":(\\d+)");

    /** The holder usbRead fills: the library sets the field "bytearray" by name. */
    static final class Bytes {
        byte[] bytearray;
    }

    private final BaseServiceJNIMethods api;
    private final GatewayWatch watch;
    private final int device;
    private final int type;
    private volatile boolean running = true;
    private Thread thread;
    private int handle = -1;

    UsbLineWatcher(BaseServiceJNIMethods api, GatewayWatch watch, int device, int type) {
        this.api = api;
        this.watch = watch;
        this.device = device;
        this.type = type;
    }

    void start() {
        thread = new Thread(this, "gatewaywatch-usb" + device);
        thread.start();
    }

    /** Ends the reading (within the one-second read wait) and gives the device back. */
    void stop() throws InterruptedException {
        running = false;
        thread.join(10000);
        if (handle >= 0) {
            Activator.say("usbClose(" + handle + ") -> " + api.usbClose(handle));
        }
        Activator.say("usbUnlock(" + device + ") -> " + api.usbUnlock(device));
        Activator.say("usbUnregister(\"" + PLUG_ID + "\") -> " + api.usbUnregister(PLUG_ID));
    }

    @Override
    public void run() {
        Activator.say("usbRegister(\"" + PLUG_ID + "\", " + type + ") -> " + api.usbRegister(PLUG_ID, type));
        Activator.say("usbLock(" + device + ") -> " + api.usbLock(device));
        String opened = api.usbOpen(device);
        Activator.say("usbOpen(" + device + ") -> " + opened);
        Matcher h = opened == null ? null : HANDLE.matcher(opened);
        if (h == null || !h.find()) {
            Activator.say("USB device " + device + " cannot be opened; no USB data will be read");
            return;
        }
        handle = Integer.parseInt(h.group(1));
        Activator.say("waiting for lines from USB device " + device);

        ByteArrayOutputStream pending = new ByteArrayOutputStream();
        Bytes holder = new Bytes();
        while (running) {
            String answer = api.usbRead(handle, holder, 0, 256, 1); // waits up to 1 second
            Matcher len = answer == null ? null : LEN.matcher(answer);
            if (len != null && len.find()) {
                pending.write(holder.bytearray, 0, Integer.parseInt(len.group(1)));
                pending = answerLines(pending);
            } else if (answer == null || !answer.startsWith("{\"Result\":-2")) { // -2: nothing came
                Activator.say("usbRead(" + handle + ") failed: " + answer);
                return;
            }
        }
    }

    /** Answers every complete line in the bytes; gives back what follows the last one. */
    private ByteArrayOutputStream answerLines(ByteArrayOutputStream pending) {
        String text = pending.toString(StandardCharsets.UTF_8);
        int end;
        while ((end = indexOfLineEnd(text)) >= 0) {
            String line = text.substring(0, end);
            text = text.substring(end + 1);
            if (!line.isEmpty()) {
                react(line);
            }
        }
        ByteArrayOutputStream rest = new ByteArrayOutputStream();
        rest.writeBytes(text.getBytes(StandardCharsets.UTF_8));
        return rest;
    }

    private static int indexOfLineEnd(String text) {
        int cr = text.indexOf('\r');
        int lf = text.indexOf('\n');
        return cr < 0 ? lf : lf < 0 ? cr : Math.min(cr, lf);
    }

    private void react(String line) {
        Activator.say("USB device " + device + " sent \"" + line + "\"");
        String data = "{\"device\":" + device + ",\"line\":\"" + jsonEscape(line) + "\"}";
        Activator.say("eventInform(\"gatewaywatch.usb\", " + data + ") -> " + watch.raise("gatewaywatch.usb", data));
        String reply = "ACK " + line + " LOID " + watch.loid() + "\r\n";
        byte[] bytes = reply.getBytes(StandardCharsets.UTF_8);
        Activator.say("answered USB device " + device + " with \"" + reply.trim() + "\" -> "
                + api.usbWrite(handle, bytes, 0, bytes.length));
    }

    private static String jsonEscape(String s) {
        StringBuilder b = new StringBuilder();
        for (char c : s.toCharArray()) {
            if (c == '"' || c == '\\') {
                b.append('\\').append(c);
            } else if (c < 0x20) {
                b.append(String.format("\\u%04x", (int) c));
            } else {
                b.append(c);
            }
        }
        return b.toString();
    }
}
