#pragma once

// How often a station has tried to log in lately, and whether it was refused.
//
// Threads: one object belongs to one thread.

#include <cstdint>
#include <list>
#include <string>
#include <unordered_map>

namespace portald {

class Attempts {
public:
    static constexpr int kPerMinute = 10;
    // The station that was silent longest is forgotten for a new one.
    static constexpr std::size_t kMostStations = 4096;

    // Counts one attempt. 0 when it may be made, else the seconds after which the next one may.
    [[nodiscard]] int count(const std::string& mac);
    void refused(const std::string& mac);
    void succeeded(const std::string& mac);
    // Refused within the last two minutes, and not let in since.
    [[nodiscard]] bool wasRefused(const std::string& mac) const;

    [[nodiscard]] std::size_t stations() const { return entries_.size(); }

private:
    struct Entry {
        std::string mac;
        std::int64_t since = 0;  // monotonic seconds: when its minute began
        int attempts = 0;
        std::int64_t refusedAt = -1;  // monotonic seconds; -1: not
    };

    Entry& entryOf(const std::string& mac);

    std::list<Entry> entries_;  // the last one that tried first
    std::unordered_map<std::string, std::list<Entry>::iterator> places_;
};

}  // namespace portald
