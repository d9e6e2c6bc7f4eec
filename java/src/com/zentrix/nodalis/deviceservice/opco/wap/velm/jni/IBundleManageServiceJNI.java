package com.zentrix.nodalis.deviceservice.opco.wap.velm.jni;

/**
 * Bundle management through the gateway's bundle manager, the service "osgi_proxy". Every call
 * is one request on the message bus with module id word 349; it waits up to 20000 ms (install,
 * cancel, the two queries), 60000 ms (start, stop, uninstall) or 120000 ms (reset), times
 * {@code ZX_TIMEOUT_SCALE} on a host.
 *
 * <p>The int methods answer the bundle manager's code converted to a small result: 0 success,
 * -1 a general failure (also: a null argument, the bundle manager not running or not answering
 * in time, any code without an entry of its own), -3 no such bundle (0xF7213003), -4 already
 * installed (0xF7213002), -5 no package file (0xF7212001), -6 a package of another size or a bad
 * package (0xF7213009), -7 an install in progress (0xF7213006), -11 (0xF7213008), -12 an unknown
 * action (0xF721300A), -13 no install to cancel (0xF7213010), -14 no bundle name (0xF721300B),
 * -18 the bundle is already in that state (0xF7213007), and the other codes listed in
 * {@code docs/reference.md}. The meanings given are those the simulated bundle manager uses.
 * Install, cancel, start, stop, uninstall and reset also write a line to the plug-in operation
 * log "/var/pluginOpera.log".
 */
public class IBundleManageServiceJNI {
    static {
        System.loadLibrary("zxjavabridge");
    }

    /**
     * Asks the bundle manager to install a bundle from a package file ("osgi_proxy"
     * {@code ZX_OSGI_RPC_INSTALL}, up to 20000 ms). The call returns when the request
     * is accepted; follow the install with {@link #queryInstallProcess}.
     *
     * @param packagePath path of the package file on the gateway, at most 255 characters
     * @param fileSize the package's size in bytes as decimal text ("48213"); the bundle manager
     *        refuses a package of another size. Text that is not a number is sent as the
     *        parser left it
     * @param startAction "Start" (any case) starts the bundle once installed; "Stop" or any
     *        other text leaves it installed and not started
     * @param pluginName the bundle's name, at most 127 characters
     * @param wanIndex the WAN connection index, passed to the bundle manager unchanged
     * @return 0 when the install was accepted; -1 when an argument is null or the bundle manager
     *         cannot be reached in time; otherwise the bundle manager's refusal converted as
     *         listed in the class description (-4, -5, -6, -7, -14, ...)
     */
    public native int install(String packagePath, String fileSize, String startAction, String pluginName, int wanIndex);

    /**
     * Cancels an install in progress ({@code ZX_OSGI_RPC_CANCEL_INSTALL}, up to 20000 ms).
     *
     * @param bundleName the name the install was started with, at most 127 characters
     * @return 0 when cancelled; -1 for a null name or a bus failure; -13 when no install of that
     *         name is in progress; other refusals converted as listed in the class description
     */
    public native int cancelInstall(String bundleName);

    /**
     * Starts an installed bundle ({@code ZX_OSGI_RPC_OPERATE}, action "start", up to
     * 60000 ms).
     *
     * @param bundleName the bundle's name, at most 127 characters
     * @return 0 when started; -1 for a null name or a bus failure; -3 no such bundle; -18 already
     *         started; other refusals converted as listed in the class description
     */
    public native int start(String bundleName);

    /**
     * Stops a bundle ({@code ZX_OSGI_RPC_OPERATE}, action "stop", up to 60000 ms).
     *
     * @param bundleName the bundle's name, at most 127 characters
     * @return 0 when stopped; -1 for a null name or a bus failure; -3 no such bundle; -18 already
     *         stopped; other refusals converted as listed in the class description
     */
    public native int stop(String bundleName);

    /**
     * Uninstalls a bundle ({@code ZX_OSGI_RPC_OPERATE}, action "uninstall", up to
     * 60000 ms).
     *
     * @param bundleName the bundle's name, at most 127 characters
     * @return 0 when uninstalled; -1 for a null name or a bus failure; -3 no such bundle; other
     *         refusals converted as listed in the class description
     */
    public native int uninstall(String bundleName);

    /**
     * Resets a bundle to its factory state ({@code ZX_OSGI_RPC_OPERATE}, action
     * "FactoryPlugin", up to 120000 ms).
     *
     * @param bundleName the bundle's name, at most 127 characters
     * @return 0 when reset; -1 for a null name or a bus failure; -3 no such bundle; other refusals
     *         converted as listed in the class description
     */
    public native int reset(String bundleName);

    /**
     * The states of bundles ({@code ZX_OSGI_RPC_QUERY_STATE}, up to 20000 ms). The
     * names travel in a compressed shared data block, and so does the answer. Nothing is sent when
     * no "osgi_proxy" endpoint is alive.
     *
     * @param bundleNames the bundles asked for (the first 256 are sent, each cut to 127
     *        characters, null elements skipped); an empty array asks for every bundle
     * @return {@code {"Result":0,"BundleLists":[{"Name":"...","Version":"1.2.0","State":"ACTIVE"}]}}
     *         (json-c's rendering, states such as "ACTIVE", "RESOLVED", "INSTALLING",
     *         "UNINSTALLED"); {@code {"Result":-1}} when the bundle manager is not running or
     *         does not answer in time, or the names cannot be packed into a block (a bundle
     *         manager's code from the class description may stand in place of -1); null when the
     *         answer block cannot be read, the answer carries a failed status, or no text can be
     *         built
     */
    public native String queryBundleState(String[] bundleNames);

    /**
     * The progress of an install ({@code ZX_OSGI_RPC_INSTALL_PROCESS}, up to 20000 ms).
     *
     * @param pluginName the name the install was started with, at most 127 characters
     * @return {@code {"Result":0,"State":"Installing","Percent":60}} (json-c's rendering; the
     *         simulated bundle manager's states are "Downloading", "Installing", "Installed" and
     *         "Cancelled", the percent a number from 0 to 100); {@code {"Result":-1}} for a null
     *         name, an install the bundle manager does not know, or a bus failure (time-out,
     *         "osgi_proxy" not running); null when that text cannot be built
     */
    public native String queryInstallProcess(String pluginName);
}
