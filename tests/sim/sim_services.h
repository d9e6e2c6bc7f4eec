// The simulated storage, media, voice, event and permission services as a caller on the bus meets
// them: raw calls with a routing header written here, and a gateway root (ZX_ROOT) of the test's own
// so that the discs are directories the test can look into.
#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <filesystem>
#include <string>
#include <vector>

#include "record_bytes.h"
#include "sim_fixture.h"
#include "zx_platform.h"

namespace simtest {

using zxtest::Bytes;
using zxtest::JsonPtr;
using zxtest::padded;
using zxtest::StateValue;
using zxtest::word;
using zxtest::words;

// What a call came back with: its status and the whole reply buffer (bytes the service did not
// write keep the filler 0xAA).
struct Answer {
    uint32_t status = 0;
    std::string reply;
};

constexpr char kFiller = static_cast<char>(0xAA);

// A call to `dst` with the request bytes and `replyCap` bytes of reply room.
inline Answer call(const char* dst, uint32_t msgId, const std::string& request, uint32_t replyCap) {
    ZX_MSG_HEAD_S head{};
    std::strcpy(head.acSrcProcName, "jamvm");
    std::strcpy(head.acDstProcName, dst);
    Answer a;
    a.reply.assign(replyCap, kFiller);
    a.status = ZX_MSG_RpcCall(&head, msgId, 0, request.data(), static_cast<uint32_t>(request.size()), a.reply.data(),
                              replyCap, 30000);
    return a;
}

// The filler a service left untouched: n bytes of it.
inline std::string filler(size_t n) { return std::string(n, kFiller); }

inline json_object* member(json_object* obj, const char* key) {
    json_object* v = nullptr;
    return obj && json_object_object_get_ex(obj, key, &v) ? v : nullptr;
}

// A JSON value as one line without blanks (slashes as they are).
inline std::string plain_json(json_object* obj) {
    return obj ? json_object_to_json_string_ext(obj, JSON_C_TO_STRING_PLAIN | JSON_C_TO_STRING_NOSLASHESCAPE) : "";
}

// The simulator with every service, run under a ZX_ROOT of the test's own.
class ServicesTest : public zxtest::SimFixture {
protected:
    ServicesTest() : SimFixture("") { zxtest::set_env("ZX_ROOT", root_.path().c_str()); }
    ~ServicesTest() override { zxtest::set_env("ZX_ROOT", nullptr); }

    // The host path of a gateway path.
    std::string host(const std::string& gatewayPath) const { return root_.path() + gatewayPath; }

    // Members of a service's state as the control socket shows them.
    JsonPtr state(const std::string& service) { return sim_.state(service); }

    zxtest::ScopedTempDir root_{"zxsimroot"};
};

}  // namespace simtest
