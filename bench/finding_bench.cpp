// Finding the same number of stations in a small and in a large table.

#include <benchmark/benchmark.h>

#include <algorithm>
#include <map>
#include <memory>
#include <random>
#include <vector>

#include "client/client_table.h"
#include "model_bench.h"
#include "results.h"
#include "scenario/scenario_sequence.h"
#include "stations.h"
#include "support/fake_portal_instance.h"
#include "support/keyed_scenarios.h"
#include "table.h"

namespace vesta::bench {
namespace {

// A tree of 100,000 is 1.7 times as deep as one of 1,000 and a list is 100 times as long; a hash
// table differs by the caches alone.
constexpr double kMostGrowth = 3.0;
constexpr std::size_t kAsked = 1000;

struct FilledTable {
    explicit FilledTable(std::size_t stations) {
        for (std::size_t i = 0; i < stations; ++i) {
            auto client = std::make_shared<Client>(
                testing::sequence<ScenarioSequence>({R"({"type": "allow", "name": "guest"})"}),
                MacAddr(macOf(i)), ipOf(i), 1500, owner);
            client->setLogin(loginOf(i));
            table.add(std::move(client));
        }
    }

    testing::FakePortalInstance owner;
    ClientTable table;
};

const ClientTable& tableOf(std::size_t stations) {
    static std::map<std::size_t, std::unique_ptr<FilledTable>> tables;
    std::unique_ptr<FilledTable>& table = tables[stations];
    if (!table) {
        table = std::make_unique<FilledTable>(stations);
    }
    return table->table;
}

ClientIdentity byMac(std::size_t station) {
    return {MacAddr(macOf(station)), "", "", ""};
}
ClientIdentity byIp(std::size_t station) {
    return {MacAddr(), ipOf(station), "", ""};
}
ClientIdentity byLogin(std::size_t station) {
    return {MacAddr(), "", "", loginOf(station)};
}

// Stations from all over the table, in no order.
std::vector<ClientIdentity> asked(std::size_t stations, ClientIdentity (*identityOf)(std::size_t)) {
    std::vector<ClientIdentity> identities;
    for (std::size_t i = 0; i < kAsked; ++i) {
        identities.push_back(identityOf(i * (stations / kAsked)));
    }
    std::shuffle(identities.begin(), identities.end(), std::mt19937(1));
    return identities;
}

void find(benchmark::State& state, ClientIdentity (*identityOf)(std::size_t)) {
    const auto stations = static_cast<std::size_t>(state.range(0));
    const ClientTable& table = tableOf(stations);
    const std::vector<ClientIdentity> identities = asked(stations, identityOf);
    std::size_t next = 0;
    for (auto _ : state) {
        const auto client = table.find(identities[next]);
        if (!client) {
            state.SkipWithError("not found");
            break;
        }
        next = next + 1 < kAsked ? next + 1 : 0;
    }
}

void findByMac(benchmark::State& state) {
    find(state, byMac);
}
void findByIp(benchmark::State& state) {
    find(state, byIp);
}
void findByLogin(benchmark::State& state) {
    find(state, byLogin);
}
BENCHMARK(findByMac)->Arg(1000)->Arg(100000);
BENCHMARK(findByIp)->Arg(1000)->Arg(100000);
BENCHMARK(findByLogin)->Arg(1000)->Arg(100000);

}  // namespace

void printFindingRows(const Results& results) {
    const std::pair<const char*, const char*> keys[] = {
        {"MAC", "findByMac"}, {"IP", "findByIp"}, {"login", "findByLogin"}};
    for (const auto& [key, name] : keys) {
        const std::string inFew = std::string(name) + "/1000";
        const std::string inMany = std::string(name) + "/100000";
        if (!results.has(inFew) || !results.has(inMany)) {
            continue;
        }
        const double few = results.best(inFew);
        const double many = results.best(inMany);
        printRow("finding 1,000 stations by " + std::string(key) + " among 100,000 / among 1,000",
                 "at most 3 (constant but for caches)",
                 twoDigits(many / few) + " (" + twoDigits(many) + " / " + twoDigits(few) + " ns)",
                 many <= kMostGrowth * few);
    }
}

}  // namespace vesta::bench
