#pragma once

// Why a client's session ends.

#include <string>

namespace vesta {

enum EndReason {
    END_REASON_NONE = 0,
    END_REASON_APBD_REQUEST = 1,
    END_REASON_RADIUS_REQUEST = 2,
    END_REASON_TIME_EXPIRED = 3,
    END_REASON_DISCONNECTED = 4,
};

class CommandInfo {
public:
    CommandInfo() = default;
    explicit CommandInfo(EndReason reason) : reason_(reason) {}

    [[nodiscard]] EndReason getEndReason() const { return reason_; }
    [[nodiscard]] std::string getEndReasonString() const { return toString(reason_); }
    static std::string toString(EndReason reason);

private:
    EndReason reason_ = END_REASON_NONE;
};

}  // namespace vesta
