// SPDX-License-Identifier: MIT
// What the machine is, and where its files are.
#include "diags/common/src/diag_platform.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <initializer_list>
#include <sys/utsname.h>

#include "diag_util.h"

#include "diags/common/src/fatal_overflow.h"
#include "diags/common/src/log.h"

namespace {

constexpr char kGetCpuArch[] = "get_cpu_arch";
constexpr size_t kMachineSize = 10;
constexpr size_t kDiagBinPathSize = 256;

struct Architecture {
    char prefix[4];
    unsigned int code;
};

constexpr Architecture kArchitectures[] = {{"x86", 3}, {"arm", 4}};

bool opens_for_reading(const char *path) {
    std::FILE *file = std::fopen(path, "re");
    if (file == nullptr) {
        return false;
    }
    std::fclose(file);
    return true;
}

}  // namespace

uint32_t diag::arch_of_machine(const char *machine, unsigned int *arch) {
    if (std::strlen(machine) >= kMachineSize) {
        fatal_overflow(kGetCpuArch);
    }
    for (const Architecture &known : kArchitectures) {
        if (std::strncmp(machine, known.prefix, 3) == 0) {
            *arch = known.code;
            return 0;
        }
    }
    DIAG_ERROR_IN(kGetCpuArch, "Could not get valid cpu architecture\n");
    return DIAG_E_FAIL;
}

uint32_t get_cpu_arch(unsigned int *arch) {
    utsname system{};
    if (uname(&system) != 0) {
        DIAG_ERROR("Could not get cpu architcture!\n");
        return DIAG_E_FAIL;
    }
    return diag::arch_of_machine(system.machine, arch);
}

char *build_config_filename(const char *base_name) {
    if (base_name == nullptr) {
        DIAG_ERROR(
            "You must pass a valid string to use as the base of the filename without extension\n");
        return nullptr;
    }
    const size_t size = std::strlen(base_name) + sizeof ".cfg";
    auto *name = static_cast<char *>(std::malloc(size));
    if (name == nullptr) {
        DIAG_ERROR("Could not allocate space for the config file name\n");
        return nullptr;
    }
    for (const char *extension : {".cfg", ".xml"}) {
        std::snprintf(name, size, "%s%s", base_name, extension);
        if (opens_for_reading(name)) {
            return name;
        }
    }
    diag_print(1, "Config file (%s) must be either end in a .xml or .cfg extension\n", base_name);
    std::free(name);
    return nullptr;
}

uint32_t check_file_existance_in_diagbin(const char *file_name) {
    if (file_name == nullptr) {
        diag_print(3, "Input file pointer is NULL\n");
        return DIAG_E_INVAL;
    }
    const char *library_path = std::getenv("LD_LIBRARY_PATH");
    if (library_path == nullptr) {
        return DIAG_E_INVAL;
    }
    char path[kDiagBinPathSize];
    const int length = std::snprintf(path, sizeof path, "%s/../bin/%s", library_path, file_name);
    if (length < 0 || static_cast<size_t>(length) >= sizeof path) {
        diag::fatal_overflow(__func__);
    }
    return opens_for_reading(path) ? 0 : DIAG_E_INVAL;
}
