// libzxsoakprobe.so: the natives of com.zentrix.nodalis.bench.PlatformCounts, the soak's look at
// the host platform's own counters from inside the JVM (allocations outstanding, arena blocks).
#include <jni.h>
#include <signal.h>

#include <cerrno>

#include "zx_host.h"

extern "C" {

JNIEXPORT jlong JNICALL Java_com_zentrix_nodalis_bench_PlatformCounts_allocations(JNIEnv*, jclass) {
    return static_cast<jlong>(zxhost::alloc_outstanding());
}

JNIEXPORT jlong JNICALL Java_com_zentrix_nodalis_bench_PlatformCounts_arenaBlocks(JNIEnv*, jclass) {
    return static_cast<jlong>(zxhost::vdata_list().size());
}

JNIEXPORT jlong JNICALL Java_com_zentrix_nodalis_bench_PlatformCounts_arenaBlocksOfDeadCreators(JNIEnv*, jclass) {
    jlong dead = 0;
    for (const zxhost::VdataBlock& b : zxhost::vdata_list())
        if (kill(static_cast<pid_t>(b.creatorPid), 0) != 0 && errno == ESRCH) ++dead;
    return dead;
}

}  // extern "C"
