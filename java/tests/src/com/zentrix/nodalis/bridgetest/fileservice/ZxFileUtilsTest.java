package com.zentrix.nodalis.bridgetest.fileservice;

import static org.junit.jupiter.api.Assertions.assertArrayEquals;
import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertFalse;
import static org.junit.jupiter.api.Assertions.assertTrue;

import com.zentrix.nodalis.deviceservice.custom.expt.ZxFileUtils;
import java.io.IOException;
import java.nio.file.Files;
import java.nio.file.Path;
import java.util.Arrays;
import java.util.Random;
import org.junit.jupiter.api.Test;
import org.junit.jupiter.api.io.TempDir;

/** File copy from Java. */
class ZxFileUtilsTest {
    private final ZxFileUtils utils = new ZxFileUtils();

    @TempDir Path dir;

    @Test
    void twentyThousandBytesArriveWhole() throws IOException {
        byte[] data = new byte[20000];
        new Random(7).nextBytes(data);
        Path src = Files.write(dir.resolve("src"), data);
        assertTrue(utils.copyFile(src.toString(), dir.resolve("dst").toString()));
        assertArrayEquals(data, Files.readAllBytes(dir.resolve("dst")));
    }

    @Test
    void aShorterFileOverALongerOneKeepsTheTail() throws IOException {
        byte[] old = new byte[100];
        Arrays.fill(old, (byte) 'o');
        Path dst = Files.write(dir.resolve("dst"), old);
        Path src = Files.writeString(dir.resolve("src"), "0123456789");
        assertTrue(utils.copyFile(src.toString(), dst.toString()));
        String now = Files.readString(dst);
        assertEquals(100, now.length());
        assertEquals("0123456789" + "o".repeat(90), now);
    }

    @Test
    void anEmptyFile() throws IOException {
        Path src = Files.write(dir.resolve("src"), new byte[0]);
        assertTrue(utils.copyFile(src.toString(), dir.resolve("dst").toString()));
        assertEquals(0, Files.size(dir.resolve("dst")));
    }

    @Test
    void missingSourceAndNullArgumentsGiveFalse() throws IOException {
        Path src = Files.writeString(dir.resolve("src"), "x");
        assertFalse(utils.copyFile(dir.resolve("missing").toString(), dir.resolve("dst").toString()));
        assertFalse(Files.exists(dir.resolve("dst")));
        assertFalse(utils.copyFile(null, dir.resolve("dst").toString()));
        assertFalse(utils.copyFile(src.toString(), null));
        assertFalse(utils.copyFile(src.toString(), ""));
    }
}
