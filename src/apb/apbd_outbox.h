#pragma once

// The requests that tell apbd of changed stations. While the outbox is open they leave at once;
// otherwise, or when apbd can't take them, they wait in their order. What comes later for the same
// station replaces what waits, so that a station costs one message however long apbd is away.
//
// Threads: no lock; guarded by its collaborator's mutex.

#include <cstddef>
#include <cstdint>
#include <list>
#include <map>
#include <memory>
#include <string>

#include "core/message_entry.h"
#include "messages/client_information_store.h"

class IpcInterface;

namespace vesta {

class APBDOutbox {
public:
    using Key = ClientInformationIdentity;

    // About 8 MiB at most. Beyond it the oldest change is lost, with one warning.
    static constexpr std::size_t kMaxChanges = 8192;

    enum class Kind {
        none,
        add,     // a whole record
        update,  // the changing part of a record that apbd has
        remove,
        reset,  // a whole record in place of the one that apbd has
    };

    explicit APBDOutbox(std::shared_ptr<IpcInterface> ipc) : ipc_(std::move(ipc)) {}

    // Open while apbd has answered a subscription and has not gone since.
    [[nodiscard]] bool isOpen() const { return open_; }
    void open();
    void close() { open_ = false; }

    // The change that waits for that station.
    [[nodiscard]] Kind waiting(const Key& key) const;
    // Whether a whole record of the station waits. Then an update of it must be whole, too.
    [[nodiscard]] bool isWholeWaiting(const Key& key) const;
    // Sends the change, or lets it wait. Its kind becomes the one that says all: an update of a
    // whole record that never left adds it, and a new record behind a deletion that never left
    // resets it. `action` belongs to an update.
    void post(const Key& key, Kind kind, const std::shared_ptr<MessageEntry>& record,
              const std::string& action = "");
    void drop(const Key& key);
    // Sends what waits until apbd takes no more; nothing while closed.
    void flush();

private:
    struct Change {
        Key key;
        Kind kind;
        std::string text;
        std::int64_t madeAt;  // monotonic microseconds
    };

    [[nodiscard]] Kind merged(const Key& key, Kind next) const;
    void put(const Key& key, Kind kind, std::string text);
    void makeRoom();
    [[nodiscard]] bool send(const Change& change, std::int64_t now);

    const std::shared_ptr<IpcInterface> ipc_;
    bool open_ = false;
    std::list<Change> changes_;
    std::map<Key, std::list<Change>::iterator> places_;
    bool warned_ = false;
};

}  // namespace vesta
