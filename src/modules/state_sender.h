#pragma once

// What a module shall know, and the thread that tells it. The module may be slow, hang, or be away:
// whoever has news for it only writes down the state that it shall have, and of each thing the last
// state wins. A request that the module refuses is made again, with growing pauses, until it takes
// it. The things are in two groups: what is due of the first goes before the second.
//
// Threads: any thread may say what the module shall know, under an instance's lock too: a leaf lock
// guards it, which is never held while the module is asked. The operations of subclasses run on the
// sender's own thread. A subclass calls stop() and join() before it is destroyed.

#include <array>
#include <atomic>
#include <cstddef>
#include <cstdint>
#include <list>
#include <map>
#include <string>

#include "core/event_listener.h"
#include "core/mutex.h"

namespace vesta {

class StateSender : public EventListener {
public:
    enum class Group { first, second };
    // What becomes of a state when the module has it: it is kept for a module that begins anew, or
    // it is the end of its thing and dropped. An attempt is dropped also when the module refuses.
    enum class Kind { lasting, end, attempt };

    // The module shall have this state, and whatever it was to have under `key` no more. The state
    // is the requests that bring it about, see addRequest().
    void want(Group group, const std::string& key, std::string state, Kind kind) EXCLUDES(mutex_);
    // Whether there is a state that the module has or shall have under `key`, attempts apart.
    [[nodiscard]] bool knows(Group group, const std::string& key) const EXCLUDES(mutex_);
    [[nodiscard]] std::size_t count(Group group) const EXCLUDES(mutex_);
    // Whether nothing waits to be told, except for a module that is away or refuses it.
    [[nodiscard]] bool isQuiet() const EXCLUDES(mutex_);

    // Appends one request to a state.
    static void addRequest(std::string& state, const std::string& request);

    ~StateSender() override;
    bool handle() override EXCLUDES(mutex_);
    // Until stop(), and then for as long as there is something that the module takes, a second at
    // the most.
    void start() override;
    void stop() override EXCLUDES(mutex_);

    // Whether some sender of this process has something to say to a module that listens. For signal
    // handlers.
    static bool anyBusy() { return busySenders_ > 0; }

protected:
    // `name` is the thread's in the log.
    explicit StateSender(const char* name);

    enum class Answer {
        taken,
        refused,  // errno says why
        silent,   // there is no telling whether the module will take it
        absent,   // and the module that comes will know nothing
    };
    // Makes one request. `whole` is the state to which it belongs; `resumed` tells that the module
    // refused it, or that it follows on one that it refused.
    virtual Answer tell(const std::string& request, const std::string& whole, bool resumed) = 0;
    // Called before each state, and once a second.
    virtual void attend(bool /*onceASecond*/) {}

    // The module shall be emptied of that group by this request, and then be told all of it.
    void emptyFirst(Group group, const std::string& request) EXCLUDES(mutex_);
    // The module has forgotten this group.
    void tellAgain(Group group) EXCLUDES(mutex_);
    // The module shall not be told of it any more.
    void forget(Group group, const std::string& key) EXCLUDES(mutex_);
    void forgetAll(Group group) EXCLUDES(mutex_);

private:
    struct Item {
        std::string state;
        std::size_t taken = 0;  // bytes of it
        Kind kind = Kind::lasting;
        bool queued = false;
        bool refused = false;
    };
    struct Things {
        std::map<std::string, Item> items;
        std::list<std::string> queue;  // keys of the queued ones
        Item emptying;                 // goes first; no state: nothing to do
    };
    // One item on its way. The key is empty for the emptying.
    struct Sending {
        Group group;
        std::string key;
        Item item;
    };

    Things& things(Group group) REQUIRES(mutex_) {
        return groups_[static_cast<std::size_t>(group)];
    }
    Item* find(const Sending& sending) REQUIRES(mutex_);
    bool await() EXCLUDES(mutex_);
    bool take(Sending& sending) EXCLUDES(mutex_);
    Answer tellAll(Sending& sending);
    void settle(const Sending& sending, Answer answer) EXCLUDES(mutex_);
    void dropEnds() REQUIRES(mutex_);
    void refuse(Item& item, const char* reason) REQUIRES(mutex_);
    void release(Item& item) REQUIRES(mutex_);
    void queue(Things& things, const std::string& key, Item& item) REQUIRES(mutex_);
    void queueAll(Things& things, bool refusedOnly) REQUIRES(mutex_);
    [[nodiscard]] bool isDue() const REQUIRES(mutex_);
    void noteBusy() REQUIRES(mutex_);

    static std::atomic<int> busySenders_;

    mutable Mutex mutex_;
    CondVar changed_;
    std::array<Things, 2> groups_ GUARDED_BY(mutex_);
    bool telling_ GUARDED_BY(mutex_) = false;
    bool waiting_ GUARDED_BY(mutex_) = false;  // the module is away until the next look
    bool busy_ GUARDED_BY(mutex_) = false;
    std::size_t refused_ GUARDED_BY(mutex_) = 0;   // items that the module refused last time
    std::int64_t pause_ GUARDED_BY(mutex_);        // before they are told again; microseconds
    std::int64_t retryAt_ GUARDED_BY(mutex_) = 0;  // monotonic microseconds; 0: none waits
    std::int64_t nextLook_ GUARDED_BY(mutex_) = 0;
};

}  // namespace vesta
