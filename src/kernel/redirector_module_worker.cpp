#include "kernel/redirector_module_worker.h"

#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>

#include "client/client.h"
#include "core/data_parser.h"
#include "core/logger.h"
#include "ostrel/clock.h"

namespace vesta {
namespace {

// Larger than any notification.
constexpr std::size_t kReceiveSize = 256;
// Stations handed on without a pause, so that a flood leaves room for a stop.
constexpr int kMostInARow = 1000;
// A Unix socket holds some ten datagrams and its sender waits to put in the next: the burst goes on
// though the socket is empty for a moment.
constexpr int kBurstGapMilliseconds = 10;
constexpr std::int64_t kRecoverySeconds = 1;
// A name in a client record leaves room for the terminator.
constexpr std::size_t kLongestName = 15;

RedirectorClientRecord recordOf(const Client& client) {
    return makeClientRecord(client.getMacAddress(), client.getInterface(), client.getIpAddress(),
                            kLongestName);
}

}  // namespace

RedirectorModuleWorker::RedirectorModuleWorker(StationReceiver& portal)
    : KernelWorker(portal),
      notifySocket_(ostrel::openNotifications(static_cast<std::uint32_t>(getpid()))) {
    name_ = "redirectorModuleWorker";
    if (!notifySocket_.valid()) {
        logger().Error("%s: can't open the notifications of new stations: %s; trying again\n",
                       name_.c_str(), std::strerror(errno));
    }
    control_ = ostrel::openRedirector();
    logger().Debug("%s: Configure notify pid %u for redirectod\n", name_.c_str(),
                   static_cast<unsigned int>(getpid()));
    announcePid();
    request(RedirectorRequest::REDIRECTOR_WIPE_ALL_CLIENTS, nullptr);
    request(RedirectorRequest::REDIRECTOR_WIPE_WHITE_LISTS, nullptr);
}

void RedirectorModuleWorker::start() {
    logger().Debug("Spawn event listener worker (%s)\n", name_.c_str());
    while (running()) {
        bool waiting = awaitNotification(0) > 0;
        pass();
        for (int taken = 1; waiting && taken < kMostInARow && running(); ++taken) {
            waiting = awaitNotification(kBurstGapMilliseconds) > 0;
            if (waiting) {
                pass();
            }
        }
        sleepPeriod();
    }
}

bool RedirectorModuleWorker::handle() {
    recover();
    const int ready = awaitNotification(0);
    if (ready < 0) {
        notificationsFailed("select", errno);
    }
    if (ready < 0 || !notifySocket_.valid()) {
        return false;
    }
    if (ready == 0) {
        return true;
    }
    std::array<unsigned char, kReceiveSize> buffer{};
    const ssize_t size = recv(notifySocket_.get(), buffer.data(), buffer.size(), MSG_DONTWAIT);
    if (size < 0 && errno != EAGAIN) {
        notificationsFailed("recv", errno);
        return false;
    }
    if (size >= 0 && size < static_cast<ssize_t>(kNotificationSize)) {
        logger().Warning("%s: notification of %zd bytes dropped, it should have %zu\n",
                         name_.c_str(), size, kNotificationSize);
        return true;
    }
    const RedirectorNotification station = readNotification(buffer.data());
    logger().Debug("%s: On %s geted new client with mac %s with ip %s\n", name_.c_str(),
                   station.interfaceName.c_str(), station.mac.c_str(), station.ip.c_str());
    portal_.addClient(station.mac, station.ip, station.value, station.interfaceName);
    return true;
}

// poll(), since a descriptor may be beyond what an fd_set holds; it passes over an invalid one.
int RedirectorModuleWorker::awaitNotification(int milliseconds) const {
    pollfd waiting{notifySocket_.get(), POLLIN, 0};
    int ready = 0;
    do {
        ready = poll(&waiting, 1, milliseconds);
    } while (ready < 0 && errno == EINTR);
    return ready;
}

void RedirectorModuleWorker::notificationsFailed(const char* call, int error) {
    logger().Error("%s.%s: %s() failed %s\n", name_.c_str(), "handle", call, std::strerror(error));
    // ENOBUFS tells of notifications that the kernel had no room for; the socket goes on.
    if (error != ENOBUFS) {
        notifySocket_.reset();
    }
}

void RedirectorModuleWorker::recover() {
    if (notifySocket_.valid() && !moduleAway_.load(std::memory_order_relaxed)) {
        return;
    }
    const std::int64_t now = ostrel::monotonicSeconds();
    if (now < nextRecovery_) {
        return;
    }
    nextRecovery_ = now + kRecoverySeconds;
    if (!notifySocket_.valid()) {
        notifySocket_ = ostrel::openNotifications(static_cast<std::uint32_t>(getpid()));
        if (!notifySocket_.valid()) {
            return;
        }
        logger().Error("%s: notifications of new stations come in again\n", name_.c_str());
    }
    announcePid();
}

std::string RedirectorModuleWorker::getProxyIPv4() {
    std::array<unsigned char, 4> address{};
    request(RedirectorRequest::REDIRECTOR_GET_PROXY_IPV4, address.data());
    const std::string text = DataParser::castRowIpToString(address.data());
    logger().Debug("%s: Get proxy IPv4 from kernel %s\n", name_.c_str(), text.c_str());
    return text;
}

bool RedirectorModuleWorker::insertWhiteList(std::shared_ptr<WhiteAddressesList> list) {
    const std::uint32_t id = reserveListId(list->getName());
    logger().Debug("%s.%s: insert white list %s to recirector with id %d\n", name_.c_str(),
                   "insertWhiteList", list->getHash().c_str(), static_cast<int>(id));
    sendAddresses(*list, id);
    sendStrings(RedirectorRequest::REDIRECTOR_ADD_WHITE_DOMAINS, id, list->domain_cbegin(),
                list->domain_cend());
    sendStrings(RedirectorRequest::REDIRECTOR_ADD_WHITE_REGEXPS, id, list->regexp_cbegin(),
                list->regexp_cend());
    return true;
}

bool RedirectorModuleWorker::wipeWhiteLists() {
    logger().Debug("%s,%d,wipe all white lists in redirector\n", "wipeWhiteLists", 368);
    {
        const MutexLock lock(listsMutex_);
        whiteListIds_.clear();
    }
    request(RedirectorRequest::REDIRECTOR_WIPE_WHITE_LISTS, nullptr);
    return true;
}

void RedirectorModuleWorker::setClientWhiteList(std::shared_ptr<Client> client) {
    const std::string listName = client->getWhiteIpListId();
    if (listName.empty()) {
        logger().Warning("%s,%d,Client %s does't has any white list\n", "setClientWhiteList", 235,
                         client->getMacAddress().c_str());
        return;
    }
    std::uint32_t id = 0;
    {
        const MutexLock lock(listsMutex_);
        const auto found = whiteListIds_.find(listName);
        id = found == whiteListIds_.end() ? 0 : found->second;
    }
    if (id == 0) {
        logger().Warning("%s,%d,White list with id %s not found in redirector\n",
                         "setClientWhiteList", 242, listName.c_str());
        if (logger().isDebug()) {
            logger().Debug("%s,%d,Full list is '%s'\n", "setClientWhiteList", 245,
                           to_string().c_str());
        }
        return;
    }
    logger().Debug("%s,%d,For client %s on interface %s with list id %d\n", "setClientWhiteList",
                   252, client->getMacAddress().c_str(), client->getInterface().c_str(),
                   static_cast<int>(id));
    RedirectorClientWhiteListRecord record = makeClientWhiteListRecord(recordOf(*client), id);
    request(RedirectorRequest::REDIRECTOR_SET_CLIENT_WHITE_LIST, record.data());
}

std::string RedirectorModuleWorker::to_string() const {
    std::string text = "Userspace to kernelspace white lists map: ";
    const MutexLock lock(listsMutex_);
    for (const auto& [name, id] : whiteListIds_) {
        text += "\nhash = " + name + " / redirector id = " + std::to_string(id);
    }
    return text + "\n";
}

bool RedirectorModuleWorker::informClientAuthenticated(std::shared_ptr<Client> client,
                                                       ClientStatisticInfo&) {
    logger().Debug("%s.%s: for client %s on interface %s\n", name_.c_str(),
                   "informClientAuthenticated", client->getMacAddress().c_str(),
                   client->getInterface().c_str());
    clientRequest(RedirectorRequest::REDIRECTOR_SET_AUTHED, *client);
    return true;
}

bool RedirectorModuleWorker::informUpdateClient(std::shared_ptr<Client>, ClientStatisticInfo&) {
    return true;
}

bool RedirectorModuleWorker::informClientDeuthenticated(std::shared_ptr<Client> client,
                                                        ClientStatisticInfo&) {
    logClientEvent("informClientDeuthenticated", *client);
    clientRequest(RedirectorRequest::REDIRECTOR_SET_UNAUTHED, *client);
    // A station that lost its authorisation is back under its white list at once.
    setClientWhiteList(client);
    return true;
}

bool RedirectorModuleWorker::informClientDrop(std::shared_ptr<Client> client,
                                              ClientStatisticInfo&) {
    logClientEvent("informClientDrop", *client);
    clientRequest(RedirectorRequest::REDIRECTOR_SET_DROP, *client);
    return true;
}

bool RedirectorModuleWorker::informClientRemoved(std::shared_ptr<Client> client,
                                                 ClientStatisticInfo&) {
    logClientEvent("informClientRemoved", *client);
    clientRequest(RedirectorRequest::REDIRECTOR_WIPE_CLIENT, *client);
    return true;
}

void RedirectorModuleWorker::announcePid() {
    // Cleared first: the request below sets it again when it fails.
    moduleAway_.store(false, std::memory_order_relaxed);
    std::uint32_t pid = static_cast<std::uint32_t>(getpid());
    request(RedirectorRequest::REDIRECTOR_SET_NOTIFY_PID, &pid);
}

void RedirectorModuleWorker::request(RedirectorRequest number, void* argument) {
    if (control_->request(static_cast<unsigned long>(number), argument) != 0 &&
        (errno == ENOENT || errno == EIO)) {
        moduleAway_.store(true, std::memory_order_relaxed);
    }
}

void RedirectorModuleWorker::logClientEvent(const char* event, const Client& client) const {
    logger().Debug("%s:%s for client %s on interface %s\n", name_.c_str(), event,
                   client.getMacAddress().c_str(), client.getInterface().c_str());
}

void RedirectorModuleWorker::clientRequest(RedirectorRequest number, const Client& client) {
    RedirectorClientRecord record = recordOf(client);
    request(number, record.data());
}

// One more than the largest id in use.
std::uint32_t RedirectorModuleWorker::reserveListId(const std::string& name) {
    const MutexLock lock(listsMutex_);
    std::uint32_t largest = 0;
    for (const auto& entry : whiteListIds_) {
        largest = std::max(largest, entry.second);
    }
    whiteListIds_.emplace(name, largest + 1);
    return largest + 1;
}

void RedirectorModuleWorker::sendAddresses(const WhiteAddressesList& list, std::uint32_t id) {
    AddressChunk chunk(id);
    for (auto entry = list.ip_cbegin(); entry != list.ip_cend(); ++entry) {
        if (chunk.full()) {
            request(RedirectorRequest::REDIRECTOR_ADD_WHITE_IPS, chunk.bytes().data());
            chunk.clear();
        }
        chunk.add(entry->first, entry->second);
        if (logger().isDebug()) {
            logger().Debug("For white list %d add ip address\t%s subnet mask %s\n",
                           static_cast<int>(id),
                           DataParser::castRowIpToString(in_addr{entry->first}).c_str(),
                           DataParser::castRowIpToString(in_addr{entry->second}).c_str());
        }
    }
    if (!chunk.empty()) {
        request(RedirectorRequest::REDIRECTOR_ADD_WHITE_IPS, chunk.bytes().data());
    }
}

void RedirectorModuleWorker::sendStrings(RedirectorRequest number, std::uint32_t id,
                                         WhiteAddressesList::Strings::const_iterator first,
                                         WhiteAddressesList::Strings::const_iterator last) {
    StringChunk chunk(id);
    for (auto text = first; text != last; ++text) {
        if (StringChunk::neverFits(*text)) {
            logger().Warning("White list %u: entry of %zu bytes is too long, skipped\n", id,
                             text->size());
            continue;
        }
        if (!chunk.fits(*text)) {
            request(number, chunk.bytes().data());
            chunk.clear();
        }
        chunk.add(*text);
        // The record names domains and patterns alike by the command for domains.
        logger().Debug(
            "For white list %d send to redirect command %d with string: %s\n", static_cast<int>(id),
            static_cast<int>(RedirectorRequest::REDIRECTOR_ADD_WHITE_DOMAINS), text->c_str());
    }
    if (!chunk.empty()) {
        request(number, chunk.bytes().data());
    }
}

}  // namespace vesta
