// SPDX-License-Identifier: MIT
// Where tool programs put their answers: a FIFO in a folder that is nobody else's.
#ifndef DIAGS_DIAGCTL_ANSWER_PIPE_H
#define DIAGS_DIAGCTL_ANSWER_PIPE_H

#include <string>

namespace diag::diagctl {

// Makes the folder under $TMPDIR or /tmp; the library makes and removes the FIFO itself, once for
// each reading. Both are gone when the object is, also when a signal ends the process. One at a
// time.
class AnswerPipe {
  public:
    AnswerPipe();  // throws CliError when the folder cannot be made
    ~AnswerPipe();
    AnswerPipe(const AnswerPipe &) = delete;
    AnswerPipe &operator=(const AnswerPipe &) = delete;

    const std::string &path() const { return path_; }

  private:
    std::string path_;
};

// Removes FIFO and folder. Safe in a signal handler, and nothing without an AnswerPipe.
void remove_answer_pipe();

}  // namespace diag::diagctl

#endif
