#include "inform/ostrel_wifi_auth_informator.h"

#include <algorithm>
#include <utility>

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

void addRecord(std::string& records, const Client& client, const char* key,
               const std::string& value) {
    StateSender::addRequest(records, std::string(key) + " " + client.getInterface() + " " +
                                         client.getMacAddress() + " " + untilControl(value));
}

}  // namespace

OstrelWifiAuthInformator::OstrelWifiAuthInformator()
    : file_("wifiAuthSender", ostrel::kWifiAuthPath) {}

// The driver's refusal of a station that it does not have changes nothing.
void OstrelWifiAuthInformator::write(const Client& client, std::string records) {
    file_.write(client.getInterface() + " " + client.getMacAddress(), std::move(records),
                StateSender::Kind::attempt);
}

bool OstrelWifiAuthInformator::writeRefusal(const Client& client) {
    std::string records;
    addRecord(records, client, "cp-auth-result", "0");
    write(client, std::move(records));
    return true;
}

bool OstrelWifiAuthInformator::informClientAuthenticated(std::shared_ptr<Client> client,
                                                         ClientStatisticInfo&) {
    std::string records;
    addRecord(records, *client, "username", client->getLogin());
    addRecord(records, *client, "domain", client->getOwner().getDomain());
    addRecord(records, *client, "cp-auth-result", "1");
    write(*client, std::move(records));
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
