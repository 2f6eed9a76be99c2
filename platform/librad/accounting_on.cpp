#include "accounting_on.h"

#include <utility>

#include "accounting.h"

namespace ostrel::radius {

AccountingOn& AccountingOn::instance() {
    static AccountingOn* const registry = new AccountingOn;
    return *registry;
}

AccountingOn::Turn AccountingOn::take(const std::string& server, std::weak_ptr<Client> client) {
    MutexLock lock(mutex_);
    const auto [entry, isNew] = servers_.try_emplace(server);
    if (isNew) {
        return Turn::announce;
    }
    if (entry->second.settled) {
        return Turn::proceed;
    }
    entry->second.waiting.push_back(std::move(client));
    return Turn::wait;
}

std::vector<std::weak_ptr<Client>> AccountingOn::settle(const std::string& server) {
    MutexLock lock(mutex_);
    Server& entry = servers_[server];
    entry.settled = true;
    return std::exchange(entry.waiting, {});
}

MessagePtr makeAccountingOn(const librad_radius_msg& start) {
    MessagePtr msg = newAccountingRequest(StatusType::accountingOn, newSessionLow());
    if (msg == nullptr || !copyAttributes(*msg, start, LIBRAD_RADIUS_ATTR_NAS_IP_ADDRESS) ||
        !copyAttributes(*msg, start, LIBRAD_RADIUS_ATTR_NAS_IDENTIFIER)) {
        return nullptr;
    }
    return msg;
}

}  // namespace ostrel::radius
