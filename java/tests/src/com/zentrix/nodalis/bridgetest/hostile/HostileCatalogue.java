package com.zentrix.nodalis.bridgetest.hostile;

import com.zentrix.nodalis.bridgetest.usb.ByteHolder;
import java.lang.reflect.Method;
import java.lang.reflect.Modifier;
import java.util.ArrayList;
import java.util.Arrays;
import java.util.Collections;
import java.util.List;
import java.util.function.Supplier;
import java.util.regex.Matcher;
import java.util.regex.Pattern;

/**
 * Every native of the five Java classes with the hostile arguments a plug-in could hand it. One
 * table per class names each native's parameter kinds and, where the library has a defined answer
 * for a missing or refused argument, that answer. From the tables the cases are made: for each
 * parameter, each hostile value of its kind with benign values in the other places, plus the
 * hand-picked calls of {@link #extraCases()}. The same list is built in the parent test and in
 * every child JVM, so a case is named by its index and its id.
 */
public final class HostileCatalogue {
    private HostileCatalogue() {}

    static final String PKG = "com.zentrix.nodalis.deviceservice.";
    static final String ENTITY = PKG + "entity.JNINativeMethods";
    static final String BASE = PKG + "impl.BaseServiceJNIMethods";
    static final String BUNDLE = PKG + "opco.wap.velm.jni.IBundleManageServiceJNI";
    static final String UNIXFS = PKG + "custom.fileservice.ZxUnixFileSystem";
    static final String FILEUTILS = PKG + "custom.expt.ZxFileUtils";
    static final List<String> CLASSES = List.of(ENTITY, BASE, BUNDLE, UNIXFS, FILEUTILS);

    /** A holder whose "bytearray" member has the wrong type. */
    public static final class IntHolder {
        public int bytearray = 7;
    }

    /** A holder whose array member has another name. */
    public static final class OtherNameHolder {
        public byte[] bytes = new byte[4];
    }

    private static final String MB = "a".repeat(1 << 20);

    /**
     * A string the child's heap (256 MB) holds but cannot convert: 60 million characters outside
     * Latin-1 take 120 MB, their UTF-8 bytes another 180 MB, so getBytes raises OutOfMemoryError
     * inside the library's own call.
     */
    static String unconvertible() {
        return "\u4e00".repeat(60_000_000);
    }

    /** The argument values, each made fresh in the child that runs the case. */
    enum Arg {
        // strings
        S_OK(() -> "x"),
        S_NULL(() -> null),
        S_EMPTY(() -> ""),
        S_1MB(() -> MB),
        S_SURROGATE(() -> "a\uD800b\uDC00"),
        S_NUL(() -> "a\u0000b"),
        S_OOM(HostileCatalogue::unconvertible),
        // numbers
        I_0(() -> 0),
        I_1(() -> 1),
        I_16(() -> 16),
        I_4096(() -> 4096),
        I_10000(() -> 10000),
        I_0x7FFF0000(() -> 0x7FFF0000),
        I_320MB(() -> 335544320),
        I_MIN(() -> Integer.MIN_VALUE),
        I_NEG1(() -> -1),
        I_MAX(() -> Integer.MAX_VALUE),
        Z_FALSE(() -> false),
        Z_TRUE(() -> true),
        // byte[] and char[]
        B_16(() -> new byte[16]),
        B_NULL(() -> null),
        B_EMPTY(() -> new byte[0]),
        B_10000(() -> new byte[10000]),
        C_1(() -> new char[] {'1'}),
        C_NULL(() -> null),
        C_EMPTY(() -> new char[0]),
        C_10000(() -> fill(new char[10000], '6')),
        // String[]
        A_ONE(() -> new String[] {"x"}),
        A_NULL(() -> null),
        A_EMPTY(() -> new String[0]),
        A_NULL_ELEMENTS(() -> new String[] {null, "x", null}),
        A_10000(() -> strings(10000, "192.168.1.2")),
        A_HOSTILE_ELEMENTS(() -> new String[] {MB, "a\uD800b", "a\u0000b", ""}),
        A_OOM_ELEMENT(() -> new String[] {"x", unconvertible()}),
        // objects
        O_NULL(() -> null),
        O_OBJECT(Object::new),
        O_INTEGER(() -> Integer.valueOf(7)),
        O_STRING_ARRAY(() -> new String[] {"x"}),
        O_STRING(() -> "x"),
        O_STRING_1MB(() -> MB),
        O_STRING_SURROGATE(() -> "a\uD800b"),
        O_STRING_OOM(HostileCatalogue::unconvertible),
        O_HOLDER(ByteHolder::new),
        O_INT_HOLDER(IntHolder::new),
        O_OTHER_NAME_HOLDER(OtherNameHolder::new),
        /** A handle of the echo device, opened afresh for the case by the child. */
        H_OPEN(() -> { throw new IllegalStateException("resolved by the child"); });

