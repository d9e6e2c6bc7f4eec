// dlopen as the library sees it, for the entity's start-up tests: calls are counted, the platform
// library can be made to look absent or be replaced by a stand-in, and json-c can be made to look
// absent. Included by one file of each test executable (it defines dlopen for the executable).
#pragma once

#include <dlfcn.h>

#include <atomic>
#include <cstring>

inline std::atomic<int> g_dlopenCalls{0};
inline std::atomic<bool> g_refuseBasicLibrary{false};     // "libzx_kor_basic.so" is not found
inline std::atomic<const char*> g_basicStandIn{nullptr};  // path opened for "libzx_kor_basic.so"
inline std::atomic<bool> g_refuseJsonC{false};            // "libjson-c.so" is not found

extern "C" void* dlopen(const char* file, int mode) {
    using DlopenFn = void* (*)(const char*, int);
    static const auto real = reinterpret_cast<DlopenFn>(dlsym(RTLD_NEXT, "dlopen"));
    ++g_dlopenCalls;
    const bool basic = file && std::strcmp(file, "libzx_kor_basic.so") == 0;
    if (basic && g_refuseBasicLibrary) return nullptr;
    if (file && std::strcmp(file, "libjson-c.so") == 0 && g_refuseJsonC) return nullptr;
    const char* standIn = g_basicStandIn;
    if (basic && standIn) return real(standIn, mode);
    return real(file, mode);
}
