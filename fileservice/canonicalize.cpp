// Path canonicalisation by text alone: links are never resolved and nothing is looked up on disk.
#include <cstdio>
#include <cstring>

#include "zx_fileservice.h"
#include "zx_list.h"
#include "zx_os.h"

namespace {

constexpr size_t kPartChars = 256;  // characters of the leading part or of one component

// Closes one component: dropped, cancelling the one before, or kept. False when the path is to be
// refused (".." above the start, no memory).
bool close_component(List* list, const char* component) {
    if (component[0] == '\0') {
        std::puts("filename is empty");
        return true;
    }
    if (std::strncmp(component, ".", kPartChars) == 0) {
        std::puts("filename matches current folder");
        return true;
    }
    if (std::strcmp(component, "..") == 0) {
        if (GetSize(list) == 0) return false;  // ".." may not climb above the start
        FreeNode(RemoveTail(list));
        return true;
    }
    Node* node = MakeNode(component);
    if (!node) return false;
    InsTail(list, node);
    return true;
}

int32_t fail(List* list) {
    DestroyList(list);
    return -1;
}

}  // namespace

extern "C" int32_t canonicalize(const char* path, char* out, uint32_t outSize) {
    if (!path || !out || outSize == 0) return -1;
    List* list = InitList();
    if (!list) return -1;

    char leading[kPartChars + 1] = {};
    size_t n = 0;
    const char* p = path;
    for (; *p && *p != '/'; ++p) {
        if (n == kPartChars) return fail(list);
        leading[n++] = *p;
    }
    if (*p == '/') {
        char component[kPartChars + 1] = {};
        n = 0;
        for (++p;; ++p) {
            if (*p == '/' || *p == '\0') {
                if (!close_component(list, component)) return fail(list);
                std::memset(component, 0, sizeof component);
                n = 0;
                if (*p == '\0') break;
                continue;
            }
            if (n == kPartChars) return fail(list);
            component[n++] = *p;
        }
    }

    // The appends are bounded by outSize; only the components are measured beforehand.
    if (leading[0] != '\0') ZX_OS_StrNCat_S(out, outSize, leading, kPartChars);
    ZX_OS_StrNCat_S(out, outSize, "/", 1);
    // The length of out is kept rather than measured again for every component (a long path would
    // cost its length squared): each append goes to the end of what is there, with the room left,
    // which is what an append to the whole of out does.
    size_t used = strnlen(out, outSize);
    auto append = [&](const char* text, uint32_t count) {
        if (used >= outSize) return;
        ZX_OS_StrNCat_S(out + used, static_cast<uint32_t>(outSize - used), text, count);
        used += strnlen(out + used, outSize - used);
    };
    for (Node* node = GetNext(GetHead(list)); node; node = GetNext(node)) {
        if (std::strlen(GetItem(node)) + used + 1 > outSize) return fail(list);
        append(GetItem(node), ZX_LIST_ITEM_SIZE - 1);
        if (GetNext(node)) append("/", 1);
    }
    DestroyList(list);
    return 0;
}
