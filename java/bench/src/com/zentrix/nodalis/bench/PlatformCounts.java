package com.zentrix.nodalis.bench;

/**
 * What the host platform library counts inside this process, read through a small JNI library of
 * the soak (libzxsoakprobe.so, linked against the platform library the bridge loads, so both see
 * the same counters): blocks of the tracing allocator not yet freed, and the shared data blocks
 * that exist in the arena of the bus directory (of every process on the bus).
 */
public final class PlatformCounts {
    static {
        System.loadLibrary("zxsoakprobe");
    }

    private PlatformCounts() {}

    /** Blocks handed out by the platform's tracing allocator in this process and not yet freed. */
    public static native long allocations();

    /** Shared data blocks alive in the arena now, whoever created them. */
    public static native long arenaBlocks();

    /** Those of the blocks above whose creating process no longer exists. */
    public static native long arenaBlocksOfDeadCreators();
}
