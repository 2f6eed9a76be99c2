#include "station/mac_addr.h"

#include <algorithm>

#include "core/data_parser.h"

namespace vesta {

MacAddr::MacAddr(const std::string& text) {
    std::array<char, 6> bytes{};
    if (DataParser::parseMacFromString(text, bytes.data())) {
        std::transform(bytes.begin(), bytes.end(), bytes_.begin(),
                       [](char byte) { return static_cast<unsigned char>(byte); });
    }
}

std::string MacAddr::to_string() const {
    return DataParser::castRowMacToString(bytes_.data());
}

}  // namespace vesta