        final Supplier<Object> make;

        Arg(Supplier<Object> make) {
            this.make = make;
        }
    }

    private static char[] fill(char[] a, char c) {
        Arrays.fill(a, c);
        return a;
    }

    private static String[] strings(int n, String s) {
        String[] a = new String[n];
        Arrays.fill(a, s);
        return a;
    }

    /** Parameter kinds: the benign value and the hostile ones. */
    enum Kind {
        STR(Arg.S_OK, Arg.S_NULL, Arg.S_EMPTY, Arg.S_1MB, Arg.S_SURROGATE, Arg.S_NUL),
        INT(Arg.I_1, Arg.I_MIN, Arg.I_NEG1, Arg.I_MAX),
        BOOL(Arg.Z_FALSE, Arg.Z_TRUE),
        BYTES(Arg.B_16, Arg.B_NULL, Arg.B_EMPTY, Arg.B_10000),
        CHARS(Arg.C_1, Arg.C_NULL, Arg.C_EMPTY, Arg.C_10000),
        STRS(Arg.A_ONE, Arg.A_NULL, Arg.A_EMPTY, Arg.A_NULL_ELEMENTS, Arg.A_10000, Arg.A_HOSTILE_ELEMENTS),
        HOLDER(Arg.O_HOLDER, Arg.O_NULL, Arg.O_OBJECT, Arg.O_STRING, Arg.O_INT_HOLDER, Arg.O_OTHER_NAME_HOLDER),
        HANDLE(Arg.H_OPEN, Arg.I_MIN, Arg.I_NEG1, Arg.I_MAX),
        // A read's time-out is in seconds and the call waits that long for a silent device, so a
        // huge one is not tried: the caller asked for the wait.
        SECONDS(Arg.I_0, Arg.I_MIN, Arg.I_NEG1);

        final Arg benign;
        final List<Arg> hostile;

        Kind(Arg benign, Arg... hostile) {
            this.benign = benign;
            this.hostile = List.of(hostile);
        }
    }

    /**
     * What a case must answer besides returning: anything, exactly this value, or what the case
     * {@code sameAs} answered (a string that cannot be converted answers as a null one).
     */
    record Expect(boolean defined, Object value, int sameAs) {
        static final Expect ANY = new Expect(false, null, -1);

        static Expect of(Object value) {
            return new Expect(true, value, -1);
        }

        static Expect sameAs(Case other) {
            return new Expect(false, null, other.index());
        }

        String describe() {
            if (sameAs >= 0) return "the answer of case " + sameAs;
            return defined ? "answer " + render(value) : "any answer";
        }
    }

    /** The value a native gives for an argument it refuses. */
    private static final Object NULL = new Object() {
        @Override
        public String toString() {
            return "null";
        }
    };

    /** One native: its name, parameter kinds and the answers defined for refused arguments. */
    static final class Row {
        final String owner;
        final String method;
        final List<Kind> kinds;
        Object onNullString;          // answer when a String at one of nullPositions is null or empty
        int[] nullPositions;          // null: every String parameter
        Object onNegativeInt;         // answer when one of negPositions is negative
        int[] negPositions = new int[0];
        final java.util.Map<String, Object> answers = new java.util.HashMap<>(); // "position:ARG"

