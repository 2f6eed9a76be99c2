#include "kernel/redirector_module_helper.h"

#include <array>
#include <cstdint>

#include "client/client.h"
#include "core/data_parser.h"
#include "core/logger.h"

namespace vesta {
namespace {

// This handle does not cut names: a name longer than its field goes on into the reserved bytes.
constexpr std::size_t kAnyName = 36;

}  // namespace

RedirectorModuleHelper::RedirectorModuleHelper() : control_(ostrel::openRedirector()) {}

void RedirectorModuleHelper::setClientAuthed(std::shared_ptr<Client> client) {
    clientRequest(RedirectorRequest::REDIRECTOR_SET_AUTHED, "setClientAuthed", *client);
}

void RedirectorModuleHelper::setClientUnauthed(std::shared_ptr<Client> client) {
    clientRequest(RedirectorRequest::REDIRECTOR_SET_UNAUTHED, "setClientUnauthed", *client);
}

void RedirectorModuleHelper::setClientDrop(std::shared_ptr<Client> client) {
    clientRequest(RedirectorRequest::REDIRECTOR_SET_DROP, "setClientDrop", *client);
}

void RedirectorModuleHelper::wipeClient(std::shared_ptr<Client> client) {
    clientRequest(RedirectorRequest::REDIRECTOR_WIPE_CLIENT, "wipeClient", *client);
}

void RedirectorModuleHelper::wipeAllClients() {
    request(RedirectorRequest::REDIRECTOR_WIPE_ALL_CLIENTS, nullptr);
}

void RedirectorModuleHelper::setVestadPid(int pid) {
    logger().Debug("Configure kernel module notify pid %d\n", pid);
    std::uint32_t number = static_cast<std::uint32_t>(pid);
    request(RedirectorRequest::REDIRECTOR_SET_NOTIFY_PID, &number);
}

std::string RedirectorModuleHelper::getProxyIPv4() {
    std::array<unsigned char, 4> address{};
    request(RedirectorRequest::REDIRECTOR_GET_PROXY_IPV4, address.data());
    return logAddress(address.data());
}

std::string RedirectorModuleHelper::getOutputGw(const std::string& address) {
    RedirectorGatewayRecord record = makeGatewayRecord(DataParser::castStringToRawIpv4(address));
    request(RedirectorRequest::REDIRECTOR_GET_OUTPUT_GW, record.data());
    return logAddress(gatewayOf(record));
}

// Gateways are logged with the same text as the proxy's address.
std::string RedirectorModuleHelper::logAddress(const unsigned char* address) {
    const std::string text = DataParser::castRowIpToString(address);
    logger().Debug("Get proxy IPv4 from kernel %s\n", text.c_str());
    return text;
}

void RedirectorModuleHelper::clientRequest(RedirectorRequest number, const char* operation,
                                           const Client& client) {
    const std::string& interfaceName = client.getInterface();
    logger().Debug("%s for client %s on interface %s\n", operation, client.getMacAddress().c_str(),
                   interfaceName.c_str());
    RedirectorClientRecord record =
        makeClientRecord(client.getMac(), interfaceName, client.getIpAddress(), kAnyName);
    request(number, record.data());
}

// The result is dropped: it changes nothing for the caller.
void RedirectorModuleHelper::request(RedirectorRequest number, void* argument) {
    control_->request(static_cast<unsigned long>(number), argument);
}

}  // namespace vesta
