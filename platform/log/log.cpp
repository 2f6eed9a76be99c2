#include "ostrel/log.h"

#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <limits>
#include <vector>

#include "log_file.h"
#include "log_stamp.h"
#include "ostrel/clock.h"

namespace {

using ostrel::log::formatStamp;
using ostrel::log::kStampCapacity;
using ostrel::log::Stamp;

constexpr std::size_t kMaxRecord = 256 * 1024;
constexpr std::size_t kKeptCapacity = 16 * 1024;
constexpr std::size_t kMaxEmergency = 1024;
constexpr std::size_t kMaxName = 63;
constexpr char kCutMark[] = "...\n";
constexpr std::size_t kCutMarkLength = sizeof kCutMark - 1;

// What a signal handler needs, whatever the other threads are doing.
std::atomic<int> descriptor{-1};
std::atomic<std::int32_t> zoneSeconds{0};
std::atomic<unsigned long> lost{0};
std::atomic<bool> moved{false};
char names[2][kMaxName + 1] = {"", ""};
std::atomic<const char*> daemonName{names[0]};

Stamp stampNow() {
    return {ostrel::clock().wallMicroseconds(), zoneSeconds.load(std::memory_order_relaxed),
            daemonName.load(std::memory_order_acquire), static_cast<long>(getpid())};
}

// A record under construction.
class Record {
public:
    // Drops what is there and starts with `length` bytes of `head`.
    void begin(const char* head, std::size_t length) {
        std::copy_n(head, length, bytes_.begin());
        length_ = length;
        cut_ = false;
    }

    // A record that would pass the limit is cut with a visible mark, and ended, because its line
    // end may be in the part that is lost.
    void append(const char* format, va_list arguments) {
        if (cut_) {
            return;
        }
        va_list again;
        va_copy(again, arguments);
        std::size_t room = bytes_.size() - length_;
        const int needed = std::vsnprintf(bytes_.data() + length_, room, format, arguments);
        const std::size_t size = needed < 0 ? 0 : static_cast<std::size_t>(needed);
        if (size >= room) {
            bytes_.resize(
                std::min(kMaxRecord + 1, std::max(length_ + size + 1, 2 * bytes_.size())));
            room = bytes_.size() - length_;
            std::vsnprintf(bytes_.data() + length_, room, format, again);
        }
        va_end(again);
        cut_ = size >= room;
        length_ = std::min(length_ + size, kMaxRecord);
        if (cut_) {
            std::copy_n(kCutMark, kCutMarkLength, bytes_.begin() + kMaxRecord - kCutMarkLength);
        }
    }

    void end() { bytes_[length_++] = '\n'; }

    // Gives back what one long record took.
    void clear() {
        length_ = 0;
        if (bytes_.size() > kKeptCapacity) {
            bytes_ = std::vector<char>(kKeptCapacity);
        }
    }

