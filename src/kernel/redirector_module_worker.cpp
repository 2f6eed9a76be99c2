#include "kernel/redirector_module_worker.h"

#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstring>
#include <optional>
#include <utility>

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
// A Unix socket holds about ten datagrams, and the sender of a burst waits for room. So the socket
// is empty for a moment in the middle of a burst.
constexpr int kBurstGapMilliseconds = 10;
constexpr std::int64_t kRecoverySeconds = 1;
constexpr const char* kSenderName = "redirectorSender";

RedirectorClientRecord recordOf(const Client& client) {
    // The name's field keeps room for a terminator.
    constexpr std::size_t kLongestName = 15;
    return makeClientRecord(client.getMac(), client.getInterface(), client.getIpAddress(),
                            kLongestName);
}

std::string keyOf(const RedirectorClientRecord& record) {
    const RedirectorStationKey key = stationOf(record);
    return {key.begin(), key.end()};
}

}  // namespace

RedirectorModuleWorker::RedirectorModuleWorker(StationReceiver& portal)
    : KernelWorker(portal),
      // In front of the sender, which tells the module whom to notify.
      notifySocket_(ostrel::openNotifications(static_cast<std::uint32_t>(getpid()))),
      sender_(kSenderName) {
    name_ = "redirectorModuleWorker";
    if (!notifySocket_.valid()) {
        logger().Error("%s: can't open the notifications of new stations: %s; trying again\n",
                       name_.c_str(), std::strerror(errno));
    }
    logger().Debug("%s: Configure notify pid %u for redirectod\n", name_.c_str(),
                   static_cast<unsigned int>(getpid()));
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
                   station.interfaceName.c_str(), station.mac.to_string().c_str(),
                   station.ip.c_str());
    portal_.addClient(station.mac, station.ip, station.value, station.interfaceName);
    return true;
}

// poll(), not select(): a descriptor may be too large for an fd_set. poll() ignores an invalid one.
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
    // ENOBUFS: the kernel had no room for some notifications. The socket still works.
    if (error != ENOBUFS) {
        notifySocket_.reset();
    }
}

void RedirectorModuleWorker::recover() {
    const std::int64_t now = ostrel::monotonicSeconds();
    if (now < nextRecovery_) {
        return;
    }
    nextRecovery_ = now + kRecoverySeconds;
    const auto processId = static_cast<std::uint32_t>(getpid());
    if (notifySocket_.valid() && !ostrel::notificationsReachable(notifySocket_, processId)) {
        logger().Error("%s: the socket of the notifications was removed\n", name_.c_str());
        notifySocket_.reset();
    }
    if (!notifySocket_.valid()) {
        notifySocket_ = ostrel::openNotifications(processId);
        if (!notifySocket_.valid()) {
            return;
        }
        logger().Error("%s: notifications of new stations come in again\n", name_.c_str());
        sender_.announce();
    }
}

std::string RedirectorModuleWorker::getProxyIPv4() {
    const std::string text = DataParser::castRowIpToString(in_addr{sender_.proxyIPv4()});
    logger().Debug("%s: Get proxy IPv4 from kernel %s\n", name_.c_str(), text.c_str());
    return text;
}

bool RedirectorModuleWorker::insertWhiteList(std::shared_ptr<WhiteAddressesList> list) {
    std::uint32_t id = 0;
    {
        const MutexLock lock(listsMutex_);
        id = lists_.add(list->getName());
    }
    logger().Debug("%s.%s: insert white list %s to recirector with id %d\n", name_.c_str(),
                   "insertWhiteList", list->getHash().c_str(), static_cast<int>(id));
    sender_.setList(id, RedirectorWhiteLists::requestsFor(*list, id));
    return true;
}

bool RedirectorModuleWorker::wipeWhiteLists() {
    logger().Debug("%s,%d,wipe all white lists in redirector\n", "wipeWhiteLists", 368);
    {
        const MutexLock lock(listsMutex_);
        lists_.clear();
    }
    sender_.dropLists();
    sender_.renewLists();
    return true;
}

bool RedirectorModuleWorker::dropWhiteLists(const std::vector<std::string>& names) {
    for (const std::string& name : names) {
        std::optional<std::uint32_t> id;
        {
            const MutexLock lock(listsMutex_);
            id = lists_.remove(name);
        }
        if (id.has_value()) {
            sender_.dropList(*id);
        }
    }
    sender_.renewLists();
    return true;
}

