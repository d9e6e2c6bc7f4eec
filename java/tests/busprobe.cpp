// busprobe: what the Java suites cannot do from Java, a look at the message bus.
//
//   busprobe alive NAME        prints 1 when a live process serves the endpoint NAME, else 0
//   busprobe call NAME MIDWORD sends a synchronous call to NAME whose routing header carries
//                              MIDWORD in its module id word; prints the status (0x%08X)
//
// It runs in the bus directory of its environment (ZX_BUS_DIR), like the JVM that starts it.
// Exit status 0 once the answer is printed, 2 for a usage error. busprobe --help (-h) prints the
// usage on standard output and touches no bus.
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#include "zx_platform.h"

namespace {

constexpr uint32_t kTimeoutMs = 5000;

void usage(FILE* out) {
    std::fputs("usage: busprobe alive NAME | busprobe call NAME MIDWORD | busprobe --help\n", out);
}

int alive(const char* name) {
    uint32_t exists = 0;
    uint32_t status = ZX_OS_IsProcExist_Ex(name, &exists);
    if (status != ZX_OK) {
        std::fprintf(stderr, "busprobe: ZX_OS_IsProcExist_Ex failed: 0x%08X\n", status);
        return 1;
    }
    std::printf("%u\n", exists);
    return 0;
}

int call(const char* name, uint32_t midWord) {
    ZX_MSG_HEAD_S head;
    std::memset(&head, 0, sizeof head);
    ZX_OS_StrNCpy_S(head.acSrcProcName, sizeof head.acSrcProcName, ZX_MSG_GetCurProcName(), 31);
    ZX_OS_StrNCpy_S(head.acDstProcName, sizeof head.acDstProcName, name, 31);
    head.uiMid = midWord;
    uint32_t request = 0;
    uint32_t reply = 0;
    // Dispatched on module id 0: the only module the JVM process registers.
    uint32_t status = ZX_MSG_RpcCall(&head, 0, 0, &request, sizeof request, &reply, sizeof reply, kTimeoutMs);
    std::printf("0x%08X\n", status);
    return 0;
}

}  // namespace

int main(int argc, char** argv) {
    if (argc == 2 && (std::strcmp(argv[1], "--help") == 0 || std::strcmp(argv[1], "-h") == 0)) {
        usage(stdout);
        return 0;
    }
    if (argc == 3 && std::strcmp(argv[1], "alive") == 0) return alive(argv[2]);
    if (argc == 4 && std::strcmp(argv[1], "call") == 0) {
        char* end = nullptr;
        unsigned long midWord = std::strtoul(argv[3], &end, 0);
        if (*argv[3] != '\0' && *end == '\0' && midWord <= 0xFFFFFFFFul)
            return call(argv[2], static_cast<uint32_t>(midWord));
    }
    usage(stderr);
    return 2;
}