        Row(String owner, String method, Kind... kinds) {
            this.owner = owner;
            this.method = method;
            this.kinds = List.of(kinds);
        }

        Row nullString(Object answer, int... positions) {
            onNullString = answer;
            nullPositions = positions.length == 0 ? null : positions;
            return this;
        }

        Row negative(Object answer, int... positions) {
            onNegativeInt = answer;
            negPositions = positions;
            return this;
        }

        /** The answer when the value at this position is one of these. */
        Row answer(Object answer, int position, Arg... args) {
            for (Arg a : args) answers.put(position + ":" + a.name(), answer);
            return this;
        }

        Expect expect(int position, Arg arg) {
            if (answers.containsKey(position + ":" + arg.name())) {
                Object v = answers.get(position + ":" + arg.name());
                return Expect.of(v == NULL ? null : v);
            }
            if ((arg == Arg.S_NULL || arg == Arg.S_EMPTY) && onNullString != null
                    && (nullPositions == null || contains(nullPositions, position))) {
                return Expect.of(onNullString == NULL ? null : onNullString);
            }
            if ((arg == Arg.I_MIN || arg == Arg.I_NEG1) && onNegativeInt != null && contains(negPositions, position)) {
                return Expect.of(onNegativeInt == NULL ? null : onNegativeInt);
            }
            return Expect.ANY;
        }
    }

    private static boolean contains(int[] a, int v) {
        for (int x : a) if (x == v) return true;
        return false;
    }

    /** One call: the native, its arguments and what it must answer. */
    record Case(int index, String owner, String method, List<Arg> args, Expect expect) {
        String id() {
            StringBuilder b = new StringBuilder(owner.substring(owner.lastIndexOf('.') + 1)).append('.').append(method).append('(');
            for (int i = 0; i < args.size(); i++) {
                if (i > 0) b.append(',');
                b.append(args.get(i).name());
            }
            return b.append(')').toString();
        }
    }

    private static Row r(String owner, String method, Kind... kinds) {
        return new Row(owner, method, kinds);
    }

    /** What usbWrite answers for an argument it refuses: the failure JSON with an empty reason. */
    static final String USB_REFUSED = "{\"Result\":-1,\"FailReason\":\"\"}";

    private static final Kind S = Kind.STR, I = Kind.INT, Z = Kind.BOOL, SA = Kind.STRS;

    // ---- the tables --------------------------------------------------------------------------------

