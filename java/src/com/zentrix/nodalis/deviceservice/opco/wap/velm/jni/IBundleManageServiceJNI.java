package com.zentrix.nodalis.deviceservice.opco.wap.velm.jni;

/** Bundle management through the gateway's bundle manager. Results follow the platform's code table. */
public class IBundleManageServiceJNI {
    static {
        System.loadLibrary("zxjavabridge");
    }

    public native int install(String packagePath, String fileSize, String startAction, String pluginName, int wanIndex);

    public native int cancelInstall(String bundleName);

    public native int start(String bundleName);

    public native int stop(String bundleName);

    public native int uninstall(String bundleName);

    public native int reset(String bundleName);

    /** @return {"Result":0,"BundleLists":[...]} or a one-member failure text; null when even that fails */
    public native String queryBundleState(String[] bundleNames);

    /** @return {"Result":..,"State":..,"Percent":..} or a one-member failure text */
    public native String queryInstallProcess(String pluginName);
}
