#include "kernel/redirector_module_worker.h"

#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

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
// A Unix socket holds about ten datagrams, and the sender of a burst waits for room. So the socket
// is empty for a moment in the middle of a burst.
constexpr int kBurstGapMilliseconds = 10;
constexpr std::int64_t kRecoverySeconds = 1;

}  // namespace

RedirectorModuleWorker::RedirectorModuleWorker(StationReceiver& portal)
    : KernelWorker(portal),
      control_(ostrel::openRedirector()),
      notifySocket_(ostrel::openNotifications(static_cast<std::uint32_t>(getpid()))) {
    name_ = "redirectorModuleWorker";
    if (!notifySocket_.valid()) {
        logger().Error("%s: can't open the notifications of new stations: %s; trying again\n",
                       name_.c_str(), std::strerror(errno));
    }
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
        announcePid();
    }
    if (control_->renewed()) {
        tellAgain();
    }
}

void RedirectorModuleWorker::tellAgain() {
    std::optional<RedirectorStationKey> last;
    {
        const MutexLock lock(toldMutex_);
        logger().Warning("%s: the module is back, telling it %zu white lists and %zu stations\n",
                         name_.c_str(), lists_.size(), stations_.size());
        // A module that was only silent still knows stations that it should have forgotten.
        request(RedirectorRequest::REDIRECTOR_WIPE_ALL_CLIENTS, nullptr);
        request(RedirectorRequest::REDIRECTOR_WIPE_WHITE_LISTS, nullptr);
        lists_.tellAll();
    }
    while (tellStationAfter(last)) {
    }
}

bool RedirectorModuleWorker::tellStationAfter(std::optional<RedirectorStationKey>& last) {
    const MutexLock lock(toldMutex_);
    const auto next = last.has_value() ? stations_.upper_bound(*last) : stations_.begin();
    if (next == stations_.end()) {
        return false;
    }
    last = next->first;
    ToldStation& station = next->second;
    request(station.state, station.record.data());
    if (station.listId != 0) {
        tellStationList(station.record, station.listId);
    }
    return true;
}

std::string RedirectorModuleWorker::getProxyIPv4() {
    std::array<unsigned char, 4> address{};
    request(RedirectorRequest::REDIRECTOR_GET_PROXY_IPV4, address.data());
    const std::string text = DataParser::castRowIpToString(address.data());
    logger().Debug("%s: Get proxy IPv4 from kernel %s\n", name_.c_str(), text.c_str());
    return text;
}

bool RedirectorModuleWorker::insertWhiteList(std::shared_ptr<WhiteAddressesList> list) {
    const MutexLock lock(toldMutex_);
    const std::uint32_t id = lists_.add(list);
    logger().Debug("%s.%s: insert white list %s to recirector with id %d\n", name_.c_str(),
                   "insertWhiteList", list->getHash().c_str(), static_cast<int>(id));
    lists_.tell(*list, id);
    return true;
}

bool RedirectorModuleWorker::wipeWhiteLists() {
    logger().Debug("%s,%d,wipe all white lists in redirector\n", "wipeWhiteLists", 368);
    const MutexLock lock(toldMutex_);
    lists_.clear();
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
    const RedirectorClientRecord record = recordOf(*client);
    const MutexLock lock(toldMutex_);
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
                   252, client->getMacAddress().c_str(), client->getInterface().c_str(),
                   static_cast<int>(*id));
    const auto station = stations_.find(stationOf(record));
    if (station != stations_.end()) {
        station->second.listId = *id;
    }
    tellStationList(record, *id);
}

std::string RedirectorModuleWorker::to_string() const {
    const MutexLock lock(toldMutex_);
    return lists_.to_string();
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
    std::uint32_t pid = static_cast<std::uint32_t>(getpid());
    request(RedirectorRequest::REDIRECTOR_SET_NOTIFY_PID, &pid);
}

void RedirectorModuleWorker::request(RedirectorRequest number, void* argument) {
    control_->request(static_cast<unsigned long>(number), argument);
}

void RedirectorModuleWorker::logClientEvent(const char* event, const Client& client) const {
    logger().Debug("%s:%s for client %s on interface %s\n", name_.c_str(), event,
                   client.getMacAddress().c_str(), client.getInterface().c_str());
}

RedirectorClientRecord RedirectorModuleWorker::recordOf(const Client& client) {
    // The name's field keeps room for a terminator.
    constexpr std::size_t kLongestName = 15;
    return makeClientRecord(client.getMac(), client.getInterface(), client.getIpAddress(),
                            kLongestName);
}

void RedirectorModuleWorker::clientRequest(RedirectorRequest number, const Client& client) {
    RedirectorClientRecord record = recordOf(client);
    const MutexLock lock(toldMutex_);
    if (number == RedirectorRequest::REDIRECTOR_WIPE_CLIENT) {
        stations_.erase(stationOf(record));
    } else {
        stations_[stationOf(record)] = {number, 0, record};
    }
    request(number, record.data());
}

void RedirectorModuleWorker::tellStationList(const RedirectorClientRecord& station,
                                             std::uint32_t listId) {
    RedirectorClientWhiteListRecord record = makeClientWhiteListRecord(station, listId);
    request(RedirectorRequest::REDIRECTOR_SET_CLIENT_WHITE_LIST, record.data());
}

}  // namespace vesta
