// Any lines as what apbd says to vestad, with a second of time for a line that is no message. What
// vestad tells apbd in return can be read, and a station that nobody speaks of is not let in.

#include "apb/apbd_fixture.h"
#include "fuzz/daemon.h"
#include "ipc/ipc_event_listener.h"

namespace {

using namespace fuzz;
using Listener = vesta::IPCEventListener;

constexpr const char* kUnheardOf = "02:00:00:00:00:99";

const std::map<std::string, void (Listener::*)(void*, void*, int)> kAdapters = {
    {"connected", &Listener::ipcHandleAPBConnectedResponce},
    {"disconnected", &Listener::ipcHandleAPBDisconnectedResponce},
    {"subscribe-response", &Listener::ipcHandleAPBSubscribeResponce},
    {"add-response", &Listener::ipcHandleAPBAddResponce},
    {"update-response", &Listener::ipcHandleAPBUpdateResponce},
    {"del-response", &Listener::ipcHandleAPBDeleteResponce},
    {"add-notify", &Listener::ipcHandleAPBAddNotify},
    {"update-notify", &Listener::ipcHandleAPBUpdateNotify},
    {"del-notify", &Listener::ipcHandleAPBDeleteNotify}};

// Whether a text anywhere in `value` is read as that address.
bool speaksOf(json_object* value, const vesta::MacAddr& mac) {
    bool speaks = vesta::MacAddr(textOf(value)) == mac;
    if (json_object_is_type(value, json_type_object) != 0) {
        json_object_object_foreach(value, key, inner) {
            static_cast<void>(key);
            speaks = speaks || speaksOf(inner, mac);
        }
    } else if (json_object_is_type(value, json_type_array) != 0) {
        for (std::size_t i = 0; i < json_object_array_length(value); ++i) {
            speaks = speaks || speaksOf(json_object_array_get_idx(value, i), mac);
        }
    }
    return speaks;
}

class News final : public Outside<vesta::testing::ApbdFixture> {
public:
    void play(const std::vector<std::string>& lines) {
        serve(vesta::testing::vapText("wlan0-va1", "Guest") + "," +
              vesta::testing::vapText("wlan1-va1", "Guest"));
        bool spokenOf = false;
        portal_->addClient(vesta::MacAddr(kUnheardOf), "10.1.0.9", 1500, "wlan0-va1");
        Listener listener(portal_, apbd_, ipc_);
        for (std::string line : lines) {
            const auto message = readMessage(line);
            const auto adapter = kAdapters.find(ostrel::bus::commandOf(message.get()));
            spokenOf = spokenOf || speaksOf(message.get(), vesta::MacAddr(kUnheardOf));
            if (adapter != kAdapters.end()) {
                (listener.*adapter->second)(line.data(), message.get(), IPC_MODULE_APBD);
            } else {
                arrive(line.empty() ? "wlan0-va1" : "wlan1-va1");
                second(line.empty() ? "wlan0-va1" : "wlan1-va1");
                apbd_->updateState();
            }
        }
        require(spokenOf || !isAdmitted(*portal_, kUnheardOf));
        for (const auto& request : requests()) {
            require(request.at("cmd").is_string());
        }
    }
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static News news;
    news.play(linesOf(data, size));
    return 0;
}
