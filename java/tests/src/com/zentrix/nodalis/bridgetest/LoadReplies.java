package com.zentrix.nodalis.bridgetest;

import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertNotNull;
import static org.junit.jupiter.api.Assertions.assertTrue;

import com.google.gson.JsonElement;
import com.google.gson.JsonObject;
import com.google.gson.JsonParser;
import com.zentrix.nodalis.bridgetest.support.TraceFile.TraceRecord;
import java.io.IOException;
import java.util.List;
import java.util.regex.Matcher;
import java.util.regex.Pattern;

/**
 * The answer of sysGetCpuUsage and sysGetMemUsage, {"Result":0 , "Percent":"N"}: the percentage
 * as a JSON string, blanks around the comma. Checked as raw text and by a JSON parser.
 */
final class LoadReplies {
    private static final Pattern FORM = Pattern.compile("\\{\"Result\":0 , \"Percent\":\"(0|[1-9][0-9]*)\"\\}");
    static final String VELM = "../velm/zx_velm_jni_api";
    static final long ZX_ERR_SYS = 0xF7F00004L;

    private LoadReplies() {}

    static String text(int percent) {
        return "{\"Result\":0 , \"Percent\":\"" + percent + "\"}";
    }

    /** The percentage of an answer, after checking its exact form both ways. */
    static int percentOf(String answer) {
        assertNotNull(answer);
        Matcher m = FORM.matcher(answer);
        assertTrue(m.matches(), "not the load form: " + answer);
        int percent = Integer.parseInt(m.group(1));
        assertEquals(text(percent), answer);

        JsonObject json = JsonParser.parseString(answer).getAsJsonObject();
        assertEquals(2, json.size());
        JsonElement result = json.get("Result");
        assertTrue(result.getAsJsonPrimitive().isNumber());
        assertEquals(0, result.getAsInt());
        JsonElement value = json.get("Percent");
        assertTrue(value.getAsJsonPrimitive().isString(), "Percent is a JSON string");
        assertEquals(Integer.toString(percent), value.getAsString());
        return percent;
    }

    /** The traces of a call of {@code method} ("sysGetCpuUsage") with its code and buffer text. */
    static List<TraceRecord> traces(String method, long code, String buffer) throws IOException {
        String format = " " + method + " ret: %u buff:%s";
        return List.of(BaseServiceTraces.entry(method),
                BaseServiceTraces.result(format, " " + method + " ret: " + code + " buff:" + buffer));
    }
}
