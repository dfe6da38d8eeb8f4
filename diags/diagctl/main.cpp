// SPDX-License-Identifier: MIT
#include "diags/diagctl/program.h"

int main(int argc, char **argv) {
    return diag::diagctl::run_program(argc, argv);
}
