// File and directory copy with plain POSIX calls; diagnostics go to the console.
#include <dirent.h>
#include <fcntl.h>
#include <jni.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "com_zentrix_nodalis_deviceservice_custom_expt_ZxFileUtils.h"
#include "scoped.h"
#include "zx_fileservice.h"

namespace {

constexpr size_t kCopyBuffer = 8192;
constexpr size_t kNameTable = 65534;  // names one directory copy takes at most
constexpr size_t kNameMax = 255;
constexpr size_t kDirMax = 4096;

// dir + "/" + name in a new allocation, or NULL.
char* join(const char* dir, const char* name) {
    size_t dirLen = strnlen(dir, kDirMax);
    size_t nameLen = strnlen(name, kNameMax);
    auto* path = static_cast<char*>(std::malloc(dirLen + nameLen + 2));
    if (!path) return nullptr;
    std::memcpy(path, dir, dirLen);
    path[dirLen] = '/';
    std::memcpy(path + dirLen + 1, name, nameLen);
    path[dirLen + 1 + nameLen] = '\0';
    return path;
}

void free_names(char** names, size_t from, size_t count) {
    for (size_t i = from; i < count; ++i) std::free(names[i]);
}

}  // namespace

extern "C" int32_t copyfile(const char* src, const char* dst) {
    auto* buf = static_cast<char*>(std::calloc(1, kCopyBuffer));
    if (!buf) {
        std::puts("Memory Allocate buf failed");
        return 0;
    }
    int in = src ? open(src, O_RDONLY) : -1;
    if (in < 0) {
        std::puts("open source file failed");
        std::free(buf);
        return 0;
    }
    // No O_TRUNC: a longer destination keeps its tail, and its permissions stay as they were.
    int out = dst ? open(dst, O_WRONLY | O_CREAT, 0777) : -1;
    if (out < 0) {
        std::puts("open dest file failed");
        close(in);
        std::free(buf);
        return 0;
    }
    int32_t result = 1;
    for (;;) {
        ssize_t n = read(in, buf, kCopyBuffer);
        if (n == 0) break;
        if (n < 0) {
            std::printf("failed to read file into buf");
            result = 0;
            break;
        }
        if (write(out, buf, static_cast<size_t>(n)) < n) {
            std::printf("failed to write file from buf");
            result = 0;
            break;
        }
    }
    std::fflush(stdout);
    std::free(buf);
    close(in);
    close(out);
    return result;
}

extern "C" uint32_t copydir(const char* srcDir, const char* dstDir) {
    DIR* dir = srcDir ? opendir(srcDir) : nullptr;
    if (!dir) {
        std::perror("Open dir error...");
        return 0;
    }
    auto** names = static_cast<char**>(std::calloc(kNameTable, sizeof(char*)));
    if (!names) {
        std::perror("Memory allocate flow error...");
        closedir(dir);
        return 0;
    }
    size_t count = 0;
    // The table holds 65534 names; the entries of a larger directory beyond that are left out.
    while (struct dirent* e = readdir(dir)) {
        if (count == kNameTable) break;
        auto* name = static_cast<char*>(std::calloc(1, kNameMax + 1));
        if (!name) {
            free_names(names, 0, count);
            closedir(dir);
            std::perror("Memory malloc flow error...");
            std::free(names);
            return 0;
        }
        std::memcpy(name, e->d_name, strnlen(e->d_name, kNameMax));  // calloc'ed: stays terminated
        names[count++] = name;
    }
    for (size_t i = 0; i < count; ++i) {
        const char* name = names[i];
        if (std::strcmp(name, ".") == 0 || std::strcmp(name, "..") == 0) {
            std::free(names[i]);
            continue;
        }
        char* from = join(srcDir, name);
        if (!from) {
            free_names(names, i, count);
            closedir(dir);
            std::perror("Memory malloc subfilepath error...");
            std::free(names);
            return 0;
        }
        char* to = dstDir ? join(dstDir, name) : nullptr;
        if (!to) {
            std::free(from);
            free_names(names, i, count);
            closedir(dir);
            std::perror("Memory malloc destfilepath error...");
            std::free(names);
            return 0;
        }
        std::printf("copy file from %s to %s\n", from, to);
        copyfile(from, to);
        std::free(names[i]);
        std::free(from);
        std::free(to);
    }
    std::fflush(stdout);
    closedir(dir);
    std::free(names);
    return 1;
}

// ---------------------------------------------------------------------------------------------
// Natives of ZxFileUtils
// ---------------------------------------------------------------------------------------------

extern "C" JNIEXPORT jboolean JNICALL Java_com_zentrix_nodalis_deviceservice_custom_expt_ZxFileUtils_copyFile(
    JNIEnv* env, jobject, jstring jsrc, jstring jdst) {
    zxjni::JavaText src(env, jsrc);
    if (!src) return JNI_FALSE;
    zxjni::JavaText dst(env, jdst);
    if (!dst) return JNI_FALSE;
    return copyfile(src.get(), dst.get()) != 0 ? JNI_TRUE : JNI_FALSE;
}
