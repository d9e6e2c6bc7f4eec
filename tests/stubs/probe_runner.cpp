// Runs the bridge's library probe in a process of its own, so that a test chooses through
// LD_LIBRARY_PATH which platform libraries it can find. Prints "result <n>", then
// "loaded <name>" for every probed stub library still loaded afterwards. Traces go where
// ZX_TRACE says.
#include <dlfcn.h>

#include <cstdio>
#include <initializer_list>

#include "l2tp_jni.h"

int main() {
    std::printf("result %u\n", JNIloadComLib());
    for (const char* name : {"libzx_kor_json.so", "libzx_mev_dm.so", "libzx_mev_cfg.so"}) {
        if (void* h = dlopen(name, RTLD_NOW | RTLD_NOLOAD)) {
            std::printf("loaded %s\n", name);
            dlclose(h);
        }
    }
    return 0;
}
