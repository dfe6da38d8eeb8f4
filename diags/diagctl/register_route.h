// SPDX-License-Identifier: MIT
// The way to one register: the call of the library that serves the chip's bus, with its arguments.
#ifndef DIAGS_DIAGCTL_REGISTER_ROUTE_H
#define DIAGS_DIAGCTL_REGISTER_ROUTE_H

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "device_tree.h"

#include "diags/diagctl/decode.h"
#include "diags/diagctl/description.h"

namespace diag::diagctl {

class RegisterRoute {
  public:
    explicit RegisterRoute(const reg_def &reg);
    virtual ~RegisterRoute() = default;
    RegisterRoute(const RegisterRoute &) = delete;
    RegisterRoute &operator=(const RegisterRoute &) = delete;

    unsigned count() const { return count_; }  // bytes
    std::string text() const;                  // "1 byte of register 0x10 at /dev/i2c-1 ..."

    virtual const char *tool() const = 0;
    virtual ByteOrder order() const = 0;

    // Each is one call of the library and answers its status. A reading stores count() bytes.
    virtual std::uint32_t read(const char *pipe_path, std::uint8_t *bytes) const = 0;
    virtual std::uint32_t write(const std::uint8_t *bytes) const = 0;

    // Whether the status of a reading that failed is how its tool has ended.
    virtual bool hands_on_tool_status() const { return true; }

    // How many bytes the tool of a successful reading has delivered, by the library's messages;
    // nothing when they do not say.
    virtual std::optional<int> delivered(std::string_view library) const;

    // Level of the library's messages at which they show the command line and what delivered()
    // looks for.
    virtual int message_level() const { return 2; }

  private:
    virtual std::string place() const = 0;

    unsigned count_;
};

// Throws CliError: status 5 for a bus that no tool program reaches, 3 for numbers that the bus
// cannot carry.
std::unique_ptr<RegisterRoute> make_route(const Chip &chip, const reg_def &reg);

// Throws like make_route() when no register of the chip could be reached.
void require_reachable(const Chip &chip);

}  // namespace diag::diagctl

#endif
