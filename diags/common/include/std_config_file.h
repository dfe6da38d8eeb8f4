/* SPDX-License-Identifier: MIT */
/* Settings in sections, kept in a text file:
 *
 *     global = 1
 *     [network]
 *     ip = 10.0.0.1
 *
 * A name in brackets, taken with its blanks, opens a section; what comes before the first one
 * belongs to the section with the empty name. A line with "=" is a setting: white space around key
 * and value is removed, and a key that comes again replaces the earlier value. Every other line is
 * passed over; there is no comment syntax. A line of more than 1023 characters counts as several.
 * Sections and keys are in byte order.
 *
 * This release declares the handle; the calls follow. Their status codes are the STD_CONFIG_E_*
 * family of diag_types.h.
 *
 * Ownership. A store belongs to whoever made it. Texts that it hands out belong to the store and
 * are valid until their entry is changed or the store is closed.
 *
 * Threads. No locks: a store is used by one thread at a time. */
#ifndef DIAGS_COMMON_INCLUDE_STD_CONFIG_FILE_H
#define DIAGS_COMMON_INCLUDE_STD_CONFIG_FILE_H

#include "diag_types.h"

#ifdef __cplusplus
extern "C" {
#endif

typedef struct std_config_file std_config_file; /* a store; opaque */

#ifdef __cplusplus
}
#endif
#endif
