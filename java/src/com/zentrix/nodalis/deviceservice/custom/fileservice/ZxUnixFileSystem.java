package com.zentrix.nodalis.deviceservice.custom.fileservice;

/** The plug-ins' file-system back end: thin natives over the gateway's POSIX calls. */
public class ZxUnixFileSystem {
    static {
        System.loadLibrary("zxjavabridge");
    }

    public static final int BA_EXISTS = 0x01;
    public static final int BA_REGULAR = 0x02;
    public static final int BA_DIRECTORY = 0x04;
    public static final int BA_HIDDEN = 0x08;

    public native boolean checkAccess(String path, int mode);

    public native int getBooleanAttributes(String path);

    public native long getLastModifiedTime(String path);

    public native long getLength(String path);

    public native boolean delete(String path);

    public native String[] list(String path);

    public native boolean createDirectory(String path);

    public native boolean rename(String from, String to);

    public native String canonicalize0(String path);

    public static native void initIDs();
}
