// SPDX-License-Identifier: MIT
#include "diags/tools/tools.h"

#ifndef DIAG_TOOL
#error "DIAG_TOOL, the function that is this tool, is to be defined by the build"
#endif

int main(int argc, char **argv) {
    return diag::tools::DIAG_TOOL(argc, argv);
}