    static List<Row> baseServiceTable() {
        return List.of(
                r(BASE, "lanGetNetInfo"),
                r(BASE, "lanSetDevAccessPermission", S, I, Z).nullString("1"),
                r(BASE, "lanGetDevInternetAccessBlacklist"),
                r(BASE, "lanGetDevStorageAccessBlacklist"),
                r(BASE, "lanGetDevBandwidth"),
                r(BASE, "lanSetDevMaxBandwidth", S, I, I),
                r(BASE, "lanGetDevMaxBandwidth", S),
                r(BASE, "lanGetPortStatus"),
                r(BASE, "lanSetDevStatsStatus", I),
                r(BASE, "getLANHostStats", S),
                r(BASE, "sysGetCpuUsage"),
                r(BASE, "sysGetMemUsage"),
                r(BASE, "sysGetIpAddr"),
                r(BASE, "sysGetLoid"),
                r(BASE, "usbRegister", S, I).nullString(NULL),
                r(BASE, "usbUnregister", S).nullString(NULL),
                r(BASE, "usbLock", I),
                r(BASE, "usbUnlock", I),
                r(BASE, "usbOpen", I),
                r(BASE, "usbDataAvailable", Kind.HANDLE),
                r(BASE, "usbRead", Kind.HANDLE, Kind.HOLDER, I, I, Kind.SECONDS).negative(NULL, 0, 2, 3, 4)
                        .answer(NULL, 1, Arg.O_NULL, Arg.O_OBJECT, Arg.O_STRING, Arg.O_INT_HOLDER, Arg.O_OTHER_NAME_HOLDER),
                r(BASE, "usbWrite", Kind.HANDLE, Kind.BYTES, I, I)
                        .answer(USB_REFUSED, 0, Arg.I_MIN, Arg.I_NEG1, Arg.I_MAX)
                        .answer(USB_REFUSED, 1, Arg.B_NULL, Arg.B_EMPTY)
                        .answer(USB_REFUSED, 2, Arg.I_MIN, Arg.I_NEG1, Arg.I_MAX)
                        .answer(USB_REFUSED, 3, Arg.I_MIN, Arg.I_NEG1, Arg.I_MAX),
                r(BASE, "usbSetSerial", Kind.HANDLE, I, I, I, I, Z, Z),
                r(BASE, "usbClose", Kind.HANDLE).answer(USB_REFUSED, 0, Arg.I_MIN, Arg.I_NEG1, Arg.I_MAX), // no handle
                r(BASE, "usbUnregisterAll"),
                r(BASE, "wanGetIfStats"),
                r(BASE, "wanGetPppoeAccount"),
                r(BASE, "wanCreateL2tpTunnel", S, S, S),
                r(BASE, "wanRemoveL2tpTunnel", S),
                r(BASE, "wanAttachL2tpTunnel", S, SA),
                r(BASE, "wanDetachL2tpTunnel", S, SA),
                r(BASE, "wanGetL2tpTunnelStatus", S),
                r(BASE, "addWANAccessRule", S, S, I, S).nullString(-1, 0),
                r(BASE, "deleteWANAccessRule", S, S, I, S).nullString(-1, 0),
                r(BASE, "wlanGetSecurity", I),
                r(BASE, "wlanSetSecurity", I, S, S),
                r(BASE, "wlanSetAutoChannelEnable", I, I),
                r(BASE, "wlanSetChannelWidth", I, I),
                r(BASE, "wlanSetForbidChannel", I, I, Kind.CHARS).answer(-1, 1, Arg.I_MAX).answer(-1, 2, Arg.C_EMPTY), // counts beyond the array
                r(BASE, "wlanSetState", I, I),
                r(BASE, "wlanGetState", I),
                r(BASE, "wlanGetHide", I),
                r(BASE, "wlanSetHide", I, I),
                r(BASE, "wlanStartWPS", I),
                r(BASE, "wlanGetWPSState", I),
                r(BASE, "getWLANHostInfo", SA, I).answer(NULL, 0, Arg.A_10000), // more than 8 MACs
                r(BASE, "sysGetWLanInfo", I),
                r(BASE, "LedSetState", I, I, I, I),
                r(BASE, "eventInform", S, S),
                r(BASE, "notifyEvent", S, S),
                r(BASE, "notifyEvent", S, S, S),
                r(BASE, "osgiPrintF", S),
                r(BASE, "NotifyServicePlatformConnectState", S, I),
                r(BASE, "isCloudRegistered"),
                r(BASE, "setFilesScanSwitch", I),
                r(BASE, "getFilesScanListByType", S).nullString(NULL),
                r(BASE, "queryVolumeLabelInfo"),
                r(BASE, "changeVolumeLabelName", S, S).nullString(false, 0),
                r(BASE, "changeVolumeLabelNameByPath", S, S).nullString(false, 0),
                r(BASE, "getVolumeLabelMntPath", S).nullString(NULL),
                r(BASE, "getMediaFilesInfo"),
                r(BASE, "jniHttpForwardAttachAuth", SA, Z),
                r(BASE, "jniHttpForwardStart", I, I, SA, SA, I, Z),
                r(BASE, "jniHttpForwardStop"),
                r(BASE, "getPluginPermissions"),
                r(BASE, "getFeatureSwitch", S).nullString(1),
                r(BASE, "getAPIFilePath"),
                r(BASE, "voiceSetPOTSDoNotDisturb", I, I),
                r(BASE, "voiceGetPOTSDoNotDisturbState", I));
    }

