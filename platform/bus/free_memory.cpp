#include "free_memory.h"

#ifdef __GLIBC__
#include <malloc.h>
#endif

namespace ostrel::bus {

void releaseFreeMemory() {
#ifdef __GLIBC__
    malloc_trim(0);
#endif
}

}  // namespace ostrel::bus
