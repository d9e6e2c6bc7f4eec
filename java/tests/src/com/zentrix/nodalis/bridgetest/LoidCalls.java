package com.zentrix.nodalis.bridgetest;

import com.zentrix.nodalis.bridgetest.support.TraceFile.TraceRecord;
import java.io.IOException;
import java.util.List;

/** What a sysGetLoid call sends and the records it leaves in the trace. */
final class LoidCalls {
    /** The command of "app_m" that answers the LOID as plain text. */
    static final long LOID_COMMAND = 0x4710304BL;

    private static final String VELM = "../velm/zx_velm_jni_api";
    private static final String RESULT_FORMAT = " sysGetLoid ret: ret: %u buff:%s";

    private LoidCalls() {}

    /** The two traces of a call that app_m answered with {@code loid}. */
    static List<TraceRecord> answered(String loid) throws IOException {
        return List.of(BaseServiceTraces.entry("sysGetLoid"),
                BaseServiceTraces.result(RESULT_FORMAT, " sysGetLoid ret: ret: 0 buff:" + loid));
    }

    /**
     * The records of a call whose remote call failed with {@code status}: the wrapper's last word,
     * the API function's, and the result trace with -1 and the untouched (empty) buffer.
     */
    static List<TraceRecord> failed(long status) throws IOException {
        return List.of(BaseServiceTraces.entry("sysGetLoid"),
                TraceRecord.lastWord1(VELM, 232, status),
                TraceRecord.lastWord(VELM, 1184, 0xFFFFFFFFL, status, 0, 0, 0),
                BaseServiceTraces.result(RESULT_FORMAT, " sysGetLoid ret: ret: 4294967295 buff:"));
    }
}