    static List<Row> bundleTable() {
        return List.of(
                r(BUNDLE, "install", S, S, S, S, I).nullString(-1),
                r(BUNDLE, "cancelInstall", S).nullString(-1),
                r(BUNDLE, "start", S).nullString(-1),
                r(BUNDLE, "stop", S).nullString(-1),
                r(BUNDLE, "uninstall", S).nullString(-1),
                r(BUNDLE, "reset", S).nullString(-1),
                r(BUNDLE, "queryBundleState", SA),
                r(BUNDLE, "queryInstallProcess", S).nullString("{ \"Result\": -1 }"));
    }

    static List<Row> unixFileSystemTable() {
        return List.of(
                r(UNIXFS, "checkAccess", S, I).nullString(false),
                r(UNIXFS, "getBooleanAttributes", S),
                r(UNIXFS, "getLastModifiedTime", S),
                r(UNIXFS, "getLength", S),
                r(UNIXFS, "delete", S).nullString(false),
                r(UNIXFS, "list", S).nullString(NULL),
                r(UNIXFS, "createDirectory", S).nullString(false),
                r(UNIXFS, "rename", S, S).nullString(false, 0),
                r(UNIXFS, "canonicalize0", S).nullString(NULL),
                r(UNIXFS, "initIDs"));
    }

    static List<Row> fileUtilsTable() {
        return List.of(r(FILEUTILS, "copyFile", S, S).nullString(false, 0));
    }

    static List<Row> allRows() {
        List<Row> rows = new ArrayList<>();
        rows.addAll(baseServiceTable());
        rows.addAll(bundleTable());
        rows.addAll(unixFileSystemTable());
        rows.addAll(fileUtilsTable());
        return rows;
    }

    // The entity dispatcher: its command numbers, what each reads from its argument, and what it
    // answers when that argument is missing or of another class.
    private static final int[] OBJECT_COMMANDS = {3, 4, 5, 6, 7, 8, 9, 12, 13, 100, 101};
    private static final int[] STRING_COMMANDS = {14, 21};
    private static final int[] PLAIN_COMMANDS = {1, 2, 11, 15, 16, 17, 18, 19, 20};
    private static final int[] UNKNOWN_COMMANDS = {Integer.MIN_VALUE, -1, 0, 10, 22, 99, 102, Integer.MAX_VALUE};
    private static final List<Arg> SEND_ARGS = List.of(Arg.O_NULL, Arg.O_OBJECT, Arg.O_INTEGER, Arg.O_STRING_ARRAY,
            Arg.O_STRING, Arg.O_STRING_1MB, Arg.O_STRING_SURROGATE);

    private static List<Case> entityCases(List<Case> out) {
        add(out, ENTITY, "startThread", List.of(), Expect.ANY);
        for (int type : OBJECT_COMMANDS) {
            for (Arg a : SEND_ARGS) {
                // Type 3 answers its statistic, 0 when nothing was counted; the others their code, 1.
                add(out, ENTITY, "send#" + type, List.of(a), Expect.of(type == 3 ? "0" : "1"));
            }
        }
        for (int type : STRING_COMMANDS) {
            for (Arg a : SEND_ARGS) {
                boolean refused = a != Arg.O_STRING && a != Arg.O_STRING_1MB && a != Arg.O_STRING_SURROGATE;
                boolean tooLong = type == 21 && a == Arg.O_STRING_1MB;
                add(out, ENTITY, "send#" + type, List.of(a), refused || tooLong ? Expect.of(null) : Expect.ANY);
            }
        }
        for (int type : PLAIN_COMMANDS) {
            add(out, ENTITY, "send#" + type, List.of(Arg.O_OBJECT), Expect.ANY);
        }
        for (int type : UNKNOWN_COMMANDS) {
            for (Arg a : List.of(Arg.O_NULL, Arg.O_OBJECT, Arg.O_STRING)) {
                add(out, ENTITY, "send#" + type, List.of(a), Expect.ANY);
            }
        }
        return out;
    }