void RedirectorModuleWorker::setClientWhiteList(const Client& client,
                                                const RedirectorClientRecord& record,
                                                std::string& state) {
    const std::string listName = client.getWhiteIpListId();
    if (listName.empty()) {
        logger().Warning("%s,%d,Client %s does't has any white list\n", "setClientWhiteList", 235,
                         client.getMacAddress().c_str());
        return;
    }
    const MutexLock lock(listsMutex_);
    const std::optional<std::uint32_t> id = lists_.idOf(listName);
    if (!id.has_value()) {
        logger().Warning("%s,%d,White list with id %s not found in redirector\n",
                         "setClientWhiteList", 242, listName.c_str());
        if (logger().isDebug()) {
            logger().Debug("%s,%d,Full list is '%s'\n", "setClientWhiteList", 245,
                           lists_.to_string().c_str());
        }
        return;
    }
    logger().Debug("%s,%d,For client %s on interface %s with list id %d\n", "setClientWhiteList",
                   252, client.getMacAddress().c_str(), client.getInterface().c_str(),
                   static_cast<int>(*id));
    RedirectorSender::add(state, RedirectorRequest::REDIRECTOR_SET_CLIENT_WHITE_LIST,
                          makeClientWhiteListRecord(record, *id));
}

std::string RedirectorModuleWorker::to_string() const {
    const MutexLock lock(listsMutex_);
    return lists_.to_string();
}

bool RedirectorModuleWorker::informClientAuthenticated(std::shared_ptr<Client> client,
                                                       ClientStatisticInfo&) {
    logger().Debug("%s.%s: for client %s on interface %s\n", name_.c_str(),
                   "informClientAuthenticated", client->getMacAddress().c_str(),
                   client->getInterface().c_str());
    setClient(RedirectorRequest::REDIRECTOR_SET_AUTHED, *client);
    return true;
}

bool RedirectorModuleWorker::informUpdateClient(std::shared_ptr<Client>, ClientStatisticInfo&) {
    return true;
}

bool RedirectorModuleWorker::informClientDeuthenticated(std::shared_ptr<Client> client,
                                                        ClientStatisticInfo&) {
    logClientEvent("informClientDeuthenticated", *client);
    setClient(RedirectorRequest::REDIRECTOR_SET_UNAUTHED, *client);
    return true;
}

bool RedirectorModuleWorker::informClientDrop(std::shared_ptr<Client> client,
                                              ClientStatisticInfo&) {
    logClientEvent("informClientDrop", *client);
    setClient(RedirectorRequest::REDIRECTOR_SET_DROP, *client);
    return true;
}

bool RedirectorModuleWorker::informClientRemoved(std::shared_ptr<Client> client,
                                                 ClientStatisticInfo&) {
    logClientEvent("informClientRemoved", *client);
    setClient(RedirectorRequest::REDIRECTOR_WIPE_CLIENT, *client);
    return true;
}

bool RedirectorModuleWorker::informClientAddressChanged(std::shared_ptr<Client> client,
                                                        ClientStatisticInfo&) {
    if (!sender_.knows(RedirectorSender::kStations, keyOf(recordOf(*client)))) {
        return true;
    }
    switch (client->getAccessType()) {
        case ACCESS_ALLOW:
            setClient(RedirectorRequest::REDIRECTOR_SET_AUTHED, *client);
            break;
        case ACCESS_REDIRECT:
            setClient(RedirectorRequest::REDIRECTOR_SET_UNAUTHED, *client);
            break;
        case ACCESS_DROP:
            setClient(RedirectorRequest::REDIRECTOR_SET_DROP, *client);
            break;
    }
    return true;
}

void RedirectorModuleWorker::logClientEvent(const char* event, const Client& client) const {
    logger().Debug("%s:%s for client %s on interface %s\n", name_.c_str(), event,
                   client.getMacAddress().c_str(), client.getInterface().c_str());
}

void RedirectorModuleWorker::setClient(RedirectorRequest number, const Client& client) {
    const RedirectorClientRecord record = recordOf(client);
    std::string state;
    RedirectorSender::add(state, number, record);
    if (number == RedirectorRequest::REDIRECTOR_SET_UNAUTHED) {
        // A station that lost its authorisation is back under its white list at once.
        setClientWhiteList(client, record, state);
    }
    const bool gone = number == RedirectorRequest::REDIRECTOR_WIPE_CLIENT;
    sender_.want(RedirectorSender::kStations, keyOf(record), std::move(state),
                 gone ? StateSender::Kind::end : StateSender::Kind::lasting);
}

}  // namespace vesta
