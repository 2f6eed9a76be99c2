#include "portal/identity_match.h"

#include "ostrel/librad.h"
#include "radius/radius_mapper.h"
#include "radius/radius_worker.h"

namespace vesta {

ClientIdentity decidingKey(const ClientIdentity& identity) {
    ClientIdentity key;
    if (!identity.accounting_id.empty()) {
        key.accounting_id = identity.accounting_id;
        // Without such a record the MAC stays zero, which no client has.
        RadiusWorker::fillClientIdentityOnAcctId(key);
        return key;
    }
    key.ip = identity.ip;
    key.mac = identity.mac;
    if (key.mac.isZero()) {
        key.username = identity.username;
    }
    return key;
}

bool matchesSession(const Client& client, const ClientIdentity& identity) {
    if (identity.accounting_id.empty()) {
        return true;
    }
    const librad_radius_sta_info* const sta = client.getRadiusSta();
    const auto words = RadiusMapper::parseSessionId(identity.accounting_id);
    return sta != nullptr && words && words->first == sta->acctSessionIdHigh &&
           words->second == sta->acctSessionIdLow;
}

bool matchesEveryKey(const Client& client, const ClientIdentity& identity) {
    return matchesSession(client, identity) &&
           (identity.mac.isZero() || identity.mac == client.getMac()) &&
           (identity.username.empty() || identity.username == client.getLogin());
}

}  // namespace vesta
