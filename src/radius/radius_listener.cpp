#include "radius/radius_listener.h"

#include "ostrel/librad.h"

namespace vesta {

bool RadiusListener::run() {
    if (!started_) {
        thread_ = std::thread(librad_eloop_run);
        started_ = true;
    }
    return true;
}

void RadiusListener::stop() {
    if (started_) {
        librad_eloop_stop();
        join();
        started_ = false;
    }
}

}  // namespace vesta
