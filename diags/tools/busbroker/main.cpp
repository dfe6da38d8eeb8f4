// SPDX-License-Identifier: MIT
#include "diags/tools/busbroker/program.h"

int main(int argc, char **argv) {
    return diag::daemon::run_program(argc, argv);
}
