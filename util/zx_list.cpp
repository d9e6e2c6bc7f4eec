// Doubly-linked list of 256-byte text items. Nodes and lists come from the system allocator.
// Every function accepts NULL and then does nothing (answering NULL or 0).
#include "zx_list.h"

#include <cstdlib>
#include <cstring>

#include "zx_os.h"

extern "C" Node* MakeNode(const char* item) {
    auto* node = static_cast<Node*>(std::malloc(sizeof(Node)));
    if (!node) return nullptr;
    std::memset(node->item, 0, sizeof node->item);
    if (item) ZX_OS_StrNCpy_S(node->item, sizeof node->item, item, sizeof node->item - 1);
    node->prev = nullptr;
    node->next = nullptr;
    return node;
}

extern "C" void FreeNode(Node* node) { std::free(node); }

extern "C" List* InitList(void) {
    auto* list = static_cast<List*>(std::malloc(sizeof(List)));
    if (!list) return nullptr;
    Node* sentinel = MakeNode("");
    if (!sentinel) {
        std::free(list);
        return nullptr;
    }
    list->head = sentinel;
    list->tail = sentinel;
    list->size = 0;
    return list;
}

extern "C" Node* GetHead(List* list) { return list ? list->head : nullptr; }
extern "C" Node* GetTail(List* list) { return list ? list->tail : nullptr; }
extern "C" uint32_t GetSize(List* list) { return list ? list->size : 0; }
extern "C" Node* GetNext(Node* node) { return node ? node->next : nullptr; }
extern "C" Node* GetPrevious(Node* node) { return node ? node->prev : nullptr; }
extern "C" char* GetItem(Node* node) { return node ? node->item : nullptr; }

extern "C" void SetItem(Node* node, const char* item) {
    if (!node) return;
    ZX_OS_StrNCpy_S(node->item, sizeof node->item, item, sizeof node->item - 1);
    node->item[sizeof node->item - 1] = '\0';
}

extern "C" int32_t IsEmpty(List* list) { return !list || (list->size == 0 && list->tail == list->head) ? 1 : 0; }

extern "C" Node* InsFirst(List* list, Node* node) {
    if (!list || !node) return nullptr;
    Node* sentinel = list->head;
    Node* first = sentinel->next;
    node->prev = sentinel;
    node->next = first;
    if (first) first->prev = node;
    sentinel->next = node;
    if (list->tail == sentinel) list->tail = node;
    ++list->size;
    return node;
}

extern "C" Node* DelFirst(List* list) {
    if (!list) return nullptr;
    Node* sentinel = list->head;
    Node* first = sentinel->next;
    if (!first) return nullptr;
    if (first == list->tail)
        list->tail = first->prev;
    else
        first->next->prev = sentinel;
    sentinel->next = first->next;
    --list->size;
    first->prev = nullptr;
    first->next = nullptr;
    return first;
}

extern "C" Node* InsTail(List* list, Node* node) {
    if (!list || !node) return nullptr;
    node->prev = list->tail;
    node->next = list->tail->next;
    list->tail->next = node;
    list->tail = node;
    ++list->size;
    return node;
}

extern "C" Node* RemoveTail(List* list) {
    if (!list) return nullptr;
    Node* last = list->tail;
    if (!last->prev) return nullptr;  // only the sentinel is left
    list->tail = last->prev;
    list->tail->next = last->next;
    --list->size;
    last->prev = nullptr;
    last->next = nullptr;
    return last;
}

extern "C" void ClearList(List* list) {
    if (!list) return;
    while (!IsEmpty(list) && list->tail != list->head) {
        Node* last = list->tail;
        list->tail = last->prev;
        list->tail->next = nullptr;
        std::free(last);
        --list->size;
    }
}

extern "C" void DestroyList(List* list) {
    if (!list) return;
    ClearList(list);
    std::free(list->head);
    std::free(list);
}
