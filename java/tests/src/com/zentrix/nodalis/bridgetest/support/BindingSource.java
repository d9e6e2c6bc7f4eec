package com.zentrix.nodalis.bridgetest.support;

import com.zentrix.nodalis.bridgetest.support.TraceFile.TraceRecord;
import java.io.IOException;

/**
 * Where the BaseServiceJNIMethods natives trace from: their unit's name, and the line of a call
 * inside a native (a trace without a fixed line number carries the line of its call).
 */
public final class BindingSource {
    /** The source name every record of the bindings carries. */
    public static final String FILE = "baseservice_jni";
    /** The exported symbol of a native, less its method name. */
    public static final String SYMBOL = "Java_com_zentrix_nodalis_deviceservice_impl_BaseServiceJNIMethods_";

    private BindingSource() {}

    /** The line of the first call after the native's definition that contains {@code fragment}. */
    public static int line(String method, String fragment) throws IOException {
        return SourceLines.of("baseservice/baseservice_jni.cpp").lineAfter(SYMBOL + method + "(", fragment);
    }

    /** A level-249 trace of the bindings written by that call. */
    public static TraceRecord at(String method, String fragment, String text) throws IOException {
        return TraceRecord.trace(249, FILE, line(method, fragment), text);
    }
}
