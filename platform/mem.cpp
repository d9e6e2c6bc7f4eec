// Tracing allocator: every block handed out is counted with its size and the caller's file and
// line until it is freed, and a test can make a chosen allocation fail (fault.cpp).
#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <map>
#include <mutex>
#include <string>

#include "internal.h"
#include "zx_host.h"

namespace {

struct Block {
    uint32_t size;
    const char* file;  // callers pass string literals
    uint32_t line;
    uint64_t serial;
};

std::mutex g_mutex;
std::map<const void*, Block>& blocks() {
    static auto* m = new std::map<const void*, Block>;  // outlives static destructors of callers
    return *m;
}
uint64_t g_serial = 0;
uint64_t g_foreignFrees = 0;

void* allocate(uint32_t size, uint32_t line, const char* file) {
    if (size == 0) return nullptr;
    if (zxp::fault_hit(zxhost::Call::Alloc, file, line)) return nullptr;
    std::lock_guard<std::mutex> lock(g_mutex);
    void* p = std::malloc(size);
    if (!p) return nullptr;
    blocks()[p] = Block{size, file, line, ++g_serial};
    return p;
}

}  // namespace

std::optional<size_t> zxp::alloc_room(const void* p) {
    std::lock_guard<std::mutex> lock(g_mutex);
    auto it = blocks().upper_bound(p);  // the first block starting after p
    if (it == blocks().begin()) return std::nullopt;
    --it;
    const auto* start = static_cast<const uint8_t*>(it->first);
    const auto* at = static_cast<const uint8_t*>(p);
    if (at >= start + it->second.size) return std::nullopt;
    return static_cast<size_t>(start + it->second.size - at);
}

ZX_EXPORT void* ZX_OS_MemMallocD(uint32_t size, uint32_t line, uint32_t /*flags*/, uint32_t /*module*/,
                                 const char* file) {
    return allocate(size, line, file);
}

ZX_EXPORT void* ZX_OS_MemMallocSet(uint32_t size, uint32_t fill, uint32_t /*flags*/, uint32_t /*module*/, uint32_t line,
                                   const char* file) {
    void* p = allocate(size, line, file);
    if (p) std::memset(p, static_cast<int>(fill & 0xFF), size);
    return p;
}

ZX_EXPORT void ZX_OS_MemFreeD(void* ptr, const char* /*file*/, uint32_t /*line*/) {
    if (!ptr) return;
    {
        std::lock_guard<std::mutex> lock(g_mutex);
        auto it = blocks().find(ptr);
        if (it != blocks().end())
            blocks().erase(it);
        else
            ++g_foreignFrees;  // a block of the system allocator: the gateway's allocator frees it too
    }
    std::free(ptr);
}

ZX_EXPORT char* ZX_OS_StrDup(const char* text) {
    if (!text) return nullptr;
    size_t n = std::strlen(text) + 1;
    if (n > 0xFFFFFFFFu) return nullptr;
    auto* p = static_cast<char*>(allocate(static_cast<uint32_t>(n), __LINE__, "zx_os_mem"));
    if (p) std::memcpy(p, text, n);
    return p;
}

namespace zxhost {

uint64_t alloc_outstanding() {
    std::lock_guard<std::mutex> lock(g_mutex);
    return blocks().size();
}

std::vector<AllocRecord> alloc_list() {
    std::lock_guard<std::mutex> lock(g_mutex);
    std::vector<std::pair<uint64_t, AllocRecord>> sorted;
    for (const auto& [ptr, b] : blocks())
        sorted.push_back({b.serial, AllocRecord{ptr, b.size, b.file ? b.file : "", b.line}});
    std::sort(sorted.begin(), sorted.end(), [](const auto& a, const auto& b) { return a.first < b.first; });
    std::vector<AllocRecord> out;
    for (auto& s : sorted) out.push_back(std::move(s.second));
    return out;
}

uint64_t alloc_foreign_frees() {
    std::lock_guard<std::mutex> lock(g_mutex);
    return g_foreignFrees;
}

}  // namespace zxhost
