#pragma once

namespace vesta {

// What a client's current scenario does with its traffic.
enum ACCESS_TYPE {
    ACCESS_ALLOW = 0,     // traffic passes
    ACCESS_REDIRECT = 1,  // web requests are redirected to the portal
    ACCESS_DROP = 2,      // traffic is dropped
};

}  // namespace vesta
