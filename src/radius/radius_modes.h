#pragma once

// What an instance uses RADIUS for.

namespace vesta {

// How an instance authenticates its stations.
enum AUTH_MODE {
    AUTH_MODE_LOCAL = 0,
    AUTH_MODE_RADIUS = 1,
    AUTH_MODE_PORTAL = 2,
    AUTH_MODE_PORTAL_MAC = 3,
};

// A set of bits.
enum RadiusWorkmode : unsigned {
    RADIUS_WORKMODE_NONE = 0,
    RADIUS_WORKMODE_AUTHENTICATION = 1,
    RADIUS_WORKMODE_ACCOUNTING = 2,
    RADIUS_WORKMODE_BOTH = 3,
};

}  // namespace vesta
