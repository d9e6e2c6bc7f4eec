package com.zentrix.nodalis.bridgetest.support;

import com.google.gson.Gson;
import com.google.gson.GsonBuilder;
import com.google.gson.JsonArray;
import com.google.gson.JsonElement;
import com.google.gson.JsonObject;
import com.google.gson.JsonParser;
import java.io.ByteArrayOutputStream;
import java.io.IOException;
import java.net.StandardProtocolFamily;
import java.net.UnixDomainSocketAddress;
import java.nio.ByteBuffer;
import java.nio.channels.SelectionKey;
import java.nio.channels.Selector;
import java.nio.channels.SocketChannel;
import java.nio.charset.StandardCharsets;
import java.nio.file.Path;
import java.util.ArrayList;
import java.util.HexFormat;
import java.util.List;

/**
 * The simulator's control socket (&lt;bus dir&gt;/gatewaysim.ctl): one JSON request per line, one
 * JSON answer per line, on one connection kept for the life of the object. Operations that must
 * succeed throw when the simulator answers "ok": false.
 */
public final class SimControl implements AutoCloseable {
    private static final long ANSWER_TIMEOUT_MS = 30_000;
    private static final Gson GSON = new GsonBuilder().disableHtmlEscaping().create();

    private final SocketChannel channel;
    private final Selector selector;
    private final ByteArrayOutputStream pending = new ByteArrayOutputStream();

    public SimControl(Path socket) throws IOException {
        channel = SocketChannel.open(StandardProtocolFamily.UNIX);
        channel.connect(UnixDomainSocketAddress.of(socket));
        channel.configureBlocking(false);
        selector = Selector.open();
        channel.register(selector, SelectionKey.OP_READ);
    }

    public static SimControl connect() throws IOException {
        return new SimControl(TestEnv.busDir().resolve("gatewaysim.ctl"));
    }

    /** Sends one request and returns the answer as it came, "ok" false included. */
    public JsonObject request(JsonObject req) throws IOException {
        ByteBuffer out = ByteBuffer.wrap((GSON.toJson(req) + "\n").getBytes(StandardCharsets.UTF_8));
        while (out.hasRemaining()) channel.write(out);
        return JsonParser.parseString(readLine()).getAsJsonObject();
    }

    /** A request that must succeed; its answer. */
    public JsonObject ok(JsonObject req) throws IOException {
        JsonObject answer = request(req);
        if (!answer.has("ok") || !answer.get("ok").getAsBoolean()) {
            throw new IOException("simulator refused " + GSON.toJson(req) + ": " + answer);
        }
        return answer;
    }

    /** What {@code service} received since the last clear, oldest first. */
    public JsonArray received(String service) throws IOException {
        JsonObject req = op("received");
        req.addProperty("service", service);
        return ok(req).getAsJsonArray("records");
    }

    public void clearRecords() throws IOException {
        ok(op("clear"));
    }

    /**
     * The request bytes of command {@code msgId} that {@code service} received since the last clear,
     * oldest first; then every record is forgotten.
     */
    public List<byte[]> payloads(String service, long msgId) throws IOException {
        List<byte[]> out = new ArrayList<>();
        for (JsonElement e : received(service)) {
            JsonObject r = e.getAsJsonObject();
            if (r.get("msgId").getAsLong() == msgId) out.add(HexFormat.of().parseHex(r.get("data").getAsString()));
        }
        clearRecords();
        return out;
    }

    public JsonObject state(String service) throws IOException {
        JsonObject req = op("state");
        req.addProperty("service", service);
        return ok(req).getAsJsonObject("state");
    }

    /** Sets one top-level member of a service's state. */
    public void set(String service, String member, JsonElement value) throws IOException {
        JsonObject state = new JsonObject();
        state.add(member, value);
        setState(service, state);
    }

    /** Sets the top-level members of {@code state} in a service's state. */
    public void setState(String service, JsonObject state) throws IOException {
        JsonObject req = op("set");
        req.addProperty("service", service);
        req.add("state", state);
        ok(req);
    }

    /**
     * A fault injected into the calls of one command, for the next {@code times} calls (0: every
     * call until the faults are cleared).
     */
    public record Fault(String kind, long value, int times) {
        /** The service answers {@code code} as its status. */
        public static Fault status(long code, int times) {
            return new Fault("status", code, times);
        }

        /** The service answers {@code ms} milliseconds late. */
        public static Fault delay(long ms, int times) {
            return new Fault("delay", ms, times);
        }

        /** The service never answers. */
        public static Fault noReply(int times) {
            return new Fault("noreply", 0, times);
        }
    }

    /** Injects {@code fault} into the calls of {@code msgId} to {@code service}. */
    public void inject(String service, long msgId, Fault fault) throws IOException {
        JsonObject req = op("inject");
        req.addProperty("service", service);
        req.addProperty("msgId", msgId);
        req.addProperty("fault", fault.kind());
        req.addProperty("value", fault.value());
        req.addProperty("times", fault.times());
        ok(req);
    }

    public void clearFaults() throws IOException {
        ok(op("inject_clear"));
    }

    /** The terminal path of a simulated USB device. */
    public String usbDevicePath(int devId) throws IOException {
        return ok(usbDevice("usb_device", devId)).get("path").getAsString();
    }

    /** The plug-in that holds a simulated USB device's lock, "" when it is not locked. */
    public String usbLockedBy(int devId) throws IOException {
        return ok(usbDevice("usb_device", devId)).get("lockedBy").getAsString();
    }

    /** The device side of a simulated USB device sends {@code bytes}. */
    public void usbWrite(int devId, byte[] bytes) throws IOException {
        JsonObject req = usbDevice("usb_write", devId);
        req.addProperty("data", HexFormat.of().formatHex(bytes));
        ok(req);
    }

    /** The next {@code count} bytes the device side received, waiting up to {@code waitMs}. */
    public byte[] usbRead(int devId, int count, int waitMs) throws IOException {
        JsonObject req = usbDevice("usb_read", devId);
        req.addProperty("min", count);
        req.addProperty("max", count);
        req.addProperty("waitMs", waitMs);
        return HexFormat.of().parseHex(ok(req).get("data").getAsString());
    }

    private static JsonObject usbDevice(String name, int devId) {
        JsonObject req = op(name);
        req.addProperty("device", devId);
        return req;
    }

    private static JsonObject op(String name) {
        JsonObject req = new JsonObject();
        req.addProperty("op", name);
        return req;
    }

    private String readLine() throws IOException {
        long deadline = System.currentTimeMillis() + ANSWER_TIMEOUT_MS;
        ByteBuffer in = ByteBuffer.allocate(65536);
        for (;;) {
            byte[] bytes = pending.toByteArray();
            for (int i = 0; i < bytes.length; i++) {
                if (bytes[i] == '\n') {
                    pending.reset();
                    pending.write(bytes, i + 1, bytes.length - i - 1);
                    return new String(bytes, 0, i, StandardCharsets.UTF_8);
                }
            }
            long left = deadline - System.currentTimeMillis();
            if (left <= 0) throw new IOException("the simulator did not answer within " + ANSWER_TIMEOUT_MS + " ms");
            selector.select(left);
            selector.selectedKeys().clear();
            in.clear();
            int n = channel.read(in);
            if (n < 0) throw new IOException("the simulator closed the control connection");
            pending.write(in.array(), 0, n);
        }
    }

    @Override
    public void close() throws IOException {
        selector.close();
        channel.close();
    }
}
