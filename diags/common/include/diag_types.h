/* SPDX-License-Identifier: MIT */
/* Status codes and the names of records that several families share.
 *
 * A status is an unsigned 32-bit value and 0 is success. There are three families, told apart by
 * their upper half; the lower half is an errno number or a number of the family's own. Some calls
 * return -1 (0xFFFFFFFF) or the wait status of a tool program instead; each says so.
 *
 * Contract of all headers, unless a function says otherwise: text is NUL-terminated, pointers must
 * not be null, results that the caller owns come from malloc and are released with free, and no
 * function keeps a pointer to an argument after it has returned. */
#ifndef DIAGS_COMMON_INCLUDE_DIAG_TYPES_H
#define DIAGS_COMMON_INCLUDE_DIAG_TYPES_H

/* Marks what the shared library exports; everything else in it is hidden. */
#define DIAG_API __attribute__((visibility("default")))

#define DIAG_E_FAIL 0x8A008000u  /* general failure; the base of a bare errno: base | errno */
#define DIAG_E_PERM 0x8A008001u  /* nothing was done: already in the requested state */
#define DIAG_E_NOMEM 0x8A00800Cu /* out of memory */
#define DIAG_E_ACCES 0x8A00800Du /* the device refused, or could not be reached */
#define DIAG_E_INVAL 0x8A008016u /* unusable argument or malformed input */

#define LPC_E_ACCES 0x8601800Du /* second family: the LPC tool calls */

#define STD_CONFIG_E_NOENT 0x8C008002u     /* third family: settings files; no such file or key */
#define STD_CONFIG_E_NOMEM 0x8C00800Cu     /* out of memory */
#define STD_CONFIG_E_BASE 0x8C008000u      /* | the low 16 bits of errno */
#define STD_CONFIG_E_NOSECTION 0x8C018000u /* no such section */
#define STD_CONFIG_E_TOOSMALL 0x8C020000u  /* the caller's table is too small */

typedef struct tool_info tool_info;         /* bus broker client, busbroker.h */
typedef struct busbroker_req busbroker_req; /* bus broker request, busbroker.h */
typedef struct mux_entry mux_entry;         /* one bus multiplexer to set, device_tree.h */
typedef struct device_node device_node;     /* one chip, device_tree.h */
typedef struct device_tree device_tree;     /* list of chips, device_tree.h */

#endif
