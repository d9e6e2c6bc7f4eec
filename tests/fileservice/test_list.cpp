// The doubly-linked list of text items.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "zx_list.h"

namespace {

std::vector<std::string> items(List* list) {
    std::vector<std::string> out;
    for (Node* n = GetNext(GetHead(list)); n; n = GetNext(n)) out.emplace_back(GetItem(n));
    return out;
}

// Walks the list backwards from the tail to the sentinel.
std::vector<std::string> items_backwards(List* list) {
    std::vector<std::string> out;
    for (Node* n = GetTail(list); n && n != GetHead(list); n = GetPrevious(n)) out.insert(out.begin(), GetItem(n));
    return out;
}

TEST(List, NewListIsEmptyWithTheSentinelAsTail) {
    List* list = InitList();
    ASSERT_NE(list, nullptr);
    EXPECT_EQ(IsEmpty(list), 1);
    EXPECT_EQ(GetSize(list), 0u);
    EXPECT_EQ(GetTail(list), GetHead(list));
    EXPECT_EQ(GetPrevious(GetHead(list)), nullptr);
    EXPECT_STREQ(GetItem(GetHead(list)), "");
    DestroyList(list);
}

TEST(List, RemovalsFromAnEmptyListGiveNullAndKeepSizeZero) {
    List* list = InitList();
    EXPECT_EQ(RemoveTail(list), nullptr);
    EXPECT_EQ(DelFirst(list), nullptr);
    EXPECT_EQ(GetSize(list), 0u);
    EXPECT_EQ(IsEmpty(list), 1);
    DestroyList(list);
}

TEST(List, InsFirstOnAnEmptyListMakesTheNodeFirstAndTail) {
    List* list = InitList();
    Node* n = MakeNode("only");
    EXPECT_EQ(InsFirst(list, n), n);
    EXPECT_EQ(GetTail(list), n);
    EXPECT_EQ(GetNext(GetHead(list)), n);
    EXPECT_EQ(GetPrevious(n), GetHead(list));
    EXPECT_EQ(GetSize(list), 1u);
    EXPECT_EQ(IsEmpty(list), 0);
    DestroyList(list);
}

TEST(List, InsertionsAndRemovalsKeepBothDirectionsConsistent) {
    List* list = InitList();
    InsTail(list, MakeNode("b"));
    InsTail(list, MakeNode("c"));
    InsFirst(list, MakeNode("a"));
    EXPECT_EQ(items(list), (std::vector<std::string>{"a", "b", "c"}));
    EXPECT_EQ(items_backwards(list), (std::vector<std::string>{"a", "b", "c"}));
    EXPECT_EQ(GetSize(list), 3u);

    Node* first = DelFirst(list);
    EXPECT_STREQ(GetItem(first), "a");
    FreeNode(first);
    EXPECT_EQ(GetPrevious(GetNext(GetHead(list))), GetHead(list));
    Node* last = RemoveTail(list);
    EXPECT_STREQ(GetItem(last), "c");
    FreeNode(last);
    EXPECT_EQ(items(list), (std::vector<std::string>{"b"}));
    EXPECT_EQ(GetNext(GetTail(list)), nullptr);
    Node* only = DelFirst(list);
    EXPECT_EQ(GetTail(list), GetHead(list)) << "removing the tail by DelFirst moves the tail back";
    EXPECT_EQ(IsEmpty(list), 1);
    FreeNode(only);
    DestroyList(list);
}

TEST(List, ItemsLongerThan255CharactersAreCut) {
    std::string longItem(300, 'x');
    Node* n = MakeNode(longItem.c_str());
    ASSERT_NE(n, nullptr);
    EXPECT_EQ(std::string(GetItem(n)), std::string(255, 'x'));
    SetItem(n, std::string(256, 'y').c_str());
    EXPECT_EQ(std::string(GetItem(n)), std::string(255, 'y'));
    SetItem(n, "short");
    EXPECT_STREQ(GetItem(n), "short");
    EXPECT_EQ(static_cast<void*>(GetItem(n)), static_cast<void*>(n)) << "the item is the node's first field";
    FreeNode(n);
}

TEST(List, NullArgumentsAreHarmless) {
    EXPECT_EQ(GetHead(nullptr), nullptr);
    EXPECT_EQ(GetSize(nullptr), 0u);
    EXPECT_EQ(InsTail(nullptr, nullptr), nullptr);
    EXPECT_EQ(DelFirst(nullptr), nullptr);
    EXPECT_EQ(RemoveTail(nullptr), nullptr);
    EXPECT_EQ(GetItem(nullptr), nullptr);
    SetItem(nullptr, "x");
    ClearList(nullptr);
    DestroyList(nullptr);
    Node* n = MakeNode(nullptr);
    ASSERT_NE(n, nullptr);
    EXPECT_STREQ(GetItem(n), "");
    FreeNode(n);
}

}  // namespace