    [[nodiscard]] bool empty() const { return length_ == 0; }
    [[nodiscard]] bool ended() const { return length_ > 0 && bytes_[length_ - 1] == '\n'; }
    [[nodiscard]] const char* data() const { return bytes_.data(); }
    [[nodiscard]] std::size_t length() const { return length_; }

private:
    std::vector<char> bytes_ = std::vector<char>(kKeptCapacity);
    std::size_t length_ = 0;
    bool cut_ = false;
};

struct Log {
    ostrel::log::LogFile file;
    Record record;
    unsigned long told = 0;  // of the lost records
    int reason = 0;          // errno of the last loss
    std::int64_t zoneMinute = std::numeric_limits<std::int64_t>::min();
};

// Never destroyed: records may come while the process ends.
Log& state() {
    static Log* const log = new Log;
    return *log;
}

// The zone changes on a full minute, if ever.
void updateZone(Log& log) {
    const std::int64_t now = ostrel::wallSeconds();
    if (now / 60 == log.zoneMinute) {
        return;
    }
    log.zoneMinute = now / 60;
    const std::time_t seconds = static_cast<std::time_t>(now);
    std::tm local{};
    if (localtime_r(&seconds, &local) != nullptr) {
        zoneSeconds.store(static_cast<std::int32_t>(local.tm_gmtoff), std::memory_order_relaxed);
    }
}

// Tells how many records were lost before this one. A torn line is ended first.
bool tellLost(Log& log) {
    const unsigned long count = lost.load(std::memory_order_relaxed) - log.told;
    if (count == 0) {
        return true;
    }
    char text[kStampCapacity + 160];
    std::size_t length = 0;
    if (log.file.torn()) {
        text[length++] = '\n';
    }
    length += formatStamp(stampNow(), text + length, kStampCapacity);
    const int tail =
        std::snprintf(text + length, sizeof text - length,
                      "|WARNING|%lu log records were lost: %s\n", count, std::strerror(log.reason));
    length = std::min(length + static_cast<std::size_t>(std::max(tail, 0)), sizeof text - 1);
    if (!log.file.append(text, length)) {
        return false;
    }
    log.told += count;
    return true;
}

void tend(Log& log) {
    if (moved.exchange(false, std::memory_order_relaxed)) {
        log.file.reopen();
        descriptor.store(log.file.descriptor(), std::memory_order_release);
    }
}

void flush(Log& log) {
    tend(log);
    if (!tellLost(log) || !log.file.append(log.record.data(), log.record.length())) {
        log.reason = errno;
        lost.fetch_add(1, std::memory_order_relaxed);
    }
    descriptor.store(log.file.descriptor(), std::memory_order_release);
    log.record.clear();
}

void append(Log& log, const char* format, va_list arguments) {
    log.record.append(format, arguments);
    if (log.record.ended()) {
        flush(log);
    }
}

}  // namespace

void ostrel_log_set_daemonname(const char* name) {
    // Writes the name that is not in use: a signal handler may be reading the other.
    char* const free = daemonName.load(std::memory_order_relaxed) == names[0] ? names[1] : names[0];
    std::snprintf(free, kMaxName + 1, "%s", name != nullptr ? name : "");
    daemonName.store(free, std::memory_order_release);
}

void ostrel_log_set_filename(const char* path) {
    Log& log = state();
    updateZone(log);
    log.file.setPath(path != nullptr ? path : "");
    descriptor.store(log.file.descriptor(), std::memory_order_release);
}

void ostrel_log_set_limit(int limitKiB) {
    state().file.setLimit(static_cast<std::int64_t>(std::max(limitKiB, 0)) * 1024);
}

void ostrel_log_reopen() {
    moved.store(true, std::memory_order_relaxed);
}

void ostrel_log_tend() {
    tend(state());
}

void ostrel_log_msg_timed(const char* format, ...) {
    va_list arguments;
    va_start(arguments, format);
    vostrel_log_msg_timed(format, arguments);
    va_end(arguments);
}

void vostrel_log_msg_timed(const char* format, va_list arguments) {
    Log& log = state();
    if (!log.record.empty()) {
        log.record.end();
        flush(log);
    }
    updateZone(log);
    char head[kStampCapacity];
    log.record.begin(head, formatStamp(stampNow(), head, sizeof head));
    append(log, format, arguments);
}

void vostrel_log_msg(const char* format, va_list arguments) {
    append(state(), format, arguments);
}

void ostrel_log_emergency(const char* text) {
    const int fd = descriptor.load(std::memory_order_acquire);
    if (fd < 0) {
        return;
    }
    const int saved = errno;
    char record[kStampCapacity + kMaxEmergency];
    std::size_t length = formatStamp(stampNow(), record, kStampCapacity);
    for (; *text != '\0' && length < sizeof record; ++text) {
        record[length++] = *text;
    }
    if (record[length - 1] != '\n') {
        record[length < sizeof record ? length++ : length - 1] = '\n';
    }
    if (write(fd, record, length) != static_cast<ssize_t>(length)) {
        lost.fetch_add(1, std::memory_order_relaxed);
    }
    errno = saved;
}

unsigned long ostrel_log_lost() {
    return lost.load(std::memory_order_relaxed);
}
