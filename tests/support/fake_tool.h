// SPDX-License-Identifier: MIT
#ifndef TESTS_SUPPORT_FAKE_TOOL_H
#define TESTS_SUPPORT_FAKE_TOOL_H

#include <string>
#include <string_view>
#include <vector>

#include "tests/support/temporary_folder.h"

namespace diag::test {

// Stands in for a tool program: a script of that name, found before any other through PATH. It
// notes its arguments, writes bytes into the FIFO named by --pipe= and ends with a status.
class FakeTool {
  public:
    explicit FakeTool(std::string_view name);
    ~FakeTool();
    FakeTool(const FakeTool &) = delete;
    FakeTool &operator=(const FakeTool &) = delete;

    // What the next runs do. `bytes` are written in one piece; without --pipe they go nowhere.
    void answers(std::string_view bytes, int status = 0);

    // Replaces the body of the script; $pipe holds the FIFO's path.
    void runs_script(std::string_view body);

    // Removes the program: it is then not found, as PATH holds only the system's folders and ours.
    void is_missing();

    // The command lines of all runs so far, arguments joined by one blank, without the name.
    std::vector<std::string> calls() const;

  private:
    TemporaryFolder folder_;
    std::string name_;
    std::string saved_path_;
};

}  // namespace diag::test

#endif
