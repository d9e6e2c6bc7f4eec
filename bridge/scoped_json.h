// The scoped holder of a json-c object: released through VELM_JSON_ObjPut, the one way the
// library lets go of json-c objects. Move-only; release() hands the object out.
#pragma once

#include <json-c/json.h>

#include <utility>

#include "zx_velm_jni_api.h"

namespace zxjni {

class JsonRef {
public:
    JsonRef() = default;
    explicit JsonRef(json_object* obj) : obj_(obj) {}
    ~JsonRef() { reset(); }
    JsonRef(JsonRef&& other) noexcept : obj_(other.release()) {}
    JsonRef& operator=(JsonRef&& other) noexcept {
        if (this != &other) {
            reset();
            obj_ = other.release();
        }
        return *this;
    }
    JsonRef(const JsonRef&) = delete;
    JsonRef& operator=(const JsonRef&) = delete;

    json_object* get() const { return obj_; }
    explicit operator bool() const { return obj_ != nullptr; }
    // A null object is never handed to VELM_JSON_ObjPut, which would record it as a fault.
    void reset() {
        if (obj_) (void)VELM_JSON_ObjPut(std::exchange(obj_, nullptr));
    }
    // Hands the object to the caller (for example to json_object_object_add, which takes it over).
    json_object* release() { return std::exchange(obj_, nullptr); }

private:
    json_object* obj_ = nullptr;
};

}  // namespace zxjni
