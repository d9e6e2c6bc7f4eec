// A JVM case for the natives of BaseServiceJNIMethods against simulated services: a private bus
// directory and a gateway simulator serving the services the case names, the platform's traces
// captured, and the small conversions every such case needs (Java texts and arrays in, the
// native's answer out, what a service received since the last look).
//
//     class WlanBindings : public zxtest::BindingSimTest {
//     protected:
//         WlanBindings() : BindingSimTest({.services = {"app_m", "wifi"}}) {}
//     };
#pragma once

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "jvm.h"
#include "sim_process.h"
#include "source_lines.h"
#include "test_env.h"
#include "trace_lines.h"
#include "traced_jvm_test.h"

namespace zxtest {

// The file name the bindings trace with, and the prefix of their exported symbols.
constexpr const char* kBindingsUnit = "baseservice_jni";
constexpr const char* kBindingSymbol = "Java_com_zentrix_nodalis_deviceservice_impl_BaseServiceJNIMethods_";

// The line of the bindings' source holding `needle` after the definition of the native `method`.
inline uint32_t binding_line_of(const std::string& method, const std::string& needle) {
    return source_line_after("baseservice/baseservice_jni.cpp", kBindingSymbol + method + "(", needle);
}

// The records captured since the last look that the bindings wrote (the API units they call and the
// remote-call wrappers write under their own names).
inline std::vector<std::string> binding_records() {
    std::vector<std::string> out;
    for (const std::string& r : take_records())
        if (r.find(std::string(" ") + kBindingsUnit + " ") != std::string::npos) out.push_back(r);
    return out;
}

class BindingSimTest : public TracedJvmTest {
protected:
    explicit BindingSimTest(SimProcess::Options options) : sim_(std::move(options)) {}

    void SetUp() override {
        TracedJvmTest::SetUp();
        if (HasFatalFailure()) return;
        ASSERT_TRUE(sim_.start());
    }
    void TearDown() override {
        EXPECT_TRUE(sim_.stop());
        TracedJvmTest::TearDown();
    }

    // A Java string of the text (through the harness's own env, so not counted as the native's).
    jstring jtext(const std::string& s) { return vm_->NewStringUTF(s.c_str()); }

    // A String[] of the items, a null item a null element.
    jobjectArray jtexts(const std::vector<const char*>& items) {
        jclass cls = vm_->FindClass("java/lang/String");
        jobjectArray a = vm_->NewObjectArray(static_cast<jsize>(items.size()), cls, nullptr);
        vm_->DeleteLocalRef(cls);
        for (size_t i = 0; i < items.size(); ++i) {
            if (!items[i]) continue;
            jstring item = jtext(items[i]);
            vm_->SetObjectArrayElement(a, static_cast<jsize>(i), item);
            vm_->DeleteLocalRef(item);
        }
        return a;
    }

    jcharArray jchars(const std::vector<jchar>& items) {
        jcharArray a = vm_->NewCharArray(static_cast<jsize>(items.size()));
        vm_->SetCharArrayRegion(a, 0, static_cast<jsize>(items.size()), items.data());
        return a;
    }

    // What a native answered, as text ("<null>" for null); the reference is released.
    std::string answer_of(jstring s) {
        if (!s) return "<null>";
        std::u16string t = utf16_of(env_, s);
        env_->DeleteLocalRef(s);
        return std::string(t.begin(), t.end());
    }

    // The requests `service` received since the last look, then forgotten.
    std::vector<Received> received(const std::string& service) {
        auto r = sim_.received(service, true);
        EXPECT_TRUE(r.has_value());
        return r.value_or(std::vector<Received>{});
    }

    ScopedBusDir bus_;  // before the simulator, which runs on it
    SimProcess sim_;
};

}  // namespace zxtest
