// Natives called as a hostile plug-in would call them, with the JNIEnv of a real VM run with
// -Xcheck:jni: objects of another class where a String is read, offsets and counts beyond the
// array Java passed, read holders without their field, counts the VM cannot hold. Each is refused
// with the answer the native gives a missing or invalid argument, nothing reaches a service or a
// device, nothing is left allocated or referenced, and no Java exception is left pending.
#include <gtest/gtest.h>
#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "binding_sim_test.h"
#include "jvm.h"
#include "source_lines.h"
#include "trace_lines.h"
#include "zx_bridge.h"
#include "zx_host.h"

extern "C" {
JNIEXPORT jstring JNICALL Java_com_zentrix_nodalis_deviceservice_entity_JNINativeMethods_send(JNIEnv*, jobject, jint,
                                                                                              jobject);
JNIEXPORT jstring JNICALL Java_com_zentrix_nodalis_deviceservice_impl_BaseServiceJNIMethods_usbWrite(JNIEnv*, jobject,
                                                                                                     jint, jbyteArray,
                                                                                                     jint, jint);
JNIEXPORT jstring JNICALL Java_com_zentrix_nodalis_deviceservice_impl_BaseServiceJNIMethods_usbRead(JNIEnv*, jobject,
                                                                                                    jint, jobject,
                                                                                                    jint, jint, jint);
}

namespace {

using zxtest::binding_line_of;
using zxtest::L;
using zxtest::T;
using zxtest::take_records;

constexpr const char* kEntity = "l2tp_jni";
constexpr const char* kVelm = "../velm/zx_velm_jni_api";

// The records of one unit among those captured since the last look.
std::vector<std::string> records_of(const std::vector<std::string>& all, const std::string& unit) {
    std::vector<std::string> out;
    for (const std::string& r : all)
        if (r.find(" " + unit + " ") != std::string::npos) out.push_back(r);
    return out;
}

class Hostile : public zxtest::BindingSimTest {
protected:
    Hostile() : BindingSimTest({.services = {"app_m", "tarn"}}) {}

    void SetUp() override {
        BindingSimTest::SetUp();
        if (HasFatalFailure()) return;
        ASSERT_EQ(pipe2(device_, O_NONBLOCK | O_CLOEXEC), 0);
        take_records();
    }
    void TearDown() override {
        for (int fd : device_)
            if (fd >= 0) close(fd);
        BindingSimTest::TearDown();
    }

    std::string send(jint type, jobject arg) {
        std::string answer =
            answer_of(Java_com_zentrix_nodalis_deviceservice_entity_JNINativeMethods_send(env_, nullptr, type, arg));
        EXPECT_FALSE(vm_->ExceptionCheck()) << "an exception was left pending for Java";
        return answer;
    }
    std::string usb_write(jint handle, jbyteArray data, jint offset, jint count) {
        std::string answer = answer_of(Java_com_zentrix_nodalis_deviceservice_impl_BaseServiceJNIMethods_usbWrite(
            env_, nullptr, handle, data, offset, count));
        EXPECT_FALSE(vm_->ExceptionCheck()) << "an exception was left pending for Java";
        return answer;
    }
    std::string usb_read(jint handle, jobject holder, jint offset, jint count, jint timeOut) {
        std::string answer = answer_of(Java_com_zentrix_nodalis_deviceservice_impl_BaseServiceJNIMethods_usbRead(
            env_, nullptr, handle, holder, offset, count, timeOut));
        EXPECT_FALSE(vm_->ExceptionCheck()) << "an exception was left pending for Java";
        return answer;
    }

    jobject plain_object() {
        jclass cls = vm_->FindClass("java/lang/Object");
        jobject o = vm_->NewObject(cls, vm_->GetMethodID(cls, "<init>", "()V"));
        vm_->DeleteLocalRef(cls);
        return o;
    }
    jobject boxed(jint value) {
        jclass cls = vm_->FindClass("java/lang/Integer");
        jobject o = vm_->CallStaticObjectMethod(cls, vm_->GetStaticMethodID(cls, "valueOf", "(I)Ljava/lang/Integer;"),
                                                value);
        EXPECT_FALSE(vm_->ExceptionCheck());
        vm_->DeleteLocalRef(cls);
        return o;
    }

