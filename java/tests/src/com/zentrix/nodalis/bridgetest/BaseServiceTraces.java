package com.zentrix.nodalis.bridgetest;

import com.zentrix.nodalis.bridgetest.support.SourceLines;
import com.zentrix.nodalis.bridgetest.support.TraceFile.TraceRecord;
import java.io.IOException;

/**
 * The trace records of the BaseServiceJNIMethods bindings: level 249, file "baseservice_jni", and
 * the line of the call that writes each (read from the bindings' source, where the line is given
 * as __LINE__ on the call).
 */
final class BaseServiceTraces {
    static final String FILE = "baseservice_jni";
    static final int LEVEL = 249;

    private BaseServiceTraces() {}

    private static SourceLines source() throws IOException {
        return SourceLines.of("baseservice/baseservice_jni.cpp");
    }

    /** The entry text; unlike the exported symbol it has no maker segment in the package path. */
    static TraceRecord entry(String method) throws IOException {
        int line = source().lineOf("\"" + method + "\", __LINE__");
        return TraceRecord.trace(LEVEL, FILE, line,
                "\r\n Java_com_nodalis_deviceservice_impl_BaseServiceJNIMethods_" + method + " called \r\n");
    }

    /** The result trace written with {@code format}, expected to read {@code text}. */
    static TraceRecord result(String format, String text) throws IOException {
        int line = source().lineOf("__LINE__, \"" + format + "\"");
        return TraceRecord.trace(LEVEL, FILE, line, text);
    }
}
