// SPDX-License-Identifier: MIT
// The file of a description, before anything is made of it.
#ifndef DIAGS_DIAGCTL_DESCRIPTION_FILE_H
#define DIAGS_DIAGCTL_DESCRIPTION_FILE_H

#include <string>
#include <string_view>

#include "diags/description/form.h"

namespace diag::diagctl {

struct DescriptionFile {
    description::Form form = description::Form::kXml;
    std::string text;  // of the text form alone: an XML parser reads its files itself
};

// Throws CliError with status 3 for a file that cannot be read. What is no regular file counts as
// XML: a pipe can be read only once.
DescriptionFile read_description_file(const std::string &path);

// A text description from its first device on.
std::string_view without_header(std::string_view text);

// A file that is nowhere but in memory, and gone with the object.
class MemoryFile {
  public:
    explicit MemoryFile(std::string_view text);  // throws CliError when there is no memory
    ~MemoryFile();
    MemoryFile(const MemoryFile &) = delete;
    MemoryFile &operator=(const MemoryFile &) = delete;

    std::string path() const;

  private:
    int fd_;
};

}  // namespace diag::diagctl

#endif
