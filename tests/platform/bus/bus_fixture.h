#pragma once

// A private bus for one test: its runtime directory, what the library reported, raw peers that
// speak the wire format by hand, and a worker that runs process().

#include <gtest/gtest.h>

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <thread>
#include <utility>
#include <vector>

#include "ostrel/ipc.h"
#include "ostrel/mutex.h"
#include "ostrel/runtime.h"

namespace ostrel::bus {

inline constexpr ipc_module_t kServer = IPC_MODULE_VESTAD;

// A frame as the format page describes it, made without the library.
std::string handMadeFrame(std::uint32_t sender, std::string_view payload);

// A thread-safe list that a test waits on.
template <typename T>
class Collected {
public:
    void add(T item) {
        MutexLock lock(mutex_);
        items_.push_back(std::move(item));
        changed_.notifyAll();
    }
    // What has been collected once there are `count` of it, or after five seconds.
    std::vector<T> waitFor(std::size_t count) {
        MutexLock lock(mutex_);
        while (items_.size() < count && changed_.waitFor(mutex_, std::chrono::seconds(5))) {
        }
        return items_;
    }
    void clear() {
        MutexLock lock(mutex_);
        items_.clear();
    }

private:
    Mutex mutex_;
    CondVar changed_;
    std::vector<T> items_ GUARDED_BY(mutex_);
};

// One end of a stream, used byte by byte. Nothing waits longer than five seconds.
class RawPeer {
public:
    explicit RawPeer(Fd socket) : socket_(std::move(socket)) {}
    static RawPeer connectedTo(int module);

    void write(std::string_view bytes);
    // False when the other side has closed.
    bool tryWrite(std::string_view bytes);
    // Repeats `bytes` until nothing has been taken for 200 ms, or up to `limit` bytes; returns how
    // many were taken.
    std::size_t writeUntilStalled(std::string_view bytes, std::size_t limit);
    // "" when the stream ends before.
    std::string read(std::size_t count);
    std::pair<std::uint32_t, std::string> readFrame();
    // Whether the other side closes without sending anything more.
    bool seesEnd();
    void finishWriting();
    void leave() { socket_.reset(); }

private:
    Fd socket_;
};

// The socket file of a module, without the library behind it.
class RawModule {
public:
    explicit RawModule(int module);
    RawPeer accept();

private:
    Fd socket_;
};

struct Message {
    std::string text;
    int sender;
    bool operator==(const Message& other) const {
        return text == other.text && sender == other.sender;
    }
};

// Runs process() on a thread of its own until it is destroyed.
class Worker {
public:
    Worker(IpcInterface& bus, IpcInterface::CommandTable commands);
    ~Worker();

private:
    IpcInterface& bus_;
    std::thread thread_;
};

class BusTest : public testing::Test {
protected:
    BusTest();
    ~BusTest() override;

    // A command that notes what it is given.
    IpcInterface::Command note();
    // A command that sends the text back to where it came from.
    static IpcInterface::Command echo(IpcInterface& bus);
    std::string path(int module) const;

    std::string directory_;
    Collected<Message> received_;
    static Collected<std::string> reports_;
};

}  // namespace ostrel::bus
