#include "whitelist/permitted_ip.h"

#include <memory>

#include "whitelist/white_addresses_list.h"
#include "whitelist/white_lists_store.h"

namespace vesta {

bool isWhiteListHash(const std::string& text) {
    constexpr std::size_t kHashDigits = 32;
    return text.size() == kHashDigits &&
           text.find_first_not_of("0123456789abcdefABCDEF") == std::string::npos;
}

std::pair<std::string, std::string> resolvePermittedIp(IWhiteAddressesListsStore& store,
                                                       const std::string& text) {
    if (text.empty()) {
        return {};
    }
    if (!isWhiteListHash(text)) {
        const auto list = std::make_shared<WhiteAddressesList>("", text);
        store.addStationList(list);
        return {list->getHash(), text};
    }
    const std::string name = store.getWhiteListNameByHash(text);
    return {name.empty() ? text : name, text};
}

}  // namespace vesta
