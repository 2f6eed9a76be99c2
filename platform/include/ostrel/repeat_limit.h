#pragma once

// Keeps one text from filling the log: of one template at most kMost records are written in
// kSpanSeconds; those beyond are counted.
//
// Threads: any; one lock, a leaf, under which nothing is called.

#include <cstdint>
#include <map>
#include <vector>

#include "ostrel/mutex.h"

namespace ostrel {

class RepeatLimit {
public:
    static constexpr unsigned int kMost = 20;
    static constexpr std::int64_t kSpanSeconds = 10;

    struct LeftOut {
        const char* format;
        unsigned int count;
    };

    // Whether a record of the template `format` may be written now. The template is known by its
    // address, which must stay valid: a literal.
    [[nodiscard]] bool admits(const char* format) EXCLUDES(mutex_);
    // The templates whose time is over and of which something was left out; each is told once.
    [[nodiscard]] std::vector<LeftOut> takeLeftOut() EXCLUDES(mutex_);
    // Forgets everything, for a test.
    void clear() EXCLUDES(mutex_);

private:
    struct Span {
        std::int64_t end;  // monotonic seconds
        unsigned int seen;
    };

    Mutex mutex_;
    std::map<const char*, Span> spans_ GUARDED_BY(mutex_);
    // The earliest end of a span.
    std::int64_t nextEnd_ GUARDED_BY(mutex_) = INT64_MAX;
};

// The one of this process. What a platform library reports goes through it.
[[nodiscard]] RepeatLimit& repeatLimit();

}  // namespace ostrel
