package com.zentrix.nodalis.deviceservice.custom.fileservice;

/**
 * The plug-ins' file-system back end: thin natives over the gateway's POSIX calls, run in the
 * calling process (no gateway service is asked, nothing goes over the message bus). Paths are
 * converted to UTF-8; a path that is null (or cannot be converted) makes a native answer false,
 * 0 or null at once. No native throws, and errno is never passed on.
 */
public class ZxUnixFileSystem {
    static {
        System.loadLibrary("zxjavabridge");
    }

    /** Attribute bit of {@link #getBooleanAttributes}: the path exists. */
    public static final int BA_EXISTS = 0x01;
    /** Attribute bit of {@link #getBooleanAttributes}: a regular file. */
    public static final int BA_REGULAR = 0x02;
    /** Attribute bit of {@link #getBooleanAttributes}: a directory. */
    public static final int BA_DIRECTORY = 0x04;
    /** Attribute bit for hidden files; {@link #getBooleanAttributes} never sets it. */
    public static final int BA_HIDDEN = 0x08;

    /**
     * Checks access to a path with {@code access(2)}.
     *
     * @param path the file or directory
     * @param mode the {@code access(2)} mode bits: 0 existence, 4 read, 2 write, 1 execute (OR-ed)
     * @return true when {@code access} answers 0; false when it refuses or the path is null
     */
    public native boolean checkAccess(String path, int mode);

    /**
     * The file type of a path as attribute bits, from {@code lstat(2)}: the link itself is
     * examined, never its target.
     *
     * @param path the file or directory
     * @return 0x03 ({@link #BA_EXISTS} | {@link #BA_REGULAR}) for a regular file, 0x05
     *         ({@link #BA_EXISTS} | {@link #BA_DIRECTORY}) for a directory, 0x01 for any other
     *         existing type (symbolic link, device, pipe, socket); 0 when the path does not exist,
     *         cannot be examined or is null
     */
    public native int getBooleanAttributes(String path);

    /**
     * The last modification time of a path, from {@code lstat(2)}.
     *
     * @param path the file or directory
     * @return milliseconds since the epoch: the seconds of the modification time, taken as a
     *         signed 32-bit number, times 1000 (no sub-second part); 0 when the path cannot be
     *         examined or is null
     */
    public native long getLastModifiedTime(String path);

    /**
     * The size of a file, from {@code lstat(2)}.
     *
     * @param path the file
     * @return the size in bytes, taken as a signed 32-bit number (files of 2 GiB and more come
     *         back wrong, negative from 2 GiB to 4 GiB); 0 when the path cannot be examined or is null
     */
    public native long getLength(String path);

    /**
     * Deletes a file or an empty directory with {@code remove(3)}.
     *
     * @param path the file or empty directory
     * @return true when it was removed; false when {@code remove} failed or the path is null
     */
    public native boolean delete(String path);

    /**
     * The names in a directory, in the order {@code readdir(3)} gives them (not sorted). "." and
     * ".." are left out, as are names of 256 characters or more; at most 65534 names are taken.
     * The failures "Open dir error..." and "Malloc failed..." are written to standard error.
     *
     * @param path the directory
     * @return the entry names (an empty array for an empty directory); null when the directory
     *         cannot be opened, the name table cannot be allocated, or the path is null
     */
    public native String[] list(String path);

    /**
     * Creates one directory with mode 0775 (less the umask); parents are not created.
     *
     * @param path the directory to create
     * @return true when {@code mkdir(2)} succeeded; false when it failed (the directory exists, a
     *         parent is missing, ...) or the path is null
     */
    public native boolean createDirectory(String path);

    /**
     * Renames a file or directory with {@code rename(2)}.
     *
     * @param from the current path
     * @param to the new path
     * @return true when the rename succeeded; false when it failed or either path is null
     */
    public native boolean rename(String from, String to);

    /**
     * The path canonicalised as text, without looking at the file system (symbolic links are not
     * followed, nothing is tested for existence): empty and "." components are dropped, ".."
     * cancels the component before it. The text before the first "/" is kept as it stands. The
     * result has room for the path's own length only: a longer canonical form (a path without
     * "/" gains one at its end) comes back cut to that length. Dropped components are reported
     * on standard output ("filename is empty", "filename matches current folder").
     *
     * @param path the path to canonicalise
     * @return the canonical path, such as "/a/c" for "/a/b/../c"; null when the path is null,
     *         ".." would climb above the start ("/.."), a component has more than 256
     *         characters, or memory cannot be allocated
     */
    public native String canonicalize0(String path);

    /** Does nothing: no class, field or method ids are looked up or cached. Safe to call any number of times. */
    public static native void initIDs();
}
