/* SPDX-License-Identifier: MIT */
/* Pins the layout of the public records, in C and in C++ alike: programs exchange them with the
 * library without a version in between, so neither an offset nor a width may ever move. The numbers
 * are the natural alignment of x86-64, in bytes. */
#ifndef TESTS_COMMON_HEADERS_LAYOUT_CHECK_H
#define TESTS_COMMON_HEADERS_LAYOUT_CHECK_H

#include <stddef.h>

#ifdef __cplusplus
#define LAYOUT_ASSERT static_assert
#else
#define LAYOUT_ASSERT _Static_assert
#endif

#define LAYOUT_RECORD(record, size) \
    LAYOUT_ASSERT(sizeof(struct record) == (size), #record " has changed its size")

/* The width of a pointer is meant here, not that of what it points to. */
#define LAYOUT_WIDTH(record, field) \
    sizeof(((struct record *)0)->field) /* NOLINT(bugprone-sizeof-expression) */

#define LAYOUT_FIELD(record, field, offset, width)                                              \
    LAYOUT_ASSERT(offsetof(struct record, field) == (offset), #record "." #field " has moved"); \
    LAYOUT_ASSERT(LAYOUT_WIDTH(record, field) == (width), #record "." #field " has a new width")

#endif
