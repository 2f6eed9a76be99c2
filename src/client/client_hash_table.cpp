#include "client/client_hash_table.h"

#include <utility>

namespace vesta {

void ClientHashTable::insert(std::uint32_t hash, Client& client) {
    if (count_ >= slots_.size() / 5 * 4) {
        grow();
    }
    slots_[freeSlot(hash)] = {hash, &client};
    ++count_;
}

// Those behind it move up, so that no search ends at the gap.
void ClientHashTable::erase(const Slot* slot) {
    std::size_t gap = indexOf(slot);
    for (std::size_t i = (gap + 1) & mask(); slots_[i].client != nullptr; i = (i + 1) & mask()) {
        const std::size_t home = slots_[i].hash & mask();
        if (((i - home) & mask()) >= ((i - gap) & mask())) {
            slots_[gap] = slots_[i];
            gap = i;
        }
    }
    slots_[gap] = {};
    --count_;
}

std::size_t ClientHashTable::freeSlot(std::uint32_t hash) const {
    std::size_t i = hash & mask();
    while (slots_[i].client != nullptr) {
        i = (i + 1) & mask();
    }
    return i;
}

void ClientHashTable::grow() {
    const std::vector<Slot> before = std::exchange(slots_, std::vector<Slot>(2 * slots_.size()));
    for (const Slot& slot : before) {
        if (slot.client != nullptr) {
            slots_[freeSlot(slot.hash)] = slot;
        }
    }
}

}  // namespace vesta
