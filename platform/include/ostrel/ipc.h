#pragma once

// The access point's message bus. A module is a number and listens on the Unix stream socket
// <runtime>/bus/<number>; a frame is a header of two unsigned 32-bit numbers in network order,
// payload length and sender's module number, then one JSON text. docs/bus.md has the whole format.
//
// Threads: one object may be used from any thread. It runs two threads of its own: one moves bytes
// and parses nothing, the other ("bus delivery") makes the callbacks of async_send(). Commands run
// on the thread that calls process(). A callback runs without a lock of the bus, and no sending
// blocks. What a peer may leave unread or unhandled is limited: a peer that misbehaves loses its
// own connection, and nobody else's.

#include <functional>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "ostrel/json_source.h"
#include "ostrel/runtime.h"

enum ipc_module_t : int {
    IPC_MODULE_CONFIGURATION = 1,
    IPC_MODULE_APBD = 2,
    IPC_MODULE_VESTAD = 3,
    IPC_MODULE_MONITORD_TRAPS = 9,
    IPC_MODULE_MONITORD_STATISTICS = 11,
};

// The status of a response that is one frame of an answer, and not its last.
inline constexpr int IPC_MORE_FOLLOWS = 1;

// The module number of a tool: 65536 plus its process id. A tool owns no socket file.
ipc_module_t ipc_tool_module();

class IpcInterface {
public:
    // message: the JSON text, zero-terminated. parsed: the same as a json_object*. Both belong to
    // the bus and live for the call. sender: the sender's module number. Of a text beyond the
    // bounds (31 levels, 500,000 values) the message is null, and "command", "cmd" and "context"
    // are all that is parsed: enough to refuse it.
    using Command = std::function<void(void* message, void* parsed, int sender)>;
    using CommandTable = std::map<std::string, Command>;
    // response: the answer as a json_object*. It belongs to the bus, lives for the call and may be
    // changed in it. Null when no answer came in time. user: the one given to async_send().
    // status: 0, IPC_MORE_FOLLOWS where the answer goes on in another frame, or -1 without an
    // answer.
    using ResponseCallback = std::function<void(void* response, void* user, int status)>;

    // Joins the bus as `module`. `anonymous`: without a socket file of its own, as tools do; a
    // module number from 65536 on implies it. `backlog`: connections that may wait to be accepted.
    // `runtimeDirectory`: where the bus lives; a program that plays several access points has one
    // for each. Throws std::runtime_error, naming the path, when the bus directory or the socket
    // can't be made, or another process listens there already.
    IpcInterface(ipc_module_t module, bool anonymous, int backlog,
                 const std::string& runtimeDirectory = ostrel::runtimeDirectory());
    // Ends both threads and removes the socket file. Outstanding calls get no callback any more,
    // and frames that still wait for a slow peer are lost. Do not destroy the object in a callback
    // or while process() runs.
    ~IpcInterface();
    IpcInterface(const IpcInterface&) = delete;
    IpcInterface& operator=(const IpcInterface&) = delete;

    // Asks module 1 for the configuration once a second until an "initial-config" frame arrives,
    // from a process of root or of our own user. Returns its "config" as a json_object* of which
    // the caller owns one reference; null when stop() was called first. Other frames that arrive
    // meanwhile are kept for process().
    [[nodiscard]] void* receive_initial_config();

    // Handles frames on the calling thread until stop(): those of one connection in their order,
    // the connections in turn. A peer that does not read what it was sent waits with its further
    // frames until it has; only apbd, which does not ask but tell, need not. A frame that is no
    // answer goes to the entry of `commands` that its "command" member names, or else its "cmd"
    // member. A frame without an entry is dropped with a debug report. An exception out of a
    // command is reported and ends that command alone.
    void process(const CommandTable& commands);

    // Makes process() and receive_initial_config() return, now and whenever they are called again.
    // Callable from any thread, also from within a command.
    void stop();

    // stop(), and the end of the callbacks: when it returns, none runs and none will run, so what
    // they refer to may be destroyed. Do not call it in a callback.
    void close();

    // Queues one frame with a JSON text for `module`; never blocks. The first form takes a
    // zero-terminated char*. The text stays the caller's. Each byte that is not UTF-8 leaves as
    // U+FFFD. False, and the frame is dropped, when the module isn't there, its queue is full
    // (4 MiB), or the text is null, empty or longer than 16 MiB.
    bool send(void* text, int module) const;
    bool send(const std::string& text, int module) const;
    bool send(const ostrel::JsonSource* object, int module) const;
    // The same for the frames of an answer behind its first one, each a whole answer with "more":
    // true in all but the last. No full queue refuses them, but they count against what all
    // connections may hold together.
    bool sendFurther(const std::string& text, int module) const;
    // All frames of an answer; false as soon as one is dropped.
    bool sendAnswer(const std::vector<std::string>& frames, int module) const;

    // Sends the object `message` with a fresh number under "context". `message` is a json_object*;
    // it stays the caller's and unchanged. `callback` is called on the thread "bus delivery" with
    // each frame of `module` that bears this number, up to and with the first that has no "more":
    // true; or at last with null, `timeoutSeconds` of the monotonic clock (0: at once) after this
    // call. A peer that goes meanwhile may come back and answer. False, and no callback, when the
    // frame could not be queued or `message` is no object.
    bool async_send(void* message, int module, void* user, ResponseCallback callback,
                    int timeoutSeconds);

    // Frames that send() or async_send() dropped since construction.
    [[nodiscard]] unsigned long long droppedFrames() const;

private:
    class Bus;
    std::unique_ptr<Bus> bus_;
};
