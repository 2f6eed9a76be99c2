#include "redirectord/ruleset.h"

namespace redirectord {
namespace {

// Sets and maps keep their elements when they are declared again, so a redirectord that comes back
// finds its stations. Rules of the chains that are flushed below are ours alone;
// "shape_down", "shape_up" and the chains of the lists belong to others, who fill them.
constexpr const char* kSets = R"(
table netdev vesta {
    # Admitted stations have mark 1 and dropped ones 3. Captive stations, and those that nobody
    # knows, have no element.
    map stations { type ifname . ether_addr : mark; size 16384; }
    # Admitted stations once more, for the shortest way of their packets: with the IPv4 address by
    # which they are known, and as receivers.
    set admitted { type ifname . ether_addr . ipv4_addr; size 16384; }
    set receivers { type ifname . ether_addr; size 16384; }
    # Stations that were announced; and each with its IPv4 address.
    set seen { type ifname . ether_addr; size 16384; }
    set known { type ifname . ether_addr . ipv4_addr; size 16384; }
    # Announcements on their way: one a second for each, so many in all.
    set pending {
        type ifname . ether_addr . ipv4_addr
        flags dynamic, timeout
        timeout 1s
        size 4096
    }
    set pending_ip6 {
        type ifname . ether_addr
        flags dynamic, timeout
        timeout 1s
        size 4096
    }
    # How fast captive stations ask for names.
    set asking {
        type ifname . ether_addr
        flags dynamic, timeout
        timeout 10s
        size 16384
    }
    # What each station sent, and what was sent to it.
    set up { type ifname . ether_addr; counter; size 16384; }
    set down { type ifname . ether_addr; counter; size 16384; }
    # The access point's own MACs on the side of the stations.
    set own { type ether_addr; size 1024; }
    # The white list of each station: jump to the chain of the list, which sets mark 4.
    map lists { type ifname . ether_addr : verdict; size 16384; }

    chain shape_down { }
    chain from_station { }
    chain from_admitted { }
    chain news { }
    chain news_arp { }
    chain news_ip6 { }
    chain captive { }
    chain to_station { }
    chain to_anyone { }
    chain to_captive { }
    chain deliver { }
    chain dropped { }
}
table inet vesta {
    # Captive devices, and the interfaces on which their stations have their addresses: the same, or
    # the bridge above.
    set captive_devices { type ifname; size 1024; }
    set networks { type ifname; size 1024; }

    # Before the operator's own chains, which decide on what is let through here.
    chain portal { type nat hook prerouting priority dstnat - 10; }
    chain services { type filter hook input priority filter - 10; }
    chain routed { type filter hook forward priority filter - 10; }
    chain answers { type filter hook output priority filter - 10; }
    chain shape_up { }
    chain listed { }
    chain refuse { }
}
)";

constexpr const char* kFlushes = R"(
flush chain netdev vesta from_station
flush chain netdev vesta from_admitted
flush chain netdev vesta news
flush chain netdev vesta news_arp
flush chain netdev vesta news_ip6
flush chain netdev vesta captive
flush chain netdev vesta to_station
flush chain netdev vesta to_anyone
flush chain netdev vesta to_captive
flush chain netdev vesta deliver
flush chain netdev vesta dropped
flush chain inet vesta portal
flush chain inet vesta services
flush chain inet vesta routed
flush chain inet vesta answers
flush chain inet vesta listed
flush chain inet vesta refuse
)";

