package com.zentrix.nodalis.deviceservice.custom.expt;

/**
 * File copy for plug-ins. The native runs in the calling process with plain POSIX calls; no
 * gateway service is asked, and nothing goes over the message bus.
 */
public class ZxFileUtils {
    static {
        System.loadLibrary("zxjavabridge");
    }

    /**
     * Copies one file in blocks of 8192 bytes. The destination is created with mode 0777 (less the
     * umask) when it does not exist; an existing destination is overwritten from its start but not
     * truncated, so a longer old file keeps its tail and its permissions. Directories are not
     * copied: a directory as source fails after the destination was created empty. Diagnostics go to standard output only
     * ("open source file failed", "open dest file failed", ...).
     *
     * @param src path of the file to copy (UTF-8 on the native side)
     * @param dst path of the copy; its directory must exist
     * @return true when every byte was read and written; false when either path is null, the
     *         source cannot be opened or read, the destination cannot be opened, or a write
     *         was short
     */
    public native boolean copyFile(String src, String dst);
}
