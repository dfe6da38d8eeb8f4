// SPDX-License-Identifier: MIT
#include "diags/board/sim/state_image.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <sys/mman.h>
#include <system_error>
#include <unistd.h>

#include "diags/board/sim/board_error.h"
#include "diags/board/sim/state.h"

namespace diag::board::sim {
namespace {

constexpr size_t kAlignment = 8;

class Layout {
  public:
    template <typename Record>
    TableRef place(const std::vector<Record> &records) {
        const TableRef table = {static_cast<uint32_t>(end_), static_cast<uint32_t>(records.size())};
        end_ += (records.size() * sizeof(Record) + kAlignment - 1) / kAlignment * kAlignment;
        return table;
    }

    size_t size() const { return end_; }

  private:
    size_t end_ = (sizeof(Header) + kAlignment - 1) / kAlignment * kAlignment;
};

template <typename Record>
void copy_table(uint8_t *file, const TableRef &table, const std::vector<Record> &records) {
    if (!records.empty()) {
        std::memcpy(file + table.offset, records.data(), records.size() * sizeof(Record));
    }
}

[[noreturn]] void fail(const std::string &path, int error) {
    throw BoardError(error == EACCES || error == EPERM ? kExitNotPermitted : kExitAccessFailed,
                     path + ": " + std::generic_category().message(error));
}

// A new file of a given size, mapped for writing.
class MappedFile {
  public:
    MappedFile(const std::string &path, size_t size) : size_(size) {
        const int file = open(path.c_str(), O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC, 0600);
        if (file < 0) {
            fail(path, errno);
        }
        // Allocated, not only sized: a full disk is an error here and not a signal later.
        const int error = posix_fallocate(file, 0, static_cast<off_t>(size));
        if (error == 0) {
            memory_ = mmap(nullptr, size, PROT_READ | PROT_WRITE, MAP_SHARED, file, 0);
        }
        const int map_error = errno;
        close(file);
        if (error != 0 || memory_ == MAP_FAILED) {
            fail(path, error != 0 ? error : map_error);
        }
    }
    ~MappedFile() { munmap(memory_, size_); }
    MappedFile(const MappedFile &) = delete;
    MappedFile &operator=(const MappedFile &) = delete;

    uint8_t *bytes() { return static_cast<uint8_t *>(memory_); }

  private:
    void *memory_ = MAP_FAILED;
    size_t size_;
};

}  // namespace

void StateImage::write_to(const std::string &path) const {
    Layout layout;
    const TableRef device_table = layout.place(devices);
    const TableRef condition_table = layout.place(conditions);
    const TableRef range_table = layout.place(ranges);
    const TableRef cell_table = layout.place(cells);
    const TableRef line_table = layout.place(lines);
    const TableRef oem_table = layout.place(oem_registers);
    if (layout.size() > UINT32_MAX) {
        throw BoardError(kExitBadDescription, path + ": the description is too large to simulate");
    }
    MappedFile file(path, layout.size());
    auto *header = reinterpret_cast<Header *>(file.bytes());
    header->version = kLayoutVersion;
    header->header_size = sizeof(Header);
    header->file_size = layout.size();
    header->fingerprint = fingerprint;
    header->devices = device_table;
    header->conditions = condition_table;
    header->ranges = range_table;
    header->cells = cell_table;
    header->lines = line_table;
    header->oem_registers = oem_table;
    std::copy(nvram.begin(), nvram.end(), header->nvram);
    if (!init_lock(&header->lock)) {
        fail(path, ENOTSUP);
    }
    copy_table(file.bytes(), device_table, devices);
    copy_table(file.bytes(), condition_table, conditions);
    copy_table(file.bytes(), range_table, ranges);
    copy_table(file.bytes(), cell_table, cells);
    copy_table(file.bytes(), line_table, lines);
    copy_table(file.bytes(), oem_table, oem_registers);
    std::memcpy(header->magic, kMagic, sizeof kMagic);
}

}  // namespace diag::board::sim
