#pragma once

// Tells the redirector module which white lists there are and what holds for each station. A
// request of a state is its number, one byte, and its record, of which zeroes at the end may be
// left out.
//
// Threads: as StateSender; the address of the proxy may be asked for from any thread.

#include <atomic>
#include <cstdint>
#include <memory>
#include <string>

#include "kernel/redirector_records.h"
#include "modules/state_sender.h"
#include "ostrel/modules.h"

namespace vesta {

class RedirectorSender final : public StateSender {
public:
    static constexpr Group kLists = Group::first;
    static constexpr Group kStations = Group::second;

    // Runs from now on: tells the module whom to notify, and empties it.
    explicit RedirectorSender(const char* name);
    ~RedirectorSender() override;

    // Appends a request to a state.
    template <class Record>
    static void add(std::string& state, RedirectorRequest number, const Record& record) {
        addRecord(state, number, record.data(), record.size());
    }

    // The module shall be told once more whom to notify.
    void announce() { announce_ = true; }
    // Network order. What the module said last, 0 in front of its first answer.
    [[nodiscard]] std::uint32_t proxyIPv4();

    // Lists are known by their ids.
    void setList(std::uint32_t id, std::string state);
    void dropList(std::uint32_t id) { forget(kLists, keyOf(id)); }
    void dropLists() { forgetAll(kLists); }
    // The module, which can't be told to forget one list, forgets all and is told the others anew.
    void renewLists();

protected:
    Answer tell(const std::string& request, const std::string& whole, bool resumed) override;
    void attend(bool onceASecond) override;

private:
    static void addRecord(std::string& state, RedirectorRequest number, const unsigned char* record,
                          std::size_t size);
    static std::string keyOf(std::uint32_t id);
    int request(RedirectorRequest number, void* argument);
    void beginAnew();

    const std::unique_ptr<ostrel::ModuleControl> control_;
    std::atomic<bool> announce_{true};
    std::atomic<bool> askForProxy_{true};
    std::atomic<std::uint32_t> proxy_{0};
};

}  // namespace vesta
