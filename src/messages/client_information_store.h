#pragma once

// A source of client records that are kept outside the portal, and the key of such a record.

#include <memory>
#include <set>
#include <string>
#include <tuple>

#include "core/message_entry.h"
#include "station/mac_addr.h"

namespace vesta {

class ClientMessageExtractor;

// A station on an SSID: the same MAC seen on two SSIDs is two records. Ordered by the MAC's
// bytes, then by the SSID.
struct ClientInformationIdentity {
    ClientInformationIdentity(const MacAddr& mac_, const std::string& ssid_)
        : mac(mac_), ssid(ssid_) {}

    MacAddr mac;
    std::string ssid;
};

inline bool operator<(const ClientInformationIdentity& left,
                      const ClientInformationIdentity& right) {
    return std::tie(left.mac, left.ssid) < std::tie(right.mac, right.ssid);
}

inline bool operator==(const ClientInformationIdentity& left,
                       const ClientInformationIdentity& right) {
    return left.mac == right.mac && left.ssid == right.ssid;
}

class ClientInformationStore {
public:
    virtual ~ClientInformationStore() = default;

    // The record of that client, shared with nobody; null when none is known.
    virtual std::shared_ptr<MessageEntry> getMessageForClient(
        const ClientInformationIdentity& identity) = 0;
    // The same, and notes that the station is about to be restored on that VAP.
    virtual std::shared_ptr<MessageEntry> takeMessageForClient(
        const ClientInformationIdentity& identity, const std::string& /*vap*/) {
        return getMessageForClient(identity);
    }
    // The client shows itself on that VAP, which has a copy of it. False when the copy is out of
    // date, because the client was last heard of on another access point.
    virtual bool confirmPresence(const ClientInformationIdentity&, const std::string& /*vap*/) {
        return true;
    }
    // The record that was handed out can't be read, so the station starts anew.
    virtual void discardMessage(const ClientInformationIdentity&) {}
    // Returns when the store has what its peer knows, or after a short time. The base does not
    // wait.
    virtual void awaitReady() {}
    // Called once a second: refresh from the peer.
    virtual void updateState() = 0;
    // Adds the names of the white lists that the records may refer to.
    virtual void collectWhiteLists(std::set<std::string>&) {}
    // How this store's records are read; null when it never has one.
    virtual std::shared_ptr<ClientMessageExtractor> getMessageExtractor() { return nullptr; }
};

}  // namespace vesta
