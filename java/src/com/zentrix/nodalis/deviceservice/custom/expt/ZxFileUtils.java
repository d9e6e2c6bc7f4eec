package com.zentrix.nodalis.deviceservice.custom.expt;

/** File copy for plug-ins. */
public class ZxFileUtils {
    static {
        System.loadLibrary("zxjavabridge");
    }

    /** @return true when the whole file was copied */
    public native boolean copyFile(String src, String dst);
}
