#pragma once

// What happens to an answer before the station gets it.

#include <string_view>

namespace redirectord {

class DnsAnswers {
public:
    virtual ~DnsAnswers() = default;

    // Takes what an answer tells. True: a station may get it only after settle() has returned.
    [[nodiscard]] virtual bool take(std::string_view message) = 0;
    // Puts what was taken into effect. Never fails: what can't be done is reported.
    virtual void settle() = 0;
};

}  // namespace redirectord
