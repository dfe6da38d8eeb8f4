// SPDX-License-Identifier: MIT
#ifndef BENCH_DESCRIPTION_MAKER_H
#define BENCH_DESCRIPTION_MAKER_H

#include <string>

namespace diag::bench {

// A description file that goes with its owner: chips with a hundred registers each, a bit field
// with two named values in every fourth register, written as people write them.
class MadeDescription {
  public:
    explicit MadeDescription(int chips);
    ~MadeDescription();
    MadeDescription(const MadeDescription &) = delete;
    MadeDescription &operator=(const MadeDescription &) = delete;

    const std::string &path() const { return path_; }

  private:
    std::string path_;
};

}  // namespace diag::bench

#endif
