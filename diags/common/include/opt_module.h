/* SPDX-License-Identifier: MIT */
/* Optional modules: which slots of a board hold a plug-in module, and of which type. A slot shows
 * in one bit of a presence register whether it holds a module; only then is its type register
 * read.
 *
 * This release declares the record; the calls follow.
 *
 * Ownership. The result table is the caller's array, of ten entries or as many as the board has
 * slots, whichever is more.
 *
 * Threads. Detection runs in the caller's thread; two at once must not share a table. */
#ifndef DIAGS_COMMON_INCLUDE_OPT_MODULE_H
#define DIAGS_COMMON_INCLUDE_OPT_MODULE_H

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

#define DIAG_OPT_MODULE_TABLE_MIN 10u       /* entries that a result table has at least */
#define DIAG_OPT_MODULE_ABSENT 255u         /* opt_module_info.status of an empty slot */
#define DIAG_OPT_MODULE_NOT_SET 0xFFFFFFFFu /* either field of a slot that was not evaluated */

/* One slot of the result table. */
typedef struct opt_module_info {
    uint32_t status;   /* type of the module, 0 to 255; DIAG_OPT_MODULE_ABSENT; or
                        * DIAG_OPT_MODULE_NOT_SET */
    uint32_t slot_num; /* slot number as the description counts, or DIAG_OPT_MODULE_NOT_SET */
} opt_module_info;

#ifdef __cplusplus
}
#endif
#endif
