// What the start-up tests of the entity service look at: the native that starts the bus link, the
// handle of the platform library the process has loaded, and the process's threads by name.
#pragma once

#include <dirent.h>
#include <dlfcn.h>
#include <jni.h>

#include <fstream>
#include <map>
#include <memory>
#include <string>

extern "C" JNIEXPORT jint JNICALL Java_com_zentrix_nodalis_deviceservice_entity_JNINativeMethods_startThread(JNIEnv*,
                                                                                                             jobject);

namespace zxtest {

inline jint start_thread() {
    return Java_com_zentrix_nodalis_deviceservice_entity_JNINativeMethods_startThread(nullptr, nullptr);
}

// The handle the process has for the platform library (null when it is not loaded).
inline void* basic_library() {
    void* h = dlopen("libzx_kor_basic.so", RTLD_NOW | RTLD_NOLOAD);
    if (h) dlclose(h);
    return h;
}

// Threads of this process by name.
inline std::map<std::string, int> thread_names() {
    std::map<std::string, int> names;
    struct CloseDir {
        void operator()(DIR* d) const { closedir(d); }
    };
    std::unique_ptr<DIR, CloseDir> dir(opendir("/proc/self/task"));
    while (struct dirent* e = dir ? readdir(dir.get()) : nullptr) {
        if (e->d_name[0] == '.') continue;
        std::ifstream comm(std::string("/proc/self/task/") + e->d_name + "/comm");
        std::string name;
        std::getline(comm, name);
        ++names[name];
    }
    return names;
}

}  // namespace zxtest
