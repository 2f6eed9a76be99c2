#include "station/command_info.h"

namespace vesta {

std::string CommandInfo::toString(EndReason reason) {
    switch (reason) {
        case END_REASON_NONE:
            break;
        case END_REASON_APBD_REQUEST:
            return "APBD Requset";
        case END_REASON_RADIUS_REQUEST:
            return "Radius request";
        case END_REASON_TIME_EXPIRED:
            return "Time expired";
        case END_REASON_DISCONNECTED:
            return "Disconnected";
    }
    return "Unknown";
}

}  // namespace vesta
