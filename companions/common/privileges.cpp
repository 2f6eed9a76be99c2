#include "common/privileges.h"

#include <linux/capability.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdint>
#include <system_error>

namespace companion {
namespace {

// capabilities(7): each set takes two words of 32 bits.
using Sets = std::array<__user_cap_data_struct, 2>;

void require(long result) {
    if (result != 0) {
        throw std::system_error(errno, std::generic_category(), "capabilities can't be given up");
    }
}

Sets heldSets() {
    __user_cap_header_struct header{_LINUX_CAPABILITY_VERSION_3, 0};
    Sets sets{};
    require(syscall(SYS_capget, &header, sets.data()));
    return sets;
}

bool isIn(const std::array<std::uint32_t, 2>& set, unsigned int capability) {
    return (set[capability / 32] >> (capability % 32) & 1U) != 0;
}

// A program that root starts has again what the bounding set leaves it.
void boundCapabilities(const std::array<std::uint32_t, 2>& kept) {
    for (unsigned int one = 0; prctl(PR_CAPBSET_READ, one, 0, 0, 0) >= 0; ++one) {
        if (!isIn(kept, one)) {
            require(prctl(PR_CAPBSET_DROP, one, 0, 0, 0));
        }
    }
}

}  // namespace

void keepOnlyCapabilities(std::initializer_list<unsigned int> kept) {
    std::array<std::uint32_t, 2> wanted{};
    for (const unsigned int capability : kept) {
        wanted[capability / 32] |= 1U << (capability % 32);
    }
    Sets sets = heldSets();
    if (isIn({sets[0].effective, sets[1].effective}, CAP_SETPCAP)) {
        boundCapabilities(wanted);
    }
    for (unsigned int word = 0; word < 2; ++word) {
        sets[word].permitted &= wanted[word];
        sets[word].effective = sets[word].permitted;
        sets[word].inheritable = 0;
    }
    __user_cap_header_struct header{_LINUX_CAPABILITY_VERSION_3, 0};
    require(syscall(SYS_capset, &header, sets.data()));
    require(prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0));
}

}  // namespace companion
