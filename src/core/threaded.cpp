#include "core/threaded.h"

namespace vesta {

void Threaded::join() {
    if (started_ && thread_.joinable()) {
        thread_.join();
    }
}

}  // namespace vesta
