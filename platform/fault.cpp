// Faults a test injects into the platform calls that can fail: one countdown and one file:line
// per kind of call, checked by each call before it does anything.
#include <cerrno>
#include <mutex>
#include <string>

#include "internal.h"
#include "zx_host.h"

namespace {

constexpr size_t kKinds = static_cast<size_t>(zxhost::Call::Count);

struct Fault {
    uint64_t failNth = 0;  // counts down; the call that brings it to 0 fails
    bool failAtSet = false;
    std::string failFile;
    uint32_t failLine = 0;
    uint64_t injected = 0;
};

std::mutex g_mutex;
Fault g_faults[kKinds];
uint64_t g_injected = 0;

// errno a failed call leaves behind, as the system's own refusal of that call would.
int fault_errno(zxhost::Call call) {
    switch (call) {
        case zxhost::Call::ShmGet: return ENOSPC;
        case zxhost::Call::ShmAt: return EACCES;
        case zxhost::Call::ShmDt: return EINVAL;
        case zxhost::Call::ShmCtl: return EPERM;
        case zxhost::Call::Alloc: return ENOMEM;
        case zxhost::Call::PthreadCreate: return EAGAIN;
        case zxhost::Call::Open:
        case zxhost::Call::Fopen: return EACCES;
        default: return EIO;
    }
}

}  // namespace

namespace zxp {

bool fault_hit(zxhost::Call call, const char* file, uint32_t line) {
    const auto kind = static_cast<size_t>(call);
    if (kind >= kKinds) return false;
    std::lock_guard<std::mutex> lock(g_mutex);
    Fault& f = g_faults[kind];
    bool fail = false;
    if (f.failNth > 0 && --f.failNth == 0) fail = true;
    if (f.failAtSet && line == f.failLine && f.failFile == (file ? file : "")) fail = true;
    if (!fail) return false;
    ++f.injected;
    ++g_injected;
    errno = fault_errno(call);
    return true;
}

}  // namespace zxp

namespace zxhost {

void fault_nth(Call call, uint64_t n) {
    const auto kind = static_cast<size_t>(call);
    if (kind >= kKinds) return;
    std::lock_guard<std::mutex> lock(g_mutex);
    g_faults[kind].failNth = n;
}

void fault_at(Call call, const std::string& file, uint32_t line) {
    const auto kind = static_cast<size_t>(call);
    if (kind >= kKinds) return;
    std::lock_guard<std::mutex> lock(g_mutex);
    g_faults[kind].failAtSet = true;
    g_faults[kind].failFile = file;
    g_faults[kind].failLine = line;
}

void fault_clear(Call call) {
    const auto kind = static_cast<size_t>(call);
    if (kind >= kKinds) return;
    std::lock_guard<std::mutex> lock(g_mutex);
    Fault& f = g_faults[kind];
    f.failNth = 0;
    f.failAtSet = false;
    f.failFile.clear();
    f.failLine = 0;
}

void fault_clear() {
    for (size_t k = 0; k < kKinds; ++k) fault_clear(static_cast<Call>(k));
}

uint64_t faults_injected() {
    std::lock_guard<std::mutex> lock(g_mutex);
    return g_injected;
}

uint64_t faults_injected(Call call) {
    const auto kind = static_cast<size_t>(call);
    if (kind >= kKinds) return 0;
    std::lock_guard<std::mutex> lock(g_mutex);
    return g_faults[kind].injected;
}

// The allocator's and the System V calls' own names for the same faults.
void alloc_fail_nth(uint64_t n) { fault_nth(Call::Alloc, n); }
void alloc_fail_at(const std::string& file, uint32_t line) { fault_at(Call::Alloc, file, line); }
void alloc_fail_clear() { fault_clear(Call::Alloc); }
uint64_t alloc_failures_injected() { return faults_injected(Call::Alloc); }

namespace {
Call shm_kind(ShmCall call) {
    switch (call) {
        case ShmCall::Get: return Call::ShmGet;
        case ShmCall::At: return Call::ShmAt;
        case ShmCall::Dt: return Call::ShmDt;
        case ShmCall::Ctl: break;
    }
    return Call::ShmCtl;
}
}  // namespace

void shm_fail(ShmCall call, uint64_t n) { fault_nth(shm_kind(call), n); }
void shm_fail_clear() {
    for (Call c : {Call::ShmGet, Call::ShmAt, Call::ShmDt, Call::ShmCtl}) fault_clear(c);
}
uint64_t shm_failures_injected() {
    return faults_injected(Call::ShmGet) + faults_injected(Call::ShmAt) + faults_injected(Call::ShmDt) +
           faults_injected(Call::ShmCtl);
}

}  // namespace zxhost
