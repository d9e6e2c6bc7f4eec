// An object a native was given, read through its own class (never looked up by name): its fields
// and its String getters. A member that is missing, or a getter that throws, leaves no Java
// exception behind; the native reports its own failure. The class reference is released with the
// reader.
#pragma once

#include <jni.h>

#include "scoped.h"

namespace zxjni {

class ObjectArg {
public:
    static constexpr const char* kStringSig = "Ljava/lang/String;";
    static constexpr const char* kGetterSig = "()Ljava/lang/String;";

    ObjectArg(JNIEnv* env, jobject obj) : env_(env), obj_(obj), cls_(env, obj ? env->GetObjectClass(obj) : nullptr) {}

    // False for a null object.
    explicit operator bool() const { return static_cast<bool>(cls_); }

    jfieldID field(const char* name, const char* sig) { return cleared(env_->GetFieldID(cls_.get(), name, sig)); }
    // A method that takes nothing and answers a String.
    jmethodID getter(const char* name) { return cleared(env_->GetMethodID(cls_.get(), name, kGetterSig)); }

    jstring text(jfieldID id) { return static_cast<jstring>(env_->GetObjectField(obj_, id)); }
    // The getter's result; a getter that throws counts as one that answered null.
    jstring call(jmethodID id) { return cleared(static_cast<jstring>(env_->CallObjectMethod(obj_, id))); }
    jshort short_value(jfieldID id) { return env_->GetShortField(obj_, id); }

private:
    template <class T>
    T cleared(T value) {
        if (env_->ExceptionCheck()) {
            env_->ExceptionClear();
            return nullptr;
        }
        return value;
    }

    JNIEnv* env_;
    jobject obj_;
    LocalRef<jclass> cls_;
};

}  // namespace zxjni