    // A read holder as plug-ins write it: a class with a field "byte[] bytearray" and nothing else,
    // defined from its class file (no constructor is needed: the object is allocated bare).
    jobject read_holder() {
        jclass cls = vm_->FindClass("ZxReadHolder");
        if (!cls) {
            vm_->ExceptionClear();
            static const unsigned char kClass[] = {
                0xCA, 0xFE, 0xBA, 0xBE, 0x00, 0x00, 0x00, 0x34, 0x00, 0x07,                          //
                0x01, 0x00, 0x0C, 'Z', 'x', 'R', 'e', 'a', 'd', 'H', 'o', 'l', 'd', 'e', 'r',         // #1
                0x07, 0x00, 0x01,                                                                      // #2
                0x01, 0x00, 0x10, 'j', 'a', 'v', 'a', '/', 'l', 'a', 'n', 'g', '/', 'O', 'b', 'j', 'e', 'c',
                't',                                                                                   // #3
                0x07, 0x00, 0x03,                                                                      // #4
                0x01, 0x00, 0x09, 'b', 'y', 't', 'e', 'a', 'r', 'r', 'a', 'y',                        // #5
                0x01, 0x00, 0x02, '[', 'B',                                                            // #6
                0x00, 0x21, 0x00, 0x02, 0x00, 0x04, 0x00, 0x00,                                        // class
                0x00, 0x01, 0x00, 0x01, 0x00, 0x05, 0x00, 0x06, 0x00, 0x00,                            // field
                0x00, 0x00, 0x00, 0x00};                                                               // end
            cls = vm_->DefineClass("ZxReadHolder", nullptr, reinterpret_cast<const jbyte*>(kClass), sizeof kClass);
        }
        EXPECT_NE(cls, nullptr);
        if (!cls) {
            vm_->ExceptionDescribe();
            return nullptr;
        }
        jobject holder = vm_->AllocObject(cls);
        field_ = vm_->GetFieldID(cls, "bytearray", "[B");
        vm_->DeleteLocalRef(cls);
        return holder;
    }
    // The length of the array in the holder's field, -1 when it holds none.
    jint held_length(jobject holder) {
        auto a = static_cast<jbyteArray>(vm_->GetObjectField(holder, field_));
        jint n = a ? vm_->GetArrayLength(a) : -1;
        if (a) vm_->DeleteLocalRef(a);
        return n;
    }

    // Bytes waiting in the simulated device (the pipe's other end).
    std::string pending_on(int fd) {
        std::string got;
        char buf[8192];
        for (ssize_t n; (n = read(fd, buf, sizeof buf)) > 0;) got.append(buf, static_cast<size_t>(n));
        return got;
    }

