// SPDX-License-Identifier: MIT
// Splitting a line into its fields, in place: separators after a field become its end.
#ifndef DIAGS_COMMON_SRC_LIB_FIELDS_H
#define DIAGS_COMMON_SRC_LIB_FIELDS_H

namespace diag {

class Fields {
  public:
    // Fields of `text` between any of the characters of `separators`. Runs of separators count as
    // one, leading ones are passed over. Both texts must outlive the fields.
    Fields(char *text, const char *separators) : at_(text), separators_(separators) {}

    // The next field, or null when nothing is left.
    char *next();

    // The next field without the blanks around it (trim_spaces), or null.
    char *next_trimmed();

    // All that is left, separators included, from the next field on; null when nothing is left.
    char *rest();

  private:
    char *at_;
    const char *separators_;
};

bool starts_with(const char *text, const char *word);

// Ends `line` at its line feed, if it has one.
void cut_line_end(char *line);

}  // namespace diag

#endif