    /** Calls picked by hand: offsets and counts beyond the array, holders of the wrong shape. */
    private static void extraCases(List<Case> out) {
        Object refused = USB_REFUSED;
        String m = "usbWrite";
        add(out, BASE, m, List.of(Arg.I_1, Arg.B_16, Arg.I_0x7FFF0000, Arg.I_16), Expect.of(refused));
        add(out, BASE, m, List.of(Arg.H_OPEN, Arg.B_16, Arg.I_0x7FFF0000, Arg.I_16), Expect.of(refused));
        add(out, BASE, m, List.of(Arg.H_OPEN, Arg.B_16, Arg.I_0, Arg.I_4096), Expect.of(refused));
        add(out, BASE, m, List.of(Arg.H_OPEN, Arg.B_16, Arg.I_16, Arg.I_16), Expect.of(refused));
        add(out, BASE, m, List.of(Arg.H_OPEN, Arg.B_16, Arg.I_MAX, Arg.I_MAX), Expect.of(refused));
        add(out, BASE, m, List.of(Arg.H_OPEN, Arg.B_NULL, Arg.I_0, Arg.I_16), Expect.of(refused));
        add(out, BASE, m, List.of(Arg.H_OPEN, Arg.B_EMPTY, Arg.I_0, Arg.I_16), Expect.of(refused));
        // A number that is no handle of this library, the JVM's own standard output, stays open.
        add(out, BASE, "usbClose", List.of(Arg.I_1), Expect.of(refused));
        refused = null;
        m = "usbRead";
        add(out, BASE, m, List.of(Arg.H_OPEN, Arg.O_HOLDER, Arg.I_0, Arg.I_320MB, Arg.I_0), Expect.of(refused));
        add(out, BASE, m, List.of(Arg.H_OPEN, Arg.O_HOLDER, Arg.I_MAX, Arg.I_MAX, Arg.I_0), Expect.of(refused));
        add(out, BASE, m, List.of(Arg.H_OPEN, Arg.O_HOLDER, Arg.I_0x7FFF0000, Arg.I_16, Arg.I_0), Expect.of(refused));
        for (Arg holder : List.of(Arg.O_NULL, Arg.O_OBJECT, Arg.O_STRING, Arg.O_INT_HOLDER, Arg.O_OTHER_NAME_HOLDER)) {
            add(out, BASE, m, List.of(Arg.H_OPEN, holder, Arg.I_0, Arg.I_16, Arg.I_0), Expect.of(refused));
        }
        m = "wlanSetForbidChannel";
        add(out, BASE, m, List.of(Arg.I_1, Arg.I_10000, Arg.C_1), Expect.of(-1));
        add(out, BASE, m, List.of(Arg.I_1, Arg.I_16, Arg.C_EMPTY), Expect.of(-1));
    }

    /**
     * A string whose conversion runs out of Java heap, once per native that takes one: the error
     * is cleared inside the library and the native answers as it does for a null string (the case
     * with null in the same place), with no exception pending in any later JNI call.
     */
    private static void outOfMemoryCases(List<Case> out) {
        for (int type : STRING_COMMANDS) {
            add(out, ENTITY, "send#" + type, List.of(Arg.O_STRING_OOM), Expect.of(null));
        }
        for (Row row : allRows()) {
            int str = row.kinds.indexOf(Kind.STR);
            int strs = row.kinds.indexOf(Kind.STRS);
            List<Arg> benign = new ArrayList<>();
            for (Kind k : row.kinds) benign.add(k.benign);
            if (str >= 0) {
                List<Arg> withNull = new ArrayList<>(benign);
                withNull.set(str, Arg.S_NULL);
                Case nullCase = find(out, row.owner, row.method, withNull);
                List<Arg> args = new ArrayList<>(benign);
                args.set(str, Arg.S_OOM);
                add(out, row.owner, row.method, List.copyOf(args), Expect.sameAs(nullCase));
            }
            if (strs >= 0) {
                // Switches on, so that the elements are read at all; attaching answers by its last
                // element, which does not convert.
                List<Arg> args = new ArrayList<>(benign);
                args.set(strs, Arg.A_OOM_ELEMENT);
                args.replaceAll(a -> a == Arg.Z_FALSE ? Arg.Z_TRUE : a);
                boolean lastDecides = row.method.equals("jniHttpForwardAttachAuth");
                add(out, row.owner, row.method, List.copyOf(args), lastDecides ? Expect.of("-1") : Expect.ANY);
            }
        }
    }