    int device_[2] = {-1, -1};  // [0] what the native reads, [1] what it writes
    jfieldID field_ = nullptr;
};

// ---- the entity dispatcher: the argument's class ---------------------------------------------

TEST_F(Hostile, SendRefusesAStringCommandGivenAnObjectOfAnotherClass) {
    // Type 14 reads its argument as a String: an Object, an Integer or a String[] is none, and
    // reading it as one is undefined. Refused as a missing string is: result 1, traced, the buffer
    // cleared (Java gets null), nothing asked of the service.
    EXPECT_EQ(send(14, plain_object()), "<null>");
    EXPECT_EQ(send(14, jtexts({"x"})), "<null>");
    EXPECT_EQ(send(14, boxed(7)), "<null>");
    const std::vector<std::string> want = {
        T(216, kEntity, 868, "Command Type:14  \r\n"), T(216, kEntity, 946, "getDevicePPPoENameAndWANIP ret: 1 \r\n")};
    std::vector<std::string> all = take_records();
    std::vector<std::string> thrice;
    for (int i = 0; i < 3; ++i) thrice.insert(thrice.end(), want.begin(), want.end());
    EXPECT_EQ(records_of(all, kEntity), thrice);
    EXPECT_TRUE(records_of(all, "l2tp_api").empty()) << "the API function is not called";
    EXPECT_TRUE(received("app_m").empty());
    EXPECT_TRUE(received("tarn").empty());
    // The same command with a String reaches the service.
    send(14, jtext("wan1"));
    EXPECT_EQ(received("app_m").size(), 1u);
}

TEST_F(Hostile, SendRefusesADomainThatIsNoString) {
    // Type 21 reads a domain name as a String; an Integer is none: result 1, null to Java.
    EXPECT_EQ(send(21, boxed(7)), "<null>");
    EXPECT_EQ(send(21, plain_object()), "<null>");
    std::vector<std::string> all = take_records();
    const std::vector<std::string> want = {
        T(216, kEntity, 868, "Command Type:21  \r\n"), T(216, kEntity, 1015, "getDnsAnalysis ret: 1 \r\n"),
        T(216, kEntity, 868, "Command Type:21  \r\n"), T(216, kEntity, 1015, "getDnsAnalysis ret: 1 \r\n")};
    EXPECT_EQ(records_of(all, kEntity), want);
    EXPECT_TRUE(received("app_m").empty());
    EXPECT_TRUE(received("tarn").empty());
}

TEST_F(Hostile, SendObjectCommandsRefuseAnObjectWithoutTheirMembers) {
    // The object commands read fields and getters of their own kind: a String, an Integer or an
    // array has none of them, so each answers 1 (type 3 answers its statistic, 0), nothing sent.
    for (jint type : {3, 4, 5, 6, 7, 8, 9, 12, 13, 100, 101}) {
        for (jobject arg : {static_cast<jobject>(jtext("x")), boxed(7), static_cast<jobject>(jtexts({"x"}))}) {
            EXPECT_EQ(send(type, arg), type == 3 ? "0" : "1") << "type " << type;
            vm_->DeleteLocalRef(arg);
        }
    }
    take_records();
    EXPECT_TRUE(received("app_m").empty());
    EXPECT_TRUE(received("tarn").empty());
}

TEST_F(Hostile, AStringOfAnotherClassConvertsToNothing) {
    // jstring2char is handed what a caller declared as Object: calling String's getBytes on an
    // Integer would be undefined, so it converts to null like a null string.
    jobject other = boxed(42);
    EXPECT_EQ(jstring2char(env_, static_cast<jstring>(other)), nullptr);
    EXPECT_FALSE(vm_->ExceptionCheck());
    char* text = jstring2char(env_, jtext("42"));
    ASSERT_NE(text, nullptr);
    EXPECT_STREQ(text, "42");
    std::free(text);
}

// ---- usbWrite: offset and count against the array --------------------------------------------

TEST_F(Hostile, UsbWriteRefusesAnOffsetBeyondTheArray) {
    // An offset beyond the array would read (and trace and send) memory Java never passed: the
    // write is refused as one without a buffer is, before anything is read, traced or written.
    jbyteArray data = vm_->NewByteArray(16);
    const std::string failed = "{\"Result\":-1,\"FailReason\":\"\"}";
    EXPECT_EQ(usb_write(device_[1], data, 0x7FFF0000, 16), failed);
    const std::string method = "usbWrite";
    const std::vector<std::string> want = {
        T(249, "baseservice_jni", binding_line_of(method, "Binding<128> b("),
          "\r\n Java_com_nodalis_deviceservice_impl_BaseServiceJNIMethods_usbWrite called \r\n"),
        T(249, "baseservice_jni", binding_line_of(method, "iHandle"),
          "\r\n iHandle = " + std::to_string(device_[1]) + " \r\n"),
        T(249, "baseservice_jni", binding_line_of(method, "iOffset"), "\r\n iOffset = 2147418112 \r\n"),
        T(249, "baseservice_jni", binding_line_of(method, "iCount"), "\r\n iCount = 16 \r\n"),
        L(kVelm, 1681, 1, static_cast<uint32_t>(device_[1]), 0, 0x7FFF0000, 16),
        T(249, "baseservice_jni", binding_line_of(method, "kReplyTrace"), failed + "\n")};
    EXPECT_EQ(take_records(), want);
    EXPECT_EQ(pending_on(device_[0]), "") << "nothing reached the device";
    vm_->DeleteLocalRef(data);
}

TEST_F(Hostile, UsbWriteRefusesACountBeyondTheArray) {
    // 4096 bytes from a 16-byte array would send 4080 bytes of memory that is not the array's.
    jbyteArray data = vm_->NewByteArray(16);
    jbyte bytes[16];
    for (int i = 0; i < 16; ++i) bytes[i] = static_cast<jbyte>('a' + i);
    vm_->SetByteArrayRegion(data, 0, 16, bytes);
    const std::string failed = "{\"Result\":-1,\"FailReason\":\"\"}";
    EXPECT_EQ(usb_write(device_[1], data, 0, 4096), failed);
    EXPECT_EQ(usb_write(device_[1], data, 8, 9), failed) << "one byte beyond the end";
    EXPECT_EQ(usb_write(device_[1], data, 0x7FFFFFFF, 0x7FFFFFFF), failed) << "a sum past 32 bits";
    std::vector<std::string> all = take_records();
    EXPECT_EQ(std::count(all.begin(), all.end(), L(kVelm, 1681, 1, static_cast<uint32_t>(device_[1]), 0, 0, 4096)), 1);
    for (const std::string& r : all) EXPECT_EQ(r.find("ZX_JNI_UsbWrite: Len"), std::string::npos) << r;
    EXPECT_EQ(pending_on(device_[0]), "");
    // The last eight bytes exactly, and the whole array, are written.
    EXPECT_EQ(usb_write(device_[1], data, 8, 8), "{\"Result\":0,\"Len\":8}");
    EXPECT_EQ(usb_write(device_[1], data, 0, 16), "{\"Result\":0,\"Len\":16}");
    EXPECT_EQ(pending_on(device_[0]), "ijklmnopabcdefghijklmnop");
    vm_->DeleteLocalRef(data);
}

// ---- usbRead: the holder and the size of the block -------------------------------------------

TEST_F(Hostile, UsbReadRefusesAHolderWithoutTheField) {
    // The data goes to the holder's "bytearray" field: an object without it (or no object) has
    // nowhere to take it, and reading would consume the device's bytes for nothing. Refused as a
    // negative parameter is: "Illegal parameters", null, nothing allocated, nothing read.
    ASSERT_EQ(write(device_[1], "ping", 4), 4);
    EXPECT_EQ(usb_read(device_[0], plain_object(), 0, 4, 0), "<null>");
    EXPECT_EQ(usb_read(device_[0], nullptr, 0, 4, 0), "<null>");
    EXPECT_EQ(usb_read(device_[0], jtext("holder"), 0, 4, 0), "<null>");
    std::vector<std::string> all = take_records();
    const std::string illegal =
        T(249, "baseservice_jni", binding_line_of("usbRead", "Illegal parameters"), "\r\n Illegal parameters !\r\n");
    EXPECT_EQ(std::count(all.begin(), all.end(), illegal), 3);
    EXPECT_TRUE(records_of(all, kVelm).empty()) << "the platform function is not called";
    EXPECT_EQ(zxhost::alloc_outstanding(), 0u);
    EXPECT_EQ(pending_on(device_[0]), "ping") << "the device's bytes are still there";
}

TEST_F(Hostile, UsbReadWithACountTheVmCannotHoldAllocatesNothing) {
    // 320 MB in a VM of 64 MB: the Java array the data would go to cannot be made, so the native
    // block of that size is never allocated; the VM's OutOfMemoryError is cleared and Java gets
    // null, as for a block that cannot be had. The holder keeps what it had.
    jobject holder = read_holder();
    ASSERT_NE(holder, nullptr);
    ASSERT_EQ(write(device_[1], "data", 4), 4);
    const uint64_t injected = zxhost::alloc_failures_injected();
    zxhost::alloc_fail_nth(1);  // a block asked for would be refused, and counted
    EXPECT_EQ(usb_read(device_[0], holder, 0, 335544320, 0), "<null>");
    EXPECT_EQ(zxhost::alloc_failures_injected(), injected) << "no native block was asked for";
    zxhost::alloc_fail_clear();
    EXPECT_EQ(held_length(holder), -1);
    std::vector<std::string> all = take_records();
    EXPECT_TRUE(records_of(all, kVelm).empty()) << "the device is not read";
    EXPECT_EQ(pending_on(device_[0]), "data");
    vm_->DeleteLocalRef(holder);
}

TEST_F(Hostile, UsbReadRefusesAnOffsetAndCountPastTheLongestArray) {
    // offset + count above 2^31 - 1 is longer than any Java array: the block would overflow the
    // array it is copied to. Refused with "Illegal parameters" before anything is allocated.
    jobject holder = read_holder();
    ASSERT_NE(holder, nullptr);
    EXPECT_EQ(usb_read(device_[0], holder, 0x7FFFFFFF, 1, 0), "<null>");
    std::vector<std::string> all = take_records();
    EXPECT_NE(std::find(all.begin(), all.end(),
                        T(249, "baseservice_jni", binding_line_of("usbRead", "Illegal parameters"),
                          "\r\n Illegal parameters !\r\n")),
              all.end());
    EXPECT_TRUE(records_of(all, kVelm).empty());
    EXPECT_EQ(held_length(holder), -1);
    vm_->DeleteLocalRef(holder);
}

TEST_F(Hostile, UsbReadStoresOffsetPlusCountBytesInAProperHolder) {
    // The control case: a holder of the right class receives offset + count bytes, the data at
    // offset, whatever it held before.
    jobject holder = read_holder();
    ASSERT_NE(holder, nullptr);
    ASSERT_EQ(write(device_[1], "abcd", 4), 4);
    EXPECT_EQ(usb_read(device_[0], holder, 2, 6, 0), "{\"Result\":0,\"Len\":4}");
    ASSERT_EQ(held_length(holder), 8);
    auto a = static_cast<jbyteArray>(vm_->GetObjectField(holder, field_));
    jbyte got[8] = {};
    vm_->GetByteArrayRegion(a, 0, 8, got);
    EXPECT_EQ(std::string(reinterpret_cast<char*>(got), 8), std::string("\0\0abcd\0\0", 8));
    vm_->DeleteLocalRef(a);
    vm_->DeleteLocalRef(holder);
}

}  // namespace
