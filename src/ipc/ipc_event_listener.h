#pragma once

// The bus's end of the request handlers: hands the bus one table of commands, turns each frame into
// a message, and sends the answers. Every command of the kind "answer" gets exactly one, also when
// it fails; what the requester put under "context" comes back in it unchanged. An answer about more
// stations than a frame should carry goes out in several frames.
//
// Threads: the worker's own thread runs every adapter and handler; stop() from any thread.

#include <cstddef>
#include <memory>
#include <string>

#include "ipc/vesta_event_listener.h"
#include "ostrel/ipc.h"

struct json_object;

namespace vesta {

class IPCEventListener final : public VestaEventListener {
public:
    // A frame of an answer that can be divided has at most so many bytes. Then it is also within
    // the 500,000 values that a frame may have: each takes more than 20 bytes.
    static constexpr std::size_t kFrameBytes = std::size_t{8} << 20U;

    IPCEventListener(std::shared_ptr<Portal> portal, std::shared_ptr<APBDCollaborator> apbd,
                     std::shared_ptr<IpcInterface> ipc, std::size_t frameBytes = kFrameBytes);

    // Serves requests until stop().
    bool handle() override;
    // Ends the bus's delivery of requests as well, for which handle() waits.
    void stop() override;

    // The table's callbacks: (zero-terminated JSON text; the same as a json_object*, or null;
    // module number of the sender).
    void ipcHandleGetRedirectParams(void* message, void* parsed, int sender);
    void ipcHandleValidateIp(void* message, void* parsed, int sender);
    void ipcHandleValidate(void* message, void* parsed, int sender);
    void ipcHandleUpdate(void* message, void* parsed, int sender);
    void ipcHandleUpdateScenario(void* message, void* parsed, int sender);
    void ipcHandleVestadState(void* message, void* parsed, int sender);
    void ipcHandleVestadStateScenarios(void* message, void* parsed, int sender);
    void ipcHandleAPBConnectedResponce(void* message, void* parsed, int sender);
    void ipcHandleAPBDisconnectedResponce(void* message, void* parsed, int sender);
    void ipcHandleAPBSubscribeResponce(void* message, void* parsed, int sender);
    void ipcHandleAPBAddResponce(void* message, void* parsed, int sender);
    void ipcHandleAPBUpdateResponce(void* message, void* parsed, int sender);
    void ipcHandleAPBDeleteResponce(void* message, void* parsed, int sender);
    void ipcHandleAPBAddNotify(void* message, void* parsed, int sender);
    void ipcHandleAPBUpdateNotify(void* message, void* parsed, int sender);
    void ipcHandleAPBDeleteNotify(void* message, void* parsed, int sender);
    void ipcHandleDelClient(void* message, void* parsed, int sender);

private:
    using AnswerHandler = Entry (VestaEventListener::*)(Entry);
    using NoAnswerHandler = void (VestaEventListener::*)(Entry);

    void ipcHandleFunction(void* message, void* parsed, int sender, AnswerHandler handler);
    void ipcNoAnserHandleFunction(void* message, void* parsed, int sender, NoAnswerHandler handler);
    // False, and the text of the failure, when there is no answer or it could not be sent.
    bool answer(const char* text, void* parsed, int sender, AnswerHandler handler,
                const char*& failure);
    bool sendAnswer(json_object* answer, int sender);
    bool sendDivided(json_object* answer, std::size_t bytes, int sender);
    bool sendText(const std::string& text, int sender, bool further);

    std::shared_ptr<IpcInterface> ipc_;
    const std::size_t frameBytes_;
    IpcInterface::CommandTable commands_;
};

}  // namespace vesta
