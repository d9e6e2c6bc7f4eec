package com.zentrix.nodalis.bridgetest.support;

import java.io.ByteArrayOutputStream;
import java.io.IOException;
import java.io.RandomAccessFile;
import java.nio.charset.StandardCharsets;
import java.nio.file.Path;
import java.util.ArrayList;
import java.util.Arrays;
import java.util.List;

/**
 * The trace file the platform writes for this JVM (ZX_TRACE). One record a line, tab-separated,
 * the text escaped (\\ \r \n \t and \xHH for other control bytes; other bytes, UTF-8 included,
 * as they are):
 *
 * <pre>
 *     T  level file line flag text
 *     L  file line code a b c d        (code and data words in 8 hex digits)
 *     L1 file line code
 * </pre>
 *
 * A test takes a {@link #mark()} before the call it looks at and reads the records written since.
 */
public final class TraceFile {
    private final Path path;

    public TraceFile(Path path) {
        this.path = path;
    }

    public static TraceFile fromEnvironment() {
        return new TraceFile(TestEnv.traceFile());
    }

    /** The file's current end: records written later are read with {@link #since(long)}. */
    public long mark() throws IOException {
        try (RandomAccessFile f = new RandomAccessFile(path.toFile(), "r")) {
            return f.length();
        }
    }

    public List<TraceRecord> since(long mark) throws IOException {
        byte[] bytes;
        try (RandomAccessFile f = new RandomAccessFile(path.toFile(), "r")) {
            bytes = new byte[Math.toIntExact(f.length() - mark)];
            f.seek(mark);
            f.readFully(bytes);
        }
        List<TraceRecord> records = new ArrayList<>();
        int start = 0;
        for (int i = 0; i < bytes.length; i++) {
            if (bytes[i] == '\n') {
                records.add(parse(Arrays.copyOfRange(bytes, start, i)));
                start = i + 1;
            }
        }
        if (start != bytes.length) throw new IOException("trace file ends inside a record");
        return records;
    }

    /** The records written since {@code mark} by the source {@code file} ("baseservice_jni", ...). */
    public List<TraceRecord> since(long mark, String file) throws IOException {
        List<TraceRecord> out = new ArrayList<>();
        for (TraceRecord r : since(mark)) {
            if (r.file().equals(file)) out.add(r);
        }
        return out;
    }

    public List<TraceRecord> all() throws IOException {
        return since(0);
    }

    /** One record. Fields that a kind does not have are 0 or empty. */
    public record TraceRecord(String kind, long level, String file, long line, long flag, String text, long code,
            List<Long> data) {
        public static TraceRecord trace(long level, String file, long line, String text) {
            return new TraceRecord("T", level, file, line, 0, text, 0, List.of());
        }

        public static TraceRecord lastWord(String file, long line, long code, long a, long b, long c, long d) {
            return new TraceRecord("L", 0, file, line, 0, "", code, List.of(a, b, c, d));
        }

        public static TraceRecord lastWord1(String file, long line, long code) {
            return new TraceRecord("L1", 0, file, line, 0, "", code, List.of());
        }

        @Override
        public String toString() {
            switch (kind) {
                case "T":
                    return String.format("T %d %s:%d flag %d \"%s\"", level, file, line, flag, visible(text));
                case "L":
                    return String.format("L %s:%d %08X %08X %08X %08X %08X", file, line, code, data.get(0), data.get(1),
                            data.get(2), data.get(3));
                default:
                    return String.format("L1 %s:%d %08X", file, line, code);
            }
        }

        private static String visible(String s) {
            return s.replace("\\", "\\\\").replace("\r", "\\r").replace("\n", "\\n").replace("\t", "\\t");
        }
    }

    private static TraceRecord parse(byte[] line) throws IOException {
        List<byte[]> f = split(line);
        String kind = text(f.get(0));
        switch (kind) {
            case "T":
                expect(f, 6, line);
                return new TraceRecord("T", number(f.get(1), 10), unescape(f.get(2)), number(f.get(3), 10),
                        number(f.get(4), 10), unescape(f.get(5)), 0, List.of());
            case "L":
                expect(f, 8, line);
                return new TraceRecord("L", 0, unescape(f.get(1)), number(f.get(2), 10), 0, "", number(f.get(3), 16),
                        List.of(number(f.get(4), 16), number(f.get(5), 16), number(f.get(6), 16), number(f.get(7), 16)));
            case "L1":
                expect(f, 4, line);
                return new TraceRecord("L1", 0, unescape(f.get(1)), number(f.get(2), 10), 0, "", number(f.get(3), 16),
                        List.of());
            default:
                throw new IOException("unknown trace record: " + text(line));
        }
    }

    private static void expect(List<byte[]> fields, int n, byte[] line) throws IOException {
        if (fields.size() != n) throw new IOException("trace record with " + fields.size() + " fields: " + text(line));
    }

    private static List<byte[]> split(byte[] line) {
        List<byte[]> fields = new ArrayList<>();
        int start = 0;
        for (int i = 0; i <= line.length; i++) {
            if (i == line.length || line[i] == '\t') {
                fields.add(Arrays.copyOfRange(line, start, i));
                start = i + 1;
            }
        }
        return fields;
    }

    private static long number(byte[] field, int radix) throws IOException {
        try {
            return Long.parseLong(text(field), radix);
        } catch (NumberFormatException e) {
            throw new IOException("not a number in a trace record: " + text(field));
        }
    }

    private static String text(byte[] bytes) {
        return new String(bytes, StandardCharsets.UTF_8);
    }

    /** Undoes the escaping byte by byte, then decodes the bytes as UTF-8. */
    private static String unescape(byte[] field) throws IOException {
        ByteArrayOutputStream out = new ByteArrayOutputStream(field.length);
        for (int i = 0; i < field.length; i++) {
            if (field[i] != '\\') {
                out.write(field[i]);
                continue;
            }
            if (++i >= field.length) throw new IOException("trace text ends in a backslash");
            switch (field[i]) {
                case '\\': out.write('\\'); break;
                case 'r': out.write('\r'); break;
                case 'n': out.write('\n'); break;
                case 't': out.write('\t'); break;
                case 'x':
                    if (i + 2 >= field.length) throw new IOException("short \\x escape in a trace text");
                    out.write(Integer.parseInt(new String(field, i + 1, 2, StandardCharsets.US_ASCII), 16));
                    i += 2;
                    break;
                default:
                    throw new IOException("unknown escape \\" + (char) field[i] + " in a trace text");
            }
        }
        return text(out.toByteArray());
    }
}
