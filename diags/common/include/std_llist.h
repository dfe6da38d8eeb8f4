/* SPDX-License-Identifier: MIT */
/* A doubly linked list that never allocates: each record begins with a std_dll_node, and the list
 * head holds a sentinel at either end, so that no operation has a special case for the ends.
 *
 * This release declares the records; the calls follow.
 *
 * Ownership. Records and head are the caller's and must stay where they are while they are linked.
 *
 * Threads. No locks: the caller serialises access to a list. */
#ifndef DIAGS_COMMON_INCLUDE_STD_LLIST_H
#define DIAGS_COMMON_INCLUDE_STD_LLIST_H

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

/* std_dll.magic of an initialised list; a mark for whoever looks at memory, never tested */
#define DIAG_STD_DLL_MAGIC 0xF10D1F10u

/* First member of every listed record. Both pointers are null once it has been removed. */
typedef struct std_dll_node {
    struct std_dll_node *next; /* following record, or the tail sentinel */
    struct std_dll_node *prev; /* preceding record, or the head sentinel */
} std_dll_node;

/* Compares two sort keys: below 0, 0 or above 0 as key_a sorts before, with or after key_b.
 * `length` is the list's key_length. */
typedef int (*std_dll_compare)(const void *key_a, const void *key_b, unsigned int length);

/* List head. Empty when head.next is the tail sentinel. */
typedef struct std_dll {
    uint64_t magic;          /* DIAG_STD_DLL_MAGIC */
    std_dll_node head;       /* next: first record or &tail; prev: always null */
    std_dll_node tail;       /* next: always null; prev: last record or &head */
    uint32_t key_offset;     /* bytes from the start of the node to the sort key */
    uint32_t key_length;     /* handed to compare; bytes, unless the function means otherwise */
    std_dll_compare compare; /* null: the list is not sorted */
} std_dll;

#ifdef __cplusplus
}
#endif
#endif