// The family netdev knows a station's device, also below a bridge. Its decision reaches the family
// inet as the packet's mark.
constexpr const char* kDeviceRules = R"(
table netdev vesta {
    chain from_station {
        iifname . ether saddr . ip saddr @admitted goto from_admitted
        meta mark set 2
        meta mark set iifname . ether saddr map @stations
        # Counted, so that it does not seem to have gone.
        meta mark 3 iifname . ether saddr @up
        meta mark 3 goto dropped
        iifname . ether saddr . ip saddr != @known jump news
        arp saddr ip != 0.0.0.0 iifname . ether saddr . arp saddr ip != @known jump news_arp
        meta mark 2 jump captive
        iifname . ether saddr @up
    }
    chain from_admitted {
        meta mark set 1
        iifname . ether saddr @up
    }
    # A packet of a station, or of an IPv4 address of it, that nobody was told of. The bounded set
    # keeps repetitions and floods away from the log.
    chain news {
        ip saddr 0.0.0.0 return
        iifname . ether saddr . ip saddr @pending return
        add @pending { iifname . ether saddr . ip saddr } log group 1633 snaplen 40
    }
    chain news_arp {
        iifname . ether saddr . arp saddr ip @pending return
        add @pending { iifname . ether saddr . arp saddr ip } log group 1633 snaplen 40
    }
    chain news_ip6 {
        ip6 saddr { ::, fe80::/10 } return
        iifname . ether saddr @pending_ip6 return
        add @pending_ip6 { iifname . ether saddr } log group 1633 snaplen 40
    }
    # What a captive station may send: to the access point, where the family inet decides further,
    # and what it needs to find it. Nothing else on its bridge.
    chain captive {
        meta protocol ip6 iifname . ether saddr != @seen jump news_ip6
        # A telephone that has just come asks for a hundred names at once. Who asks for more would
        # take the forwarder's time from the others.
        udp dport 53 \
            update @asking { iifname . ether saddr limit rate over 200/second burst 400 packets } \
            drop
        iifname . ether saddr vmap @lists
        ether daddr @own return
        ether type { arp, 0x888e } return
        udp dport { 67, 547 } return
        icmpv6 type {
            nd-router-solicit, nd-neighbor-solicit, nd-neighbor-advert,
            mld-listener-report, mld-listener-done, mld2-listener-report
        } return
        drop
    }

    chain to_station {
        meta mark 8 goto to_anyone
        oifname . ether daddr @receivers goto deliver
        goto to_captive
    }
    # Answers of the access point, or of what a list allows.
    chain to_anyone {
        meta mark set oifname . ether daddr map @stations
        meta mark 3 goto dropped
        goto deliver
    }
    # What was not sent for a captive station; also all that goes to many stations at once.
    chain to_captive {
        meta mark set 2
        meta mark set oifname . ether daddr map @stations
        meta mark 3 goto dropped
        ether daddr & 01:00:00:00:00:00 == 01:00:00:00:00:00 accept
        meta protocol != { ip, ip6 } accept
        udp sport . udp dport { 67 . 68, 547 . 546 } accept
        icmpv6 type { nd-router-advert, nd-neighbor-solicit, nd-neighbor-advert } accept
        # With br_netfilter our own resets pass by the family inet.
        tcp flags rst accept
        drop
    }
    chain deliver {
        jump shape_down
        oifname . ether daddr @down
    }
    # EAPOL renews the keys of the radio, without which the station would leave it.
    chain dropped {
        ether type != 0x888e drop
    }
}
)";

// Ports: 8888 and 8443 are portald's, 8053 is that of our DNS forwarder.
constexpr const char* kNetworkRules = R"(
table inet vesta {
    chain portal {
        meta mark 2 tcp dport 80 redirect to :8888
        meta mark { 2, 4 } meta l4proto { tcp, udp } th dport 53 redirect to :8053
    }
    chain services {
        # The forwarder is there for stations alone, also where the uplink is in their bridge.
        iifname != @networks meta l4proto { tcp, udp } th dport 8053 drop
        meta mark != { 1, 2, 4 } meta l4proto { tcp, udp } th dport 8053 drop
        meta mark != { 2, 4 } accept
        tcp dport { 8888, 8443, 8053 } accept
        udp dport { 67, 547, 8053 } accept
        icmpv6 type {
            nd-router-solicit, nd-neighbor-solicit, nd-neighbor-advert,
            mld-listener-report, mld-listener-done, mld2-listener-report
        } accept
        ct direction reply accept
        goto refuse
    }
    chain routed {
        meta mark vmap { 1 : goto shape_up, 2 : goto refuse, 4 : goto listed }
        ct mark 2 ct direction reply meta mark set 8 accept
        # A captive device that came back a moment ago, and is not hooked yet.
        iifname @captive_devices goto refuse
    }
    # The answers of this flow may go to a captive station.
    chain listed {
        ct mark set 2
        goto shape_up
    }
    # A reset makes a telephone ask for its portal at once.
    chain refuse {
        meta l4proto tcp reject with tcp reset
        reject with icmpx admin-prohibited
    }
    chain answers {
        oifname @networks meta mark set 8
    }
}
)";

std::string hook(const std::string& device, const std::string& prefix, const std::string& where,
                 const std::string& target) {
    const std::string chain = "chain netdev vesta " + prefix + device;
    // A chain that has lost its device is made anew; one that still has it is replaced at once.
    return "add " + chain + "\nflush " + chain + "\ndelete " + chain + "\nadd " + chain +
           " { type filter hook " + where + " device \"" + device +
           "\" priority -300; }\nadd rule netdev vesta " + prefix + device + " jump " + target +
           "\n";
}

}  // namespace

std::string baseRuleset() {
    return std::string(kSets) + kFlushes + kDeviceRules + kNetworkRules;
}

std::string hookDevice(const std::string& device) {
    return hook(device, "in-", "ingress", "from_station") +
           hook(device, "out-", "egress", "to_station");
}

std::string removeRuleset() {
    return "table netdev vesta\ndelete table netdev vesta\n"
           "table inet vesta\ndelete table inet vesta\n";
}

}  // namespace redirectord
