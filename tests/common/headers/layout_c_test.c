/* SPDX-License-Identifier: MIT */
/* The layouts as a C program sees them; all of it is checked while compiling. */
#include "std_config_file.h"

#include "tests/common/headers/layout_board.h"
#include "tests/common/headers/layout_busbroker.h"
#include "tests/common/headers/layout_core.h"

_Static_assert(SYS_CMD_MAX_SIZE == 2048, "the command line's room has changed");
_Static_assert(PF_TREE_SLOTS == 30, "the platform tree has changed its size");
_Static_assert(PROC_INFO_SLOTS == 25, "the process information has changed its size");
