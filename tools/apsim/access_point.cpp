#include "apsim/access_point.h"

#include <signal.h>

#include <utility>

#include "apsim/input.h"

namespace apsim {

Station::Station(AccessPoint& accessPoint, StationId id, std::string ip)
    : accessPoint_(&accessPoint), id_(std::move(id)), ip_(std::move(ip)) {}

void Station::associate() {
    accessPoint_->events().add({Party::station, "associate", id_, ""});
    accessPoint_->associations().associate(id_);
}

void Station::sendPacket() {
    accessPoint_->events().add({Party::station, "packet", id_, "from " + ip_});
    accessPoint_->modules().notify(id_, ip_);
}

void Station::arrive() {
    associate();
    sendPacket();
}

bool Station::traffic(std::uint64_t rxBytes, std::uint64_t txBytes) {
    accessPoint_->events().add(
        {Party::station, "traffic", id_,
         std::to_string(rxBytes) + " bytes sent, " + std::to_string(txBytes) + " received"});
    return accessPoint_->associations().count(id_, rxBytes, txBytes);
}

PortalClient::Answer Station::login(const std::string& login, const std::string& password) {
    accessPoint_->events().add({Party::station, "login", id_, "as " + login});
    return accessPoint_->portal().validate(ip_, login, password);
}

void Station::leave() {
    accessPoint_->events().add({Party::station, "leave", id_, ""});
    accessPoint_->associations().leave(id_);
}

Access Station::access() const {
    return accessPoint_->redirector().access(id_);
}

bool Station::waitForAccess(Access access, Milliseconds timeout) const {
    return accessPoint_->events().waitUntil([&] { return this->access() == access; }, timeout);
}

bool Station::reaches(const std::string& destination) const {
    return accessPoint_->redirector().reaches(id_, destination);
}

AccessPoint::AccessPoint(const Json& config, const AccessPointOptions& options)
    : ownEvents_(options.keepEvents),
      events_(options.log == nullptr ? ownEvents_ : *options.log),
      runtimeDirectory_(options.runtimeDirectory),
      interfaces_(interfaceNames(config)),
      modules_(events_, options.modules, runtimeDirectory_),
      monitord_(associations_, events_, runtimeDirectory_),
      portal_(options.answerSeconds, runtimeDirectory_),
      configuration_(config.dump(), events_, runtimeDirectory_) {
    modules_.setDeauthHandler([this](const StationId& id) { associations_.leave(id); });
}

bool AccessPoint::waitForDaemon(Milliseconds timeout, std::uint32_t gone) {
    const auto deadline = std::chrono::steady_clock::now() + timeout;
    const bool configured = events_.waitUntil(
        [&] { return redirector().notifyPid() != 0 && redirector().notifyPid() != gone; }, timeout);
    if (!configured || std::chrono::steady_clock::now() >= deadline) {
        return configured;
    }
    return portal_.request({{"command", "get"}}).has_value();
}

std::uint32_t AccessPoint::killDaemon() {
    const std::uint32_t process = redirector().notifyPid();
    if (process != 0) {
        kill(static_cast<pid_t>(process), SIGKILL);
    }
    return process;
}

Station AccessPoint::station(const std::string& interface, const std::string& mac,
                             const std::string& ip) {
    return {*this, {interface, mac}, ip};
}

}  // namespace apsim
