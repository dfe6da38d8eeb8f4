// SPDX-License-Identifier: MIT
#ifndef BENCH_DESCRIPTION_MAKER_H
#define BENCH_DESCRIPTION_MAKER_H

#include <string>

namespace diag::bench {

enum class Form { kXml, kText };

// A description file that goes with its owner: chips with a hundred registers each. XML: as people
// write it, with a bit field and two named values in every fourth register. Text: as the library
// writes it, with a bit field and a named value in each, so three lines per register.
class MadeDescription {
  public:
    MadeDescription(Form form, int chips);
    ~MadeDescription();
    MadeDescription(const MadeDescription &) = delete;
    MadeDescription &operator=(const MadeDescription &) = delete;

    const std::string &path() const { return path_; }

  private:
    std::string path_;
};

}  // namespace diag::bench

#endif
