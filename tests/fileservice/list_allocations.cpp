// The list's own allocations, counted: this executable wraps malloc and free for the list code
// built into it.
#include <gtest/gtest.h>

#include <cstdlib>
#include <string>

#include "zx_list.h"

extern "C" void* __real_malloc(size_t);
extern "C" void __real_free(void*);

namespace {
int g_mallocs = 0;
int g_frees = 0;
}  // namespace

extern "C" void* __wrap_malloc(size_t n) {
    ++g_mallocs;
    return __real_malloc(n);
}
extern "C" void __wrap_free(void* p) {
    if (p) ++g_frees;
    __real_free(p);
}

TEST(ListAllocations, DestroyOfAThreeNodeListFreesFiveAllocations) {
    int mallocs = g_mallocs;
    List* list = InitList();
    ASSERT_NE(list, nullptr);
    for (const char* item : {"a", "b", "c"}) InsTail(list, MakeNode(item));
    EXPECT_EQ(g_mallocs - mallocs, 5) << "the list, the sentinel and three nodes";
    int before = g_frees;
    DestroyList(list);
    EXPECT_EQ(g_frees - before, 5);
}

TEST(ListAllocations, ClearKeepsTheSentinel) {
    List* list = InitList();
    InsTail(list, MakeNode("a"));
    InsTail(list, MakeNode("b"));
    int before = g_frees;
    ClearList(list);
    EXPECT_EQ(g_frees - before, 2);
    EXPECT_EQ(IsEmpty(list), 1);
    EXPECT_EQ(GetTail(list), GetHead(list));
    EXPECT_EQ(GetNext(GetHead(list)), nullptr);
    before = g_frees;
    DestroyList(list);
    EXPECT_EQ(g_frees - before, 2) << "the sentinel and the list";
}
