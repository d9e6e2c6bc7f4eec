package com.zentrix.nodalis.bridgetest.fileservice;

import static org.junit.jupiter.api.Assertions.assertArrayEquals;
import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertFalse;
import static org.junit.jupiter.api.Assertions.assertNotEquals;
import static org.junit.jupiter.api.Assertions.assertNotNull;
import static org.junit.jupiter.api.Assertions.assertNull;
import static org.junit.jupiter.api.Assertions.assertTrue;

import com.zentrix.nodalis.deviceservice.custom.fileservice.ZxUnixFileSystem;
import java.io.File;
import java.io.IOException;
import java.io.RandomAccessFile;
import java.nio.file.Files;
import java.nio.file.Path;
import java.nio.file.attribute.FileTime;
import java.nio.file.attribute.PosixFilePermission;
import java.nio.file.attribute.PosixFilePermissions;
import java.util.Arrays;
import java.util.Set;
import java.util.concurrent.TimeUnit;
import org.junit.jupiter.api.Test;
import org.junit.jupiter.api.io.TempDir;

/**
 * The file-system natives, judged against the JDK's own java.io.File where they are meant to agree,
 * and with the differences asserted where they deliberately differ (the link itself is examined,
 * sizes are 32-bit, canonicalisation never resolves links, a listing stops at 65534 names).
 */
class ZxUnixFileSystemTest {
    private static final int EXISTS = 0x01;
    private static final int REGULAR = 0x02;
    private static final int DIRECTORY = 0x04;

    private final ZxUnixFileSystem fs = new ZxUnixFileSystem();

    @TempDir Path dir;

    private static int jdkAttributes(File f) {
        return (f.exists() ? EXISTS : 0) | (f.isFile() ? REGULAR : 0) | (f.isDirectory() ? DIRECTORY : 0);
    }

    @Test
    void attributesOfAFileAndADirectoryAgreeWithTheJdk() throws IOException {
        Path file = Files.writeString(dir.resolve("file.txt"), "x");
        assertEquals(0x03, fs.getBooleanAttributes(file.toString()));
        assertEquals(jdkAttributes(file.toFile()), fs.getBooleanAttributes(file.toString()));
        assertEquals(0x05, fs.getBooleanAttributes(dir.toString()));
        assertEquals(jdkAttributes(dir.toFile()), fs.getBooleanAttributes(dir.toString()));
        assertEquals(0, fs.getBooleanAttributes(dir.resolve("missing").toString()));
        assertEquals(jdkAttributes(dir.resolve("missing").toFile()), 0);
    }

    @Test
    void aLinkToADirectoryIsExaminedItselfUnlikeTheJdk() throws IOException {
        Path target = Files.createDirectory(dir.resolve("target"));
        Path link = Files.createSymbolicLink(dir.resolve("link"), target);
        assertEquals(0x01, fs.getBooleanAttributes(link.toString()));
        assertEquals(0x05, jdkAttributes(link.toFile()), "the JDK follows the link");
    }

    @Test
    void aPipeIsJustExisting() throws Exception {
        Path fifo = dir.resolve("fifo");
        Process p = new ProcessBuilder("mkfifo", fifo.toString()).start();
        assertTrue(p.waitFor(30, TimeUnit.SECONDS));
        assertEquals(0, p.exitValue());
        assertEquals(0x01, fs.getBooleanAttributes(fifo.toString()));
    }

    @Test
    void modificationTimeInMilliseconds() throws IOException {
        Path file = Files.writeString(dir.resolve("old"), "x");
        Files.setLastModifiedTime(file, FileTime.from(1_700_000_000L, TimeUnit.SECONDS));
        assertEquals(1_700_000_000_000L, fs.getLastModifiedTime(file.toString()));
        assertEquals(file.toFile().lastModified(), fs.getLastModifiedTime(file.toString()));
        assertEquals(0L, fs.getLastModifiedTime(dir.resolve("missing").toString()));
    }

    @Test
    void lengthIsA32BitValue() throws IOException {
        Path small = Files.write(dir.resolve("small"), new byte[12345]);
        assertEquals(12345L, fs.getLength(small.toString()));
        assertEquals(small.toFile().length(), fs.getLength(small.toString()));
        Path sparse = dir.resolve("sparse");
        try (RandomAccessFile f = new RandomAccessFile(sparse.toFile(), "rw")) {
            f.setLength(3_000_000_000L);
        }
        assertEquals((long) (int) 3_000_000_000L, fs.getLength(sparse.toString()));
        assertTrue(fs.getLength(sparse.toString()) < 0);
        assertEquals(3_000_000_000L, sparse.toFile().length(), "the JDK reads the whole size");
        assertEquals(0L, fs.getLength(dir.resolve("missing").toString()));
    }

    @Test
    void listingAgreesWithTheJdkAndNeverHoldsDots() throws IOException {
        Files.writeString(dir.resolve("a"), "");
        Files.createDirectory(dir.resolve("b"));
        Files.writeString(dir.resolve("c d"), "");
        String[] mine = fs.list(dir.toString());
        String[] jdk = dir.toFile().list();
        assertNotNull(mine);
        Arrays.sort(mine);
        Arrays.sort(jdk);
        assertArrayEquals(jdk, mine);
        assertFalse(Arrays.asList(mine).contains("."));
        assertFalse(Arrays.asList(mine).contains(".."));
    }

