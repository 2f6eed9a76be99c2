#include "redirectord/features.h"

namespace redirectord {
namespace {

struct Feature {
    const char* words;
    const char* family;
    const char* content;  // of a table that shows whether it is there
};

constexpr Feature kFeatures[] = {
    {"nftables", "inet", ""},
    {"tables of the family netdev (CONFIG_NF_TABLES_NETDEV)", "netdev", ""},
    {"the hook for what comes in by a device (CONFIG_NETFILTER_INGRESS)", "netdev",
     R"(chain c { type filter hook ingress device "lo" priority 0; })"},
    {"the hook for what leaves by a device (CONFIG_NETFILTER_EGRESS, Linux 5.16)", "netdev",
     R"(chain c { type filter hook egress device "lo" priority 0; })"},
    {"sets whose key is a device and an address (CONFIG_NF_TABLES)", "netdev",
     "set s { type ifname . ether_addr; size 4; }"},
    {"counters in sets (Linux 5.7)", "netdev",
     "set s { type ifname . ether_addr; counter; size 4; }"},
    {"maps to marks", "netdev",
     "map m { type ifname . ether_addr : mark; }; chain c { meta mark set iifname . ether saddr "
     "map "
     "@m; }"},
    {"sets that packets fill, and whose elements end (dynamic, timeout)", "netdev",
     "set s { type ether_addr; flags dynamic, timeout; timeout 1s; size 4; }; chain c { add @s { "
     "ether saddr }; }"},
    {"limits in sets (CONFIG_NFT_LIMIT, Linux 5.7)", "netdev",
     "set s { type ether_addr; flags dynamic, timeout; timeout 1s; size 4; }; chain c { update @s "
     "{ "
     "ether saddr limit rate over 9/second } drop; }"},
    {"logging to a program (CONFIG_NFT_LOG, CONFIG_NETFILTER_NETLINK_LOG)", "netdev",
     "chain c { log group 1633; }"},
    {"connection tracking in rules (CONFIG_NFT_CT, CONFIG_NF_CONNTRACK_MARK)", "inet",
     "chain c { ct mark set 2; }"},
    {"address translation and redirects (CONFIG_NFT_NAT, CONFIG_NFT_REDIR)", "inet",
     "chain c { type nat hook prerouting priority dstnat; tcp dport 80 redirect to :8888; }"},
    {"resets and refusals (CONFIG_NFT_REJECT_INET)", "inet",
     "chain c { type filter hook forward priority 0; meta l4proto tcp reject with tcp reset; }"},
};

}  // namespace

std::vector<std::string> missingFeatures(Nft& nft) {
    std::vector<std::string> missing;
    // The context remembers the sets of what it only checked: each has a table of its own.
    int number = 0;
    for (const Feature& feature : kFeatures) {
        const std::string table =
            std::string("table ") + feature.family + " vesta_probe" + std::to_string(++number);
        if (!nft.check(table + " { " + feature.content + "\n}\n")) {
            missing.emplace_back(feature.words);
        }
    }
    return missing;
}

}  // namespace redirectord
