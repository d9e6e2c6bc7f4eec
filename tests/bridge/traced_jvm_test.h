// A JVM case that also captures the platform's trace records and, when it ends, finds nothing of
// the platform's allocator or shared blocks left (the natives' own bookkeeping, beside the local
// references JvmTest counts). Any allocation fault a case injected is cleared at its end.
#pragma once

#include "jvm.h"
#include "trace_lines.h"
#include "zx_host.h"

namespace zxtest {

class TracedJvmTest : public JvmTest {
protected:
    void SetUp() override {
        JvmTest::SetUp();
        if (HasFatalFailure()) return;
        zxhost::trace_capture_start();
    }
    void TearDown() override {
        zxhost::alloc_fail_clear();
        zxhost::trace_capture_stop();
        EXPECT_TRUE(nothing_left_behind());
        JvmTest::TearDown();
    }
};

}  // namespace zxtest