    @Test
    void listingOfAnEmptyAndOfAMissingDirectory() throws IOException {
        Path empty = Files.createDirectory(dir.resolve("empty"));
        String[] none = fs.list(empty.toString());
        assertNotNull(none);
        assertEquals(0, none.length);
        assertNull(fs.list(dir.resolve("missing").toString()));
        assertNull(fs.list(null));
    }

    @Test
    void namesOutsideTheBasicPlaneArriveAsStandardUtf8() throws IOException {
        String name = "caf\u00e9-\u4e2d-\ud83d\ude00";
        Files.writeString(dir.resolve(name), "");
        String[] mine = fs.list(dir.toString());
        assertArrayEquals(new String[] {name}, mine);
        assertEquals(0x03, fs.getBooleanAttributes(dir.resolve(name).toString()));
        assertEquals(name.getBytes(java.nio.charset.StandardCharsets.UTF_8).length,
                dir.resolve(name).getFileName().toString().getBytes(java.nio.charset.StandardCharsets.UTF_8).length);
    }

    @Test
    void aListingStopsAt65534Names() throws IOException {
        Path big = Files.createDirectory(dir.resolve("big"));
        for (int i = 0; i < 65536; i++) {
            Files.createFile(big.resolve("f" + i));
        }
        String[] mine = fs.list(big.toString());
        assertNotNull(mine);
        assertEquals(65534, mine.length);
        assertEquals(65536, big.toFile().list().length, "the JDK lists every name");
        assertEquals(65534, Set.of(mine).size(), "no name twice");
    }

    @Test
    void createDirectoryUsesMode0775UnderTheUmask() throws IOException {
        int umask = umask();
        Path made = dir.resolve("made");
        assertTrue(fs.createDirectory(made.toString()));
        Set<PosixFilePermission> perms = Files.getPosixFilePermissions(made);
        assertEquals(PosixFilePermissions.toString(permissions(0775 & ~umask)), PosixFilePermissions.toString(perms));
        assertFalse(fs.createDirectory(made.toString()), "it exists already");
        assertFalse(fs.createDirectory(dir.resolve("no/such/parent").toString()));
        assertFalse(fs.createDirectory(null));
    }

    @Test
    void renameNeedsBothPaths() throws IOException {
        Path from = Files.writeString(dir.resolve("from"), "content");
        Path to = dir.resolve("to");
        assertFalse(fs.rename(null, to.toString()));
        assertFalse(fs.rename(from.toString(), null));
        assertTrue(Files.exists(from));
        assertFalse(Files.exists(to));
        assertTrue(fs.rename(from.toString(), to.toString()));
        assertEquals("content", Files.readString(to));
        assertFalse(fs.rename(from.toString(), to.toString()), "the source is gone");
    }

    @Test
    void deleteAndCheckAccess() throws IOException {
        Path file = Files.writeString(dir.resolve("f"), "x");
        Path full = Files.createDirectory(dir.resolve("full"));
        Files.writeString(full.resolve("inside"), "x");
        assertTrue(fs.checkAccess(file.toString(), 4));
        assertEquals(file.toFile().canRead(), fs.checkAccess(file.toString(), 4));
        assertFalse(fs.checkAccess(dir.resolve("missing").toString(), 0));
        assertFalse(fs.delete(full.toString()), "a directory that is not empty stays");
        assertTrue(fs.delete(file.toString()));
        assertFalse(Files.exists(file));
        assertFalse(fs.delete(file.toString()));
        assertFalse(fs.delete(null));
        assertFalse(fs.checkAccess(null, 0));
    }

    @Test
    void canonicalisationIsTextualAndNeverResolvesLinks() throws IOException {
        assertEquals("/a/c", fs.canonicalize0("/a/b/../c"));
        assertEquals("/a/b/c", fs.canonicalize0("/a/./b//c/"));
        assertEquals("/", fs.canonicalize0("/"));
        assertEquals("x/z", fs.canonicalize0("x/y/../z"));
        assertNull(fs.canonicalize0("/.."));
        assertNull(fs.canonicalize0("/a/../.."));
        assertNull(fs.canonicalize0(null));
        assertNull(fs.canonicalize0(""), "an empty Java string converts to null");
        // "abc/" does not fit the path's own length: the path stays as it is.
        assertEquals("abc", fs.canonicalize0("abc"));

        Path target = Files.createDirectory(dir.resolve("real"));
        Path link = Files.createSymbolicLink(dir.resolve("alias"), target);
        String path = link + "/sub/..";
        assertEquals(link.toString(), fs.canonicalize0(path));
        assertNotEquals(new File(path).getCanonicalPath(), fs.canonicalize0(path), "the JDK resolves the link");
        assertEquals(target.toRealPath().toString(), new File(path).getCanonicalPath());
    }

    @Test
    void initIdsMayBeCalledAnyNumberOfTimes() {
        for (int i = 0; i < 3; i++) {
            ZxUnixFileSystem.initIDs();
        }
        assertEquals(0x05, fs.getBooleanAttributes(dir.toString()));
    }

    private static int umask() throws IOException {
        for (String line : Files.readAllLines(Path.of("/proc/self/status"))) {
            if (line.startsWith("Umask:")) {
                return Integer.parseInt(line.substring(6).trim(), 8);
            }
        }
        throw new IOException("no Umask line");
    }

    private static Set<PosixFilePermission> permissions(int mode) {
        StringBuilder s = new StringBuilder();
        String letters = "rwxrwxrwx";
        for (int i = 0; i < 9; i++) {
            s.append((mode & (1 << (8 - i))) != 0 ? letters.charAt(i) : '-');
        }
        return PosixFilePermissions.fromString(s.toString());
    }
}
