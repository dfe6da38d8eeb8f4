// SPDX-License-Identifier: MIT
// A board with slots for optional modules, behind stand-ins for the tool programs.
#ifndef TESTS_COMMON_DEVICE_TREE_OPTIONAL_MODULES_TEST_H
#define TESTS_COMMON_DEVICE_TREE_OPTIONAL_MODULES_TEST_H

#include <map>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "diags/common/src/lib/unique_fd.h"
#include "tests/common/device_tree/loader_text_test.h"

namespace diag::test {

// Stand-ins for lpctool, i2ctool and ipmitool, found before any other through PATH. Each notes its
// command line; an access whose arguments hold a known text is answered, any other one ends with 0
// and no answer.
class SlotTools {
  public:
    SlotTools();
    ~SlotTools();
    SlotTools(const SlotTools &) = delete;
    SlotTools &operator=(const SlotTools &) = delete;

    // lpctool: the byte of a presence register.
    void presence(uint32_t reg, uint8_t byte);

    // i2ctool: the card at this address of any bus answers with its type.
    void card(uint32_t address, uint8_t type);

    // In place of these: what the tool does for arguments that hold `text`.
    void does(const std::string &tool, const std::string &text, const std::string &script);

    void is_missing(const std::string &tool);

    // All command lines so far, with the tool's name.
    std::vector<std::string> calls() const;

  private:
    void write(const std::string &tool) const;

    TemporaryFolder folder_;
    std::map<std::string, std::vector<std::pair<std::string, std::string>>> answers_;
    std::string saved_path_;
};

// The loader's FIFOs have fixed names: one test at a time loads modules, in whichever process. The
// lock is on the folder itself, so that nothing is left behind.
class OptionalModulesTest : public DeviceTreeTest {
  protected:
    void SetUp() override;

    SlotTools tools_;

  private:
    UniqueFd lock_;
};

// The lines that the block of slots begins with.
std::string slots_header(int slots, int card_types,
                         const std::string &card_id = "CARD_ID_REG : 5 |");

// A slot line: presence bit `bit` of `reg`, and a card at `address` of I2C bus 3.
std::string slot_line(const std::string &reg, const std::string &bit, const std::string &name,
                      const std::string &address);

// The rest of a file: one chip, and a section per card type with registers of it, the first at
// 0x11, 0x21, ... for type 1, 2, ...
std::string chip_and_sections(int card_types);

// What loading the text logs, without the first line and without what the tool calls say of
// themselves.
Messages logged_for_modules(const std::string &text);

// The offsets of a chip's registers.
std::vector<uint32_t> offsets_of(const device_node *node);
using Offsets = std::vector<uint32_t>;

}  // namespace diag::test

#endif
