// SPDX-License-Identifier: MIT
#ifndef TESTS_SUPPORT_TEMPORARY_FOLDER_H
#define TESTS_SUPPORT_TEMPORARY_FOLDER_H

#include <filesystem>
#include <string>
#include <string_view>

namespace diag::test {

// A private folder that goes with its owner, with all that is in it.
class TemporaryFolder {
  public:
    TemporaryFolder();
    ~TemporaryFolder();
    TemporaryFolder(const TemporaryFolder &) = delete;
    TemporaryFolder &operator=(const TemporaryFolder &) = delete;

    const std::filesystem::path &path() const { return path_; }
    std::string file(std::string_view name) const { return path_ / name; }

    // Writes a file and answers its path.
    std::string write(std::string_view name, std::string_view content) const;

    bool is_empty() const { return std::filesystem::is_empty(path_); }

  private:
    std::filesystem::path path_;
};

std::string read_file(const std::string &path);

}  // namespace diag::test

#endif
