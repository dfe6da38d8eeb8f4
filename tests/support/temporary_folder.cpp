// SPDX-License-Identifier: MIT
#include "tests/support/temporary_folder.h"

#include <cstdlib>
#include <fstream>
#include <sstream>
#include <stdexcept>
#include <system_error>

namespace diag::test {

TemporaryFolder::TemporaryFolder() {
    std::string pattern = std::filesystem::temp_directory_path() / "diag-test-XXXXXX";
    if (mkdtemp(pattern.data()) == nullptr) {
        throw std::runtime_error("cannot make a temporary folder at " + pattern);
    }
    path_ = pattern;
}

TemporaryFolder::~TemporaryFolder() {
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
}

std::string TemporaryFolder::write(std::string_view name, std::string_view content) const {
    std::string path = file(name);
    std::ofstream stream(path, std::ios::binary);
    stream << content;
    stream.close();
    if (!stream) {
        throw std::runtime_error("cannot write " + path);
    }
    return path;
}

std::string read_file(const std::string &path) {
    std::ifstream stream(path, std::ios::binary);
    if (!stream) {
        throw std::runtime_error("cannot read " + path);
    }
    std::ostringstream content;
    content << stream.rdbuf();
    return content.str();
}

}  // namespace diag::test
