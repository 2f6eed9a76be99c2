#include "kernel/redirector_sender.h"

#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

#include "core/logger.h"

namespace vesta {
namespace {

constexpr std::size_t kWord = sizeof(std::uint32_t);

std::string requestWithout(RedirectorRequest number) {
    return std::string(1, static_cast<char>(number));
}

bool isChunk(RedirectorRequest number) {
    return number == RedirectorRequest::REDIRECTOR_ADD_WHITE_IPS ||
           number == RedirectorRequest::REDIRECTOR_ADD_WHITE_DOMAINS ||
           number == RedirectorRequest::REDIRECTOR_ADD_WHITE_REGEXPS;
}

}  // namespace

RedirectorSender::RedirectorSender(const char* name)
    : StateSender(name), control_(ostrel::openRedirector()) {
    beginAnew();
    run();
}

RedirectorSender::~RedirectorSender() {
    stop();
    join();
}

std::uint32_t RedirectorSender::proxyIPv4() {
    askForProxy_ = true;
    return proxy_;
}

void RedirectorSender::setList(std::uint32_t id, std::string state) {
    want(kLists, keyOf(id), std::move(state), Kind::lasting);
}

void RedirectorSender::renewLists() {
    emptyFirst(kLists, requestWithout(RedirectorRequest::REDIRECTOR_WIPE_WHITE_LISTS));
}

StateSender::Answer RedirectorSender::tell(const std::string& request, const std::string& whole,
                                           bool resumed) {
    const auto number = static_cast<RedirectorRequest>(request.front());
    RedirectorChunkBytes argument{};
    std::copy_n(request.begin() + 1, std::min(request.size() - 1, argument.size()),
                argument.begin());
    if (resumed && isChunk(number)) {
        // A chunk without an id belongs to the one before, which is another list's perhaps.
        std::copy_n(whole.begin() + kWord + 1, kWord, argument.begin());
    }
    const int result = this->request(number, argument.data());
    // A station that the module does not have is forgotten.
    const bool gone = number == RedirectorRequest::REDIRECTOR_WIPE_CLIENT && result == ENOENT;
    if (result == 0 || gone) {
        return Answer::taken;
    }
    if (result < 0) {
        return Answer::absent;
    }
    errno = result;
    return Answer::refused;
}

void RedirectorSender::attend(bool onceASecond) {
    if (announce_.exchange(false)) {
        std::uint32_t pid = static_cast<std::uint32_t>(getpid());
        request(RedirectorRequest::REDIRECTOR_SET_NOTIFY_PID, &pid);
    }
    if (control_->renewed()) {
        logger().Warning("%s: the module is back, telling it %zu white lists and %zu stations\n",
                         name_.c_str(), count(kLists), count(kStations));
        beginAnew();
    }
    if (onceASecond && askForProxy_.exchange(false)) {
        std::uint32_t address = 0;
        if (request(RedirectorRequest::REDIRECTOR_GET_PROXY_IPV4, &address) == 0) {
            proxy_ = address;
        } else {
            askForProxy_ = true;
        }
    }
}

void RedirectorSender::addRecord(std::string& state, RedirectorRequest number,
                                 const unsigned char* record, std::size_t size) {
    while (size > 0 && record[size - 1] == 0) {
        --size;
    }
    std::string request = requestWithout(number);
    request.append(reinterpret_cast<const char*>(record), size);
    addRequest(state, request);
}

// In the order of the ids, in which a module that begins anew is told of the lists.
std::string RedirectorSender::keyOf(std::uint32_t id) {
    std::string key;
    for (int shift = 24; shift >= 0; shift -= 8) {
        key += static_cast<char>(id >> shift);
    }
    return key;
}

int RedirectorSender::request(RedirectorRequest number, void* argument) {
    return control_->request(static_cast<unsigned long>(number), argument);
}

// A module that was only silent still knows stations that it should have forgotten.
void RedirectorSender::beginAnew() {
    emptyFirst(kStations, requestWithout(RedirectorRequest::REDIRECTOR_WIPE_ALL_CLIENTS));
    renewLists();
}

}  // namespace vesta
