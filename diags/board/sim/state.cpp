// SPDX-License-Identifier: MIT
#include "diags/board/sim/state.h"

#include <cerrno>
#include <cstring>
#include <ctime>
#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

namespace diag::board::sim {
namespace {

constexpr long kNanosecondsPerSecond = 1'000'000'000;

Status status_of_errno(int error) {
    switch (error) {
        case ENOENT:
        case ENOTDIR:
            return Status::kNoState;
        case EACCES:
        case EPERM:
        case EROFS:
            return Status::kNotPermitted;
        default:
            return Status::kUnusable;
    }
}

template <typename Record>
bool table_fits(const TableRef &table, size_t file_size) {
    const uint64_t end = table.offset + uint64_t{table.count} * sizeof(Record);
    return table.offset >= sizeof(Header) && table.offset % alignof(Record) == 0 &&
           end <= file_size;
}

template <typename Record>
std::span<Record> table_at(Header *header, const TableRef &table) {
    auto *bytes = reinterpret_cast<std::byte *>(header) + table.offset;
    return {reinterpret_cast<Record *>(bytes), table.count};
}

template <typename Record>
std::span<const Record> slice(std::span<Record> table, uint32_t first, uint32_t count,
                              bool *damaged) {
    if (first > table.size() || count > table.size() - first) {
        *damaged = true;
        return {};
    }
    return table.subspan(first, count);
}

// The C library stops the program over a mutex of a kind that it does not know.
bool is_sound(const pthread_mutex_t &lock) {
#ifdef __GLIBC__
    pthread_mutex_t model;
    return init_lock(&model) && lock.__data.__kind == model.__data.__kind;
#else
    return true;
#endif
}

timespec time_after(std::chrono::milliseconds delay) {
    timespec time;
    clock_gettime(CLOCK_REALTIME, &time);  // the clock of pthread_mutex_timedlock
    time.tv_sec += static_cast<time_t>(delay.count() / 1000);
    time.tv_nsec += static_cast<long>(delay.count() % 1000) * 1'000'000;
    if (time.tv_nsec >= kNanosecondsPerSecond) {
        time.tv_nsec -= kNanosecondsPerSecond;
        ++time.tv_sec;
    }
    return time;
}

int acquire(pthread_mutex_t *lock, std::chrono::milliseconds patience) {
    const int result = pthread_mutex_trylock(lock);  // nearly always free: no clock is asked
    if (result != EBUSY) {
        return result;
    }
    const timespec deadline = time_after(patience);
    return pthread_mutex_timedlock(lock, &deadline);
}

Status take(pthread_mutex_t *lock, std::chrono::milliseconds patience) {
    switch (acquire(lock, patience)) {
        case 0:
            return Status::kOk;
        case EOWNERDEAD:
            return pthread_mutex_consistent(lock) == 0 ? Status::kOk : Status::kDamaged;
        case ETIMEDOUT:
            return Status::kBusy;
        default:
            return Status::kDamaged;
    }
}

}  // namespace

bool init_lock(pthread_mutex_t *lock) {
    pthread_mutexattr_t attributes;
    if (pthread_mutexattr_init(&attributes) != 0) {
        return false;
    }
    const bool done = pthread_mutexattr_setpshared(&attributes, PTHREAD_PROCESS_SHARED) == 0 &&
                      pthread_mutexattr_setrobust(&attributes, PTHREAD_MUTEX_ROBUST) == 0 &&
                      pthread_mutex_init(lock, &attributes) == 0;
    pthread_mutexattr_destroy(&attributes);
    return done;
}

State::~State() {
    if (header_ != nullptr) {
        munmap(header_, size_);
    }
}

Status State::open(const char *path) {
    const int file = ::open(path, O_RDWR | O_CLOEXEC | O_NOCTTY | O_NONBLOCK);
    if (file < 0) {
        return errno == EISDIR ? Status::kNotAState : status_of_errno(errno);
    }
    struct stat info;
    Status status = Status::kUnusable;
    if (fstat(file, &info) == 0) {
        const bool plausible =
            S_ISREG(info.st_mode) && info.st_size >= static_cast<off_t>(sizeof(Header));
        status = plausible ? map(file, static_cast<size_t>(info.st_size)) : Status::kNotAState;
    }
    close(file);
    return status == Status::kOk ? check_header() : status;
}

Status State::map(int file, size_t size) {
    void *memory = mmap(nullptr, size, PROT_READ | PROT_WRITE, MAP_SHARED, file, 0);
    if (memory == MAP_FAILED) {
        return Status::kUnusable;
    }
    header_ = static_cast<Header *>(memory);
    size_ = size;
    return Status::kOk;
}

Status State::check_header() {
    if (std::memcmp(header_->magic, kMagic, sizeof kMagic) != 0 ||
        header_->version != kLayoutVersion || header_->header_size != sizeof(Header)) {
        return Status::kNotAState;
    }
    const bool all_fit =
        take_table(header_->devices, &devices_) && take_table(header_->conditions, &conditions_) &&
        take_table(header_->ranges, &ranges_) && take_table(header_->cells, &cells_) &&
        take_table(header_->lines, &lines_) && take_table(header_->oem_registers, &oem_registers_);
    return header_->file_size == size_ && all_fit && is_sound(header_->lock) ? Status::kOk
                                                                             : Status::kDamaged;
}

template <typename Record>
bool State::take_table(const volatile TableRef &reference, std::span<Record> *table) {
    // Copied first: what is checked is what is used, whoever else has the file open.
    const TableRef copy = {reference.offset, reference.count};
    if (!table_fits<Record>(copy, size_)) {
        return false;
    }
    *table = table_at<Record>(header_, copy);
    return true;
}

Device *State::device(uint32_t index) {
    return index < devices_.size() ? &devices_[index] : nullptr;
}

const Line *State::line(uint32_t index) const {
    return index < lines_.size() ? &lines_[index] : nullptr;
}

Cell *State::cell(uint64_t index) {
    return index < cells_.size() ? &cells_[static_cast<size_t>(index)] : nullptr;
}

std::span<const Condition> State::conditions_of(const Device &device, bool *damaged) const {
    return slice(conditions_, device.first_condition, device.condition_count, damaged);
}

std::span<const Range> State::ranges_of(const Device &device, bool *damaged) const {
    return slice(ranges_, device.first_range, device.range_count, damaged);
}

State::Lock::Lock(State &state, std::chrono::milliseconds patience)
    : state_(state), status_(take(&state.header_->lock, patience)) {}

State::Lock::~Lock() {
    if (status_ == Status::kOk) {
        pthread_mutex_unlock(&state_.header_->lock);
    }
}

}  // namespace diag::board::sim
