// Natives of ZxUnixFileSystem: thin wrappers over the system's POSIX calls. A path that cannot be
// converted makes a native answer false, 0 or null at once; nothing throws, nothing is kept.
#include <dirent.h>
#include <jni.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "com_zentrix_nodalis_deviceservice_custom_fileservice_ZxUnixFileSystem.h"
#include "scoped.h"
#include "zx_fileservice.h"

namespace {

constexpr jint kExists = 0x01;
constexpr jint kRegular = 0x02;
constexpr jint kDirectory = 0x04;
constexpr size_t kNameTable = 65534;  // names one listing takes at most
constexpr size_t kNameMax = 255;

using zxjni::JavaText;
using zxjni::LocalRef;

// lstat answers for files of 2 GiB and more and for times after 2038 on a 32-bit gateway too
// (the build makes off_t and time_t 64 bits wide): such a file reads negative, as it does on a
// 64-bit machine, instead of failing with EOVERFLOW and reading 0.
static_assert(sizeof(off_t) == 8 && sizeof(time_t) == 8, "the build must define _FILE_OFFSET_BITS and _TIME_BITS");

}  // namespace

extern "C" JNIEXPORT jboolean JNICALL
Java_com_zentrix_nodalis_deviceservice_custom_fileservice_ZxUnixFileSystem_checkAccess(JNIEnv* env, jobject,
                                                                                       jstring jpath, jint mode) {
    JavaText path(env, jpath);
    if (!path) return JNI_FALSE;
    return access(path.get(), mode) == 0 ? JNI_TRUE : JNI_FALSE;
}

// The link itself is examined, never its target.
extern "C" JNIEXPORT jint JNICALL
Java_com_zentrix_nodalis_deviceservice_custom_fileservice_ZxUnixFileSystem_getBooleanAttributes(JNIEnv* env, jobject,
                                                                                                jstring jpath) {
    JavaText path(env, jpath);
    struct stat st {};
    if (!path || lstat(path.get(), &st) != 0) return 0;
    if (S_ISREG(st.st_mode)) return kExists | kRegular;
    if (S_ISDIR(st.st_mode)) return kExists | kDirectory;
    return kExists;
}

// Seconds as a signed 32-bit value, times 1000.
extern "C" JNIEXPORT jlong JNICALL
Java_com_zentrix_nodalis_deviceservice_custom_fileservice_ZxUnixFileSystem_getLastModifiedTime(JNIEnv* env, jobject,
                                                                                               jstring jpath) {
    JavaText path(env, jpath);
    struct stat st {};
    if (!path || lstat(path.get(), &st) != 0) return 0;
    return static_cast<jlong>(static_cast<int32_t>(st.st_mtime)) * 1000;
}

// The size as a signed 32-bit value: files of 2 GiB and more read negative.
extern "C" JNIEXPORT jlong JNICALL Java_com_zentrix_nodalis_deviceservice_custom_fileservice_ZxUnixFileSystem_getLength(
    JNIEnv* env, jobject, jstring jpath) {
    JavaText path(env, jpath);
    struct stat st {};
    if (!path || lstat(path.get(), &st) != 0) return 0;
    return static_cast<jlong>(static_cast<int32_t>(st.st_size));
}

extern "C" JNIEXPORT jboolean JNICALL
Java_com_zentrix_nodalis_deviceservice_custom_fileservice_ZxUnixFileSystem_delete(JNIEnv* env, jobject, jstring jpath) {
    JavaText path(env, jpath);
    if (!path) return JNI_FALSE;
    return std::remove(path.get()) == 0 ? JNI_TRUE : JNI_FALSE;
}

extern "C" JNIEXPORT jobjectArray JNICALL
Java_com_zentrix_nodalis_deviceservice_custom_fileservice_ZxUnixFileSystem_list(JNIEnv* env, jobject, jstring jpath) {
    JavaText path(env, jpath);
    if (!path) return nullptr;
    DIR* dir = opendir(path.get());
    if (!dir) {
        std::perror("Open dir error...");
        return nullptr;
    }
    auto** names = static_cast<char**>(std::calloc(kNameTable, sizeof(char*)));
    if (!names) {
        closedir(dir);
        std::perror("Malloc failed...");
        return nullptr;
    }
    size_t count = 0;
    while (count < kNameTable) {
        struct dirent* e = readdir(dir);
        if (!e) break;
        const char* name = e->d_name;
        if (std::strcmp(name, ".") == 0 || std::strcmp(name, "..") == 0) continue;
        size_t len = std::strlen(name);
        if (len > kNameMax) continue;
        auto* copy = static_cast<char*>(std::malloc(len + 1));
        if (!copy) continue;
        std::memcpy(copy, name, len + 1);
        names[count++] = copy;
    }
    closedir(dir);

    // The names are made one at a time and dropped once stored: one listing may hold 65534.
    LocalRef<jclass> stringClass(env, env->FindClass("java/lang/String"));
    LocalRef<jobjectArray> result(env, nullptr);
    if (stringClass)
        result =
            LocalRef<jobjectArray>(env, env->NewObjectArray(static_cast<jsize>(count), stringClass.get(), nullptr));
    if (env->ExceptionCheck()) {
        env->ExceptionClear();
        result.reset();
    }
    for (size_t i = 0; i < count; ++i) {
        if (result) {
            LocalRef<jstring> name(env, char2jstring(env, names[i]));
            env->SetObjectArrayElement(result.get(), static_cast<jsize>(i), name.get());
        }
        std::free(names[i]);
    }
    std::free(names);
    return result.release();
}

extern "C" JNIEXPORT jboolean JNICALL
Java_com_zentrix_nodalis_deviceservice_custom_fileservice_ZxUnixFileSystem_createDirectory(JNIEnv* env, jobject,
                                                                                           jstring jpath) {
    JavaText path(env, jpath);
    if (!path) return JNI_FALSE;
    return mkdir(path.get(), 0775) == 0 ? JNI_TRUE : JNI_FALSE;
}

extern "C" JNIEXPORT jboolean JNICALL Java_com_zentrix_nodalis_deviceservice_custom_fileservice_ZxUnixFileSystem_rename(
    JNIEnv* env, jobject, jstring jfrom, jstring jto) {
    JavaText from(env, jfrom);
    JavaText to(env, jto);
    if (!from || !to) return JNI_FALSE;
    return std::rename(from.get(), to.get()) == 0 ? JNI_TRUE : JNI_FALSE;
}

// The result buffer holds the path's own length, so a canonical form longer than the path (a
// path without "/") is cut by the bounded appends.
extern "C" JNIEXPORT jstring JNICALL
Java_com_zentrix_nodalis_deviceservice_custom_fileservice_ZxUnixFileSystem_canonicalize0(JNIEnv* env, jobject,
                                                                                         jstring jpath) {
    JavaText path(env, jpath);
    if (!path) return nullptr;
    size_t size = std::strlen(path.get()) + 1;
    JavaText out(static_cast<char*>(std::calloc(1, size)));
    if (!out) return nullptr;
    return canonicalize(path.get(), out.data(), static_cast<uint32_t>(size)) == 0 ? char2jstring(env, out.get())
                                                                                  : nullptr;
}

// Nothing to look up: no class, field or method IDs are kept.
extern "C" JNIEXPORT void JNICALL
Java_com_zentrix_nodalis_deviceservice_custom_fileservice_ZxUnixFileSystem_initIDs(JNIEnv*, jclass) {}
