#pragma once

// The access point's message bus. A module is a number and listens on the Unix stream socket
// <runtime>/bus/<number>; a frame is a header of two unsigned 32-bit numbers in network order,
// payload length and sender's module number, then one JSON text. docs/bus.md has the whole format.
//
// Threads: one object may be used from any thread. It runs two threads of its own: one moves bytes
// and parses nothing, the other ("bus delivery") makes the callbacks of async_send. Commands are
// handled on the thread that calls process(). No callback is made with a lock of the bus held, and
// no sending blocks. What a peer may leave unread or unhandled is bounded, so a peer that
// misbehaves costs its own connection alone.

#include <functional>
#include <map>
#include <memory>
#include <string>

#include "ostrel/json_source.h"
#include "ostrel/runtime.h"

enum ipc_module_t : int {
    IPC_MODULE_CONFIGURATION = 1,
    IPC_MODULE_APBD = 2,
    IPC_MODULE_VESTAD = 3,
    IPC_MODULE_MONITORD_TRAPS = 9,
    IPC_MODULE_MONITORD_STATISTICS = 11,
};

// The module number of a tool: 65536 plus its process id. A tool owns no socket file.
ipc_module_t ipc_tool_module();

class IpcInterface {
public:
    // (JSON text, zero-terminated; the same as a json_object*, owned by the bus and valid during
    // the call; module number of the sender)
    using Command = std::function<void(void* message, void* parsed, int sender)>;
    using CommandTable = std::map<std::string, Command>;
    // (parsed json_object*, owned by the bus and valid during the call, in which it may be changed;
    // null when no answer came in time; the context given to async_send; 0, or -1 without an
    // answer)
    using ResponseCallback = std::function<void(void* response, void* user, int status)>;

    // Takes its place on the bus as `module`. `anonymous`: without a socket file of its own (tools;
    // a module number from 65536 on implies it). `backlog`: connections that may wait to be
    // accepted. `runtimeDirectory`: another one than the process's own, for who plays the modules
    // of several access points. Throws std::runtime_error, naming the path, when the bus directory
    // or the socket can't be made, or another process listens there already.
    IpcInterface(ipc_module_t module, bool anonymous, int backlog,
                 const std::string& runtimeDirectory = ostrel::runtimeDirectory());
    // Ends both threads and removes the socket file; outstanding calls get no callback any more,
    // and frames that still wait for a slow peer are lost. Not from within a callback, and not
    // while process() runs.
    ~IpcInterface();
    IpcInterface(const IpcInterface&) = delete;
    IpcInterface& operator=(const IpcInterface&) = delete;

    // Asks module 1 for the configuration once a second until an "initial-config" frame arrives,
    // from whoever sends it. Returns its "config" as a json_object* of which the caller owns one
    // reference; null when stop() was called first. Other frames that arrive meanwhile are kept for
    // process().
    [[nodiscard]] void* receive_initial_config();

    // Hands every frame that is not an answer to the entry of `commands` named by its "command"
    // member, else its "cmd" member, in order of arrival, on the calling thread, and waits for
    // more. Returns only after stop(). A frame that no entry wants is dropped with a debug report;
    // an exception out of a command is reported and ends that command alone.
    void process(const CommandTable& commands);

    // Makes process() and receive_initial_config() return, now and whenever they are called again.
    // Callable from any thread, also from within a command.
    void stop();

    // stop(), and the end of the callbacks: when it returns none is under way and none will be
    // made, so that what they refer to may be destroyed. Not from within a callback.
    void close();

    // Queues one frame with the JSON text `text` (zero-terminated in the first form) for `module`;
    // never blocks. Each byte that is not UTF-8 leaves as U+FFFD. False when the module isn't
    // there, its queue is full (4 MiB) or the text is empty or longer than 16 MiB: the frame is
    // dropped. A null pointer is refused.
    bool send(void* text, int module) const;
    bool send(const std::string& text, int module) const;
    bool send(const ostrel::JsonSource* object, int module) const;

    // Sends the object `message` (a json_object*, which stays the caller's and unchanged) with a
    // fresh number under "context", and has `callback` called once: with the frame of `module` that
    // bears this number, or with null after `timeoutSeconds` (ostrel::clock(); 0 is at once). A
    // peer that goes meanwhile may come back and answer. False, and no callback, when the frame
    // could not be queued or `message` is no object.
    bool async_send(void* message, int module, void* user, ResponseCallback callback,
                    int timeoutSeconds);

    // Frames that send() or async_send() dropped since construction.
    [[nodiscard]] unsigned long long droppedFrames() const;

private:
    class Bus;
    std::unique_ptr<Bus> bus_;
};