    private static Case find(List<Case> out, String owner, String method, List<Arg> args) {
        for (Case c : out) {
            if (c.owner().equals(owner) && c.method().equals(method) && c.args().equals(args)) return c;
        }
        throw new IllegalStateException("no case " + owner + "." + method + args);
    }

    /** Whether a case converts a string that runs out of heap. */
    static boolean outOfMemory(Case c) {
        return c.args().contains(Arg.S_OOM) || c.args().contains(Arg.A_OOM_ELEMENT)
                || c.args().contains(Arg.O_STRING_OOM);
    }

    private static void add(List<Case> out, String owner, String method, List<Arg> args, Expect e) {
        out.add(new Case(out.size(), owner, method, args, e));
    }

    private static List<Case> cases;

    /** The cases in their fixed order. */
    static synchronized List<Case> cases() {
        if (cases != null) return cases;
        List<Case> out = new ArrayList<>();
        entityCases(out);
        for (Row row : allRows()) {
            List<Arg> benign = new ArrayList<>();
            for (Kind k : row.kinds) benign.add(k.benign);
            if (row.kinds.isEmpty()) {
                add(out, row.owner, row.method, List.of(), Expect.ANY);
                continue;
            }
            add(out, row.owner, row.method, List.copyOf(benign), Expect.ANY);
            for (int p = 0; p < row.kinds.size(); p++) {
                for (Arg a : row.kinds.get(p).hostile) {
                    List<Arg> args = new ArrayList<>(benign);
                    args.set(p, a);
                    add(out, row.owner, row.method, List.copyOf(args), row.expect(p, a));
                }
            }
        }
        extraCases(out);
        outOfMemoryCases(out);
        cases = Collections.unmodifiableList(out);
        return cases;
    }

    /** The native a case calls: by name and number of parameters (send's command rides in the name). */
    static Method method(Case c) throws ReflectiveOperationException {
        Class<?> cls = Class.forName(c.owner(), false, HostileCatalogue.class.getClassLoader());
        String name = c.method();
        int arity = c.args().size();
        if (name.startsWith("send#")) {
            name = "send";
            arity = 2;
        }
        for (Method m : cls.getDeclaredMethods()) {
            if (m.getName().equals(name) && m.getParameterCount() == arity && Modifier.isNative(m.getModifiers())) {
                return m;
            }
        }
        throw new NoSuchMethodException(c.owner() + "." + name + "/" + arity);
    }

    /** Declared natives of a class, as "name/arity". */
    static List<String> declaredNatives(String owner) throws ClassNotFoundException {
        Class<?> cls = Class.forName(owner, false, HostileCatalogue.class.getClassLoader());
        List<String> out = new ArrayList<>();
        for (Method m : cls.getDeclaredMethods()) {
            if (Modifier.isNative(m.getModifiers())) out.add(m.getName() + "/" + m.getParameterCount());
        }
        return out;
    }

    /** How an answer is written on the child's report line and compared by the parent. */
    static String render(Object v) {
        if (v == null) return "null";
        if (v instanceof String s) {
            String shown = s.length() > 200 ? s.substring(0, 200) + "...(" + s.length() + " chars)" : s;
            return "\"" + shown.replace("\\", "\\\\").replace("\n", "\\n").replace("\r", "\\r") + "\"";
        }
        if (v instanceof String[] a) return "String[" + a.length + "]";
        return v.getClass().getSimpleName() + ":" + v;
    }

    private static final Pattern HANDLE = Pattern.compile("\\{\"Result\":0,\"Handle\":(\\d+)\\}");

    /** Parses usbOpen's answer. */
    static int handleOf(String answer) {
        Matcher m = HANDLE.matcher(answer == null ? "" : answer);
        if (!m.matches()) throw new IllegalStateException("usbOpen answered " + answer);
        return Integer.parseInt(m.group(1));
    }
}
