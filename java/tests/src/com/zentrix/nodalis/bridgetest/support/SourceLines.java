package com.zentrix.nodalis.bridgetest.support;

import java.io.IOException;
import java.nio.charset.StandardCharsets;
import java.nio.file.Files;
import java.util.List;

/**
 * A source file of the bridge, read to find the line of a call: a trace without a fixed line
 * number carries the line of the call that writes it.
 */
public final class SourceLines {
    private final String name;
    private final List<String> lines;

    private SourceLines(String name, List<String> lines) {
        this.name = name;
        this.lines = lines;
    }

    /** A file by its path in the source tree, such as "baseservice/baseservice_jni.cpp". */
    public static SourceLines of(String relativePath) throws IOException {
        return new SourceLines(relativePath,
                Files.readAllLines(TestEnv.sourceDir().resolve(relativePath), StandardCharsets.UTF_8));
    }

    /** The number (from 1) of the one line that contains {@code fragment}. */
    public int lineOf(String fragment) {
        int found = 0;
        for (int i = 0; i < lines.size(); i++) {
            if (lines.get(i).contains(fragment)) {
                if (found != 0) throw new IllegalStateException(name + " has \"" + fragment + "\" more than once");
                found = i + 1;
            }
        }
        if (found == 0) throw new IllegalStateException(name + " has no line with \"" + fragment + "\"");
        return found;
    }

    /**
     * The number of the first line after the one line that contains {@code anchor} (such as a
     * function's definition) that contains {@code fragment}.
     */
    public int lineAfter(String anchor, String fragment) {
        for (int i = lineOf(anchor); i < lines.size(); i++) {
            if (lines.get(i).contains(fragment)) return i + 1;
        }
        throw new IllegalStateException(name + " has no \"" + fragment + "\" after \"" + anchor + "\"");
    }
}
