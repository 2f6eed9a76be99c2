#pragma once

// The server of dynamic authorisation (RFC 5176): it takes Disconnect-Requests, has the owner end
// the session, and answers.
//
// Threads: requests and the owner's callbacks run on the event loop's thread; the rest may be
// called from any. The lock is not held in a callback.

#include <netinet/in.h>

#include <array>
#include <atomic>
#include <cstdint>
#include <list>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "das_request.h"
#include "event_loop.h"
#include "message.h"
#include "ostrel/mutex.h"

namespace ostrel::radius {

// The answers of the last 300 s, for requests that come again. It belongs to one thread.
class AnswerMemory {
public:
    struct Key {
        std::uint32_t address;
        std::uint16_t port;
        std::uint8_t id;
        Digest authenticator;
        [[nodiscard]] bool operator==(const Key& other) const {
            return address == other.address && port == other.port && id == other.id &&
                   authenticator == other.authenticator;
        }
    };

    // The answer given to that request; null when there is none. `now` in monotonic seconds.
    [[nodiscard]] const std::vector<std::uint8_t>* find(const Key& key, std::int64_t now);
    void add(const Key& key, std::vector<std::uint8_t> answer, std::int64_t now);

private:
    struct Entry {
        Key key;
        std::vector<std::uint8_t> answer;
        std::int64_t at;
    };
    std::list<Entry> entries_;
};

class DasServer final : public EventSource, public std::enable_shared_from_this<DasServer> {
public:
    DasServer(const sockaddr_in& address, int timeWindowSeconds, bool requireEventTimestamp,
              void* context, const librad_radius_das_config& config);

    // Listens, or tries again later where the configuration says so. False with errno set, and
    // reported, when neither is possible.
    [[nodiscard]] bool start() EXCLUDES(mutex_);
    [[nodiscard]] std::uint16_t port() const { return port_; }
    void setNas(const unsigned char* ipAddress, std::string_view identifier) EXCLUDES(mutex_);
    [[nodiscard]] librad_radius_das_counters counters() EXCLUDES(mutex_);
    // No callback is made any more.
    void end() EXCLUDES(mutex_);

    void onReadable(int fd) override EXCLUDES(mutex_);
    // Time to try again.
    void onDeadline() override;

private:
    // Binds; false with errno set.
    [[nodiscard]] bool open();
    // Monotonic microseconds.
    [[nodiscard]] std::int64_t nextTry() const;
    void handle(Bytes datagram, const sockaddr_in& from) EXCLUDES(mutex_);
    void handleNew(const librad_radius_msg& request, const AnswerMemory::Key& key,
                   const sockaddr_in& from) EXCLUDES(mutex_);
    [[nodiscard]] bool isTimely(const librad_radius_msg& request) const;
    [[nodiscard]] bool isForThisNas(const librad_radius_msg& request) EXCLUDES(mutex_);
    // Ends the session. The error when that can't be done.
    [[nodiscard]] std::optional<ErrorCause> decide(const librad_radius_msg& request,
                                                   DasSession& session) EXCLUDES(mutex_);
    void reply(const std::vector<std::uint8_t>& answer, const sockaddr_in& to) const;
    void drop(const sockaddr_in& from, const char* why) EXCLUDES(mutex_);
    void count(std::uint64_t librad_radius_das_counters::*counter) EXCLUDES(mutex_);
    bool hasEnded() EXCLUDES(mutex_);

    const sockaddr_in address_;
    const std::int64_t timeWindow_;
    const bool requireEventTimestamp_;
    void* const context_;
    const librad_radius_das_config config_;
    Fd socket_;
    std::atomic<std::uint16_t> port_{0};
    AnswerMemory memory_;  // the event-loop thread's

    Mutex mutex_;
    bool ended_ GUARDED_BY(mutex_) = false;
    std::string nasIpAddress_ GUARDED_BY(mutex_);  // 4 bytes, or empty: not told
    std::string nasIdentifier_ GUARDED_BY(mutex_);
    librad_radius_das_counters counters_ GUARDED_BY(mutex_);
    std::int64_t reportedAt_ GUARDED_BY(mutex_) = -1;
};

}  // namespace ostrel::radius

struct librad_radius_das {
    std::shared_ptr<ostrel::radius::DasServer> impl;
};
