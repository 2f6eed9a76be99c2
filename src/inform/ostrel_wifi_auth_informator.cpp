#include "inform/ostrel_wifi_auth_informator.h"

#include <algorithm>

#include "client/client.h"
#include "client/portal_instance_interface.h"
#include "ostrel/modules.h"

namespace vesta {
namespace {

bool isControl(char c) {
    return static_cast<unsigned char>(c) < 0x20 || c == 0x7f;
}

// A login comes from the station; without this it could bring records of its own.
std::string untilControl(const std::string& text) {
    return {text.begin(), std::find_if(text.begin(), text.end(), isControl)};
}

void writeRecord(const Client& client, const char* key, const std::string& value) {
    const std::string record = std::string(key) + " " + client.getInterface() + " " +
                               client.getMacAddress() + " " + untilControl(value);
    // A system without this driver has no such file, and nobody misses it.
    static_cast<void>(ostrel::writeModuleFile(ostrel::kWifiAuthPath, record));
}

bool writeRefusal(const Client& client) {
    writeRecord(client, "cp-auth-result", "0");
    return true;
}

}  // namespace

bool OstrelWifiAuthInformator::informClientAuthenticated(std::shared_ptr<Client> client,
                                                         ClientStatisticInfo&) {
    writeRecord(*client, "username", client->getLogin());
    writeRecord(*client, "domain", client->getOwner().getDomain());
    writeRecord(*client, "cp-auth-result", "1");
    return true;
}

bool OstrelWifiAuthInformator::informClientDeuthenticated(std::shared_ptr<Client> client,
                                                          ClientStatisticInfo&) {
    return writeRefusal(*client);
}

bool OstrelWifiAuthInformator::informClientDrop(std::shared_ptr<Client> client,
                                                ClientStatisticInfo&) {
    return writeRefusal(*client);
}

bool OstrelWifiAuthInformator::informClientRemoved(std::shared_ptr<Client> client,
                                                   ClientStatisticInfo&) {
    return writeRefusal(*client);
}

}  // namespace vesta
