#pragma once

// The base ruleset: tables "netdev vesta" and "inet vesta". Its text in ruleset.cpp says what each
// chain is for. Stations are elements of sets and maps; none has a rule or a chain of its own.
//
// Threads: none; the functions make texts.

#include <cstdint>
#include <string>

namespace redirectord {

// Marks of a packet (skb mark).
constexpr std::uint32_t kMarkPass = 1;     // from or to an admitted station
constexpr std::uint32_t kMarkCaptive = 2;  // from a captive station, or one that nobody knows
constexpr std::uint32_t kMarkDropped = 3;
constexpr std::uint32_t kMarkListed = 4;  // from a captive station to what its list allows
constexpr std::uint32_t kMarkAnswer = 8;  // to a station in any state: of the access point itself,
                                          // or an answer to what a list allows

// Elements of the sets that have one element or two a station.
constexpr std::size_t kMostStations = 16384;
constexpr std::uint16_t kDnsPort = 8053;    // of the name forwarder
constexpr std::uint16_t kNewsGroup = 1633;  // of NFLOG: packets that announce a station

// Makes the tables, or takes over those that a predecessor left: elements stay, rules become ours.
// One transaction.
std::string baseRuleset();
// Hooks the chains onto a device that is there; does so anew for one that came back.
std::string hookDevice(const std::string& device);
// Removes both tables, also when they are not there.
std::string removeRuleset();

}  // namespace redirectord
