/*
 * A doubly-linked list of fixed-size text items with a sentinel head node, a tail pointer and a
 * count. Path canonicalisation keeps a path's components in it.
 */
#ifndef ZX_LIST_H
#define ZX_LIST_H

#include <stdint.h>

#define ZX_LIST_EXPORT __attribute__((visibility("default")))
#define ZX_LIST_ITEM_SIZE 256

#ifdef __cplusplus
extern "C" {
#endif

typedef struct Node {
    char item[ZX_LIST_ITEM_SIZE]; /* first, so a node's address is its item's */
    struct Node* prev;
    struct Node* next;
} Node;

typedef struct {
    Node* head; /* the sentinel; its item is empty and it is never counted */
    Node* tail; /* the last node, the sentinel when the list is empty */
    uint32_t size;
} List;

ZX_LIST_EXPORT Node* MakeNode(const char* item);
ZX_LIST_EXPORT void FreeNode(Node* node);
ZX_LIST_EXPORT List* InitList(void);
ZX_LIST_EXPORT Node* GetHead(List* list);
ZX_LIST_EXPORT Node* GetTail(List* list);
ZX_LIST_EXPORT uint32_t GetSize(List* list);
ZX_LIST_EXPORT Node* GetNext(Node* node);
ZX_LIST_EXPORT Node* GetPrevious(Node* node);
ZX_LIST_EXPORT char* GetItem(Node* node);
ZX_LIST_EXPORT void SetItem(Node* node, const char* item);
ZX_LIST_EXPORT int32_t IsEmpty(List* list);
ZX_LIST_EXPORT Node* InsFirst(List* list, Node* node);
ZX_LIST_EXPORT Node* DelFirst(List* list);
ZX_LIST_EXPORT Node* InsTail(List* list, Node* node);
ZX_LIST_EXPORT Node* RemoveTail(List* list);
ZX_LIST_EXPORT void ClearList(List* list);
ZX_LIST_EXPORT void DestroyList(List* list);

#ifdef __cplusplus
}
#endif

#endif
