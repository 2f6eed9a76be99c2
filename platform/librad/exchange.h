#pragma once

// The exchange of requests and answers with one server: which requests are outstanding, when each
// is transmitted again, and which wait because every identifier is in flight.
//
// Threads: guarded by the owner's lock. Times are monotonic microseconds.

#include <netinet/in.h>

#include <cstdint>
#include <list>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "client_reports.h"
#include "message.h"
#include "retransmission.h"
#include "udp_ports.h"

namespace ostrel::radius {

enum class Purpose { authentication, accounting, stop, spooledStop, accountingOn };

struct Request {
    MessagePtr msg;
    Purpose purpose = Purpose::authentication;
    std::int64_t happenedAt = 0;  // Acct-Delay-Time counts from here
    std::string sessionId;        // of accounting
    std::uint32_t statusType = 0;
    std::string station;  // for reports

    // Used by the exchange alone.
    Retransmission timer;
    std::vector<UdpPorts::Slot> slots;  // of all transmissions, as an answer to any will do
    std::multimap<std::int64_t, std::shared_ptr<Request>>::iterator place;
};

using RequestPtr = std::shared_ptr<Request>;

// An answer, and the request in flight that it belongs to.
struct Answer {
    MessagePtr msg;
    InFlight to;
};

class Exchange {
public:
    static constexpr std::size_t kMaxWaiting = 4096;

    // `kind` is what the server is asked for. `watch` is called with each new socket. `reports`
    // outlives the exchange.
    Exchange(librad_radius_kind kind, const librad_radius_server& server, int debugLevel,
             UdpPorts::Watch watch, ClientReports& reports);

    // Whether the server has an address, a port and a secret.
    [[nodiscard]] bool usable() const { return usable_; }
    // "address:port", for reports.
    [[nodiscard]] const std::string& name() const { return name_; }
    [[nodiscard]] const librad_secret& secret() const { return server_.sharedSecret; }
    [[nodiscard]] bool ownsSocket(int fd) const { return ports_.contains(fd); }
    // The next identifier for a request, see librad_radius_client_get_id().
    [[nodiscard]] std::uint8_t suggestId() { return ports_.suggest(); }

    // Opens the first socket, if there is a server. False when the system has none left.
    [[nodiscard]] bool open() { return !usable_ || ports_.open(watch_); }

    // Transmits, or queues behind the requests that wait. False when too many wait.
    [[nodiscard]] bool submit(const RequestPtr& request, std::int64_t now);
    // Transmits before the requests that wait. False without a free identifier.
    [[nodiscard]] bool submitAhead(const RequestPtr& request, std::int64_t now);
    // While held no new request is transmitted; unhold() transmits those that wait.
    void hold() { held_ = true; }
    void unhold(std::int64_t now);
    [[nodiscard]] bool held() const { return held_; }

    // Whether an identifier is free on a port that is open.
    [[nodiscard]] bool hasRoom() const { return ports_.hasRoom(); }
    // False once the request was answered, given up or taken back.
    [[nodiscard]] static bool isOutstanding(const Request& request) {
        return !request.slots.empty();
    }
    // Ends a request: its identifiers are free, and the next request that waits goes out.
    void finish(const RequestPtr& request, std::int64_t now);
    // The answer in a datagram that came in on `fd`. Nothing when it is malformed, comes from
    // elsewhere or answers no request that is outstanding, which is counted. Nothing of the answer
    // has been verified yet.
    [[nodiscard]] std::optional<Answer> match(int fd, const sockaddr_in& from, Bytes datagram);
    // Takes back the requests of an accounting session, outstanding or waiting: those of one status
    // type, or all with 0.
    void withdraw(const std::string& sessionId, std::uint32_t statusType, std::int64_t now);
    // Repeats the requests that are due. Ends those that are to be given up and returns them.
    [[nodiscard]] std::vector<RequestPtr> onDeadline(std::int64_t now);
    [[nodiscard]] std::int64_t deadline() const;
    // Says that a request got no answer, unless the log has enough of that.
    void reportGivenUp(const Request& request);

    [[nodiscard]] std::size_t outstanding() const { return byDeadline_.size(); }
    [[nodiscard]] std::size_t waiting() const { return waiting_.size(); }
    void clear();

private:
    [[nodiscard]] bool isServer(const sockaddr_in& from) const;
    [[nodiscard]] bool isAnswerCode(std::uint8_t code) const;
    void transmit(const RequestPtr& request, UdpPorts::Slot slot, std::int64_t now);
    void retransmit(const RequestPtr& request, std::int64_t now);
    void sendPacket(const Request& request, UdpPorts::Slot slot);
    void forget(const RequestPtr& request);
    void sendWaiting(std::int64_t now);

    const librad_radius_kind kind_;
    librad_radius_server server_;
    std::string name_;
    int debugLevel_;
    UdpPorts::Watch watch_;
    ClientReports& reports_;
    sockaddr_in address_{};
    bool usable_ = false;
    bool held_ = false;
    bool reportedSendError_ = false;
    UdpPorts ports_;
    std::multimap<std::int64_t, RequestPtr> byDeadline_;
    std::list<RequestPtr> waiting_;
};

}  // namespace ostrel::radius
