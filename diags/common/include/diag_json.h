/* SPDX-License-Identifier: MIT */
/* JSON for diagnostic programs: a tree of values, read from text and written as compact text.
 *
 * It is smaller than the standard, and programs rely on its rules. Reading knows a literal by its
 * first three characters and takes no more than these, refuses an empty array, holds a text of at
 * most 255 characters and decodes no \u escape. Writing leaves a double quote inside a text as it
 * is.
 *
 * This release declares the record; the calls follow.
 *
 * Ownership. A tree belongs to whoever read or built it, with all texts in it; nodes and texts are
 * malloc memory.
 *
 * Threads. A tree is used by one thread at a time; different trees are independent. */
#ifndef DIAGS_COMMON_INCLUDE_DIAG_JSON_H
#define DIAGS_COMMON_INCLUDE_DIAG_JSON_H

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

/* json_obj.type */
enum {
    DIAG_JSON_FALSE = 0,
    DIAG_JSON_TRUE = 1,
    DIAG_JSON_NUMBER = 2,
    DIAG_JSON_STRING = 3,
    DIAG_JSON_ARRAY = 4,
    DIAG_JSON_OBJECT = 5,
    DIAG_JSON_NULL = 6
};

/* One value. A member of an object is one node that carries both its name and its value. */
typedef struct json_obj {
    struct json_obj *next; /* following element or member, null at the last */
    struct json_obj *prev; /* preceding element or member, null at the first */
    struct json_obj
        *child;     /* first element or member; null in other values and when empty; owned */
    uint32_t type;  /* DIAG_JSON_* */
    char *str_val;  /* text of a string, without its quotes, else null; owned */
    double num_val; /* value of a number; 0.0 for false, 1.0 for true */
    char *key;      /* name of a member, else null; owned */
} json_obj;

#ifdef __cplusplus
}
#endif
#endif
