#include "scenario/scenario_sequence.h"

#include <gmock/gmock.h>

#include <sstream>

#include "core/temporary_log.h"
#include "scenario/access_scenario_constraints.h"
#include "scenario/manageable_scenario_sequence.h"
#include "scenario/scenario_sequence_factory.h"
#include "support/fake_clock.h"
#include "support/keyed_scenarios.h"

namespace vesta {
namespace {

using testing::KeyedScenarios;
using testing::messages;
using testing::scenario;
using testing::sequence;

constexpr const char* kLogin =
    R"({"type": "forbid", "id": 0, "name": "login", "portal": "main", "auth": "guest"})";
constexpr const char* kGuest =
    R"({"type": "allow", "id": 1, "name": "guest", "session": 100, "deauth": "over"})";
constexpr const char* kRest = R"({"type": "allow", "id": 2, "name": "rest", "deauth": ""})";
constexpr const char* kOver =
    R"({"type": "forbid", "id": 3, "name": "over", "portal": "end", "auth": "guest"})";

std::string currentOf(const ScenarioSequence& target) {
    return target.getCurrent()->getScenarioName();
}

// Walks the road's words, "action:argument" and then ">" with the scenario
// entered or "!" where the sequence refused, and gives them back as they went.
std::string walk(ScenarioSequence& target, const std::string& road) {
    std::istringstream words(road);
    std::string walked;
    for (std::string word; words >> word;) {
        word.erase(word.find_first_of(">!"));
        const std::size_t colon = word.find(':');
        const std::string action = word.substr(0, colon);
        const std::string argument = colon < word.size() ? word.substr(colon + 1) : "";
        const bool entered =
            action == "auth"     ? target.set_auth_scenario_client()
            : action == "deauth" ? target.set_deauth_scenario_client()
            : action == "next"   ? target.switchScenario()
            : action == "change" ? target.changeScenario(argument)
            : action == "id"
                ? target.setCurrentScenario(static_cast<unsigned int>(std::stoul(argument)), 0)
                : target.setCurrentScenario(argument);
        walked += (walked.empty() ? "" : " ") + word + (entered ? ">" + currentOf(target) : "!");
    }
    return walked;
}

TEST(ScenarioSequence, MovesByItsScenariosRulesAlone) {
    const auto plain = sequence<ScenarioSequence>({kLogin, kGuest, kRest, kOver});
    const std::string road =
        "auth>guest deauth>over change:rest>rest deauth! next! id:0! name:login!";
    EXPECT_EQ(walk(*plain, road), road);
    std::vector<std::shared_ptr<Scenario>> more = {scenario(kLogin)};
    EXPECT_FALSE(plain->appendScenarios(more));
    EXPECT_EQ(currentOf(*plain), "rest");
    EXPECT_EQ(plain->getCount(), 4U);
}

TEST(ManageableScenarioSequence, TakesOrdersAndFallsBackToTheNextId) {
    const testing::FakeClock clock;
    const TemporaryLog log(4);
    const auto managed = sequence<ManageableScenarioSequence>({kLogin, kGuest, kRest, kOver});
    EXPECT_TRUE(managed->setCurrentScenario(1, 90));
    EXPECT_EQ(managed->getCurrent()->getScenarioTime(), 90) << "already spent";
    EXPECT_TRUE(managed->setCurrentScenario("guest"));
    EXPECT_EQ(managed->getCurrent()->getScenarioTime(), 0) << "by name it starts anew";
    const std::string road =
        "id:1>guest id:7! name:! name:Guest! name:rest>rest deauth>over deauth!";
    EXPECT_EQ(walk(*managed, road), road);
    EXPECT_EQ(currentOf(*managed), "over");
    EXPECT_THAT(log.records().back(),
                ::testing::AllOf(
                    ::testing::StartsWith("|DEBUG|switchScenario,"),
                    ::testing::HasSubstr(",Not found index 4 seems like scenario list is ended!")));
}

TEST(ScenarioSequence, KnowsTheLastByIdAndWhoHasPassedTheLogin) {
    const auto managed = sequence<ManageableScenarioSequence>({kRest, kLogin, kGuest, kOver});
    std::string known;
    for (const std::string name : {"rest", "login", "guest", "over"}) {
        managed->changeScenario(name);
        known += " " + name + (managed->isCurrentScenarioLast() ? ":last" : "") +
                 (managed->firstRedirectPassed() ? ":passed" : "");
    }
    EXPECT_EQ(known, " rest login guest:passed over:last:passed");
    EXPECT_EQ(managed->getFristRedirectPortalName(), "main");

    const auto open = sequence<ScenarioSequence>({kRest, kGuest});
    open->changeScenario("guest");
    EXPECT_FALSE(open->firstRedirectPassed());
    EXPECT_EQ(open->getFristRedirectPortalName(), "");
}

TEST(ScenarioSequence, ReportsOnTheScenarioBeforeTheCurrentOne) {
    const auto managed = sequence<ManageableScenarioSequence>({kGuest, kRest});
    managed->changeScenario("rest");
    EXPECT_TRUE(managed->clearExpireInfo());
    EXPECT_EQ(managed->getExpireInfo().first, "cleared");
    managed->changeScenario("guest");
    EXPECT_EQ(managed->getExpireInfo().first, "") << "in front of the first stands the last";
}

TEST(ManageableScenarioSequence, AppendsWhatItDoesNotHave) {
    const auto managed = sequence<ManageableScenarioSequence>({kOver, kGuest});
    std::vector<std::shared_ptr<Scenario>> list{
        scenario(R"({"type": "allow", "id": 7, "name": "c"})"), scenario(kGuest),
        scenario(R"({"type": "allow", "id": 8, "name": "d"})")};
    EXPECT_TRUE(managed->appendScenarios(list));
    ASSERT_EQ(list.size(), 2U);
    const std::string road = "id:2>c id:3>over id:2>c name:d>d";
    EXPECT_EQ(list[0]->getId(), 2U) << "on from the last one's";
    EXPECT_EQ(list[1]->getId(), 3U);
    EXPECT_EQ(walk(*managed, road), road);

    // What another client does with the same scenarios stays its own.
    const auto other = sequence<ManageableScenarioSequence>({kLogin});
    other->appendScenarios(list);
    AccessScenarioConstraints limits;
    limits.txMaxSpeed = 7;
    managed->updateScenarioConstraints(limits);
    EXPECT_TRUE(other->setCurrentScenario(2, 0));
    EXPECT_EQ(currentOf(*other), "d");
    EXPECT_EQ(other->getCurrent()->getTxMaxSpeed(), 0U);
    EXPECT_EQ(managed->getCurrent()->getTxMaxSpeed(), 7U);
    managed->appendScenarios(list);
    EXPECT_TRUE(list.empty());
    EXPECT_EQ(managed->getCount(), 4U);
}

TEST(ScenarioSequenceFactory, GivesEveryClientACopyOfItsOwn) {
    auto list = messages({kLogin, R"({"type": "none"})", kGuest});
    const ManageableScenarioSequenceFactory factory(list, std::make_shared<KeyedScenarios>());
    const auto first = factory.build();
    const auto second = factory.build();
    AccessScenarioConstraints limits;
    limits.rxMaxSpeed = 9;
    EXPECT_EQ(walk(*first, "name:guest>guest"), "name:guest>guest");
    first->updateScenarioConstraints(limits);

    EXPECT_EQ(factory.getFirstRedirectPortalName(), "main");
    EXPECT_EQ(currentOf(*second), "login");
    EXPECT_EQ(walk(*second, "id:1>guest id:2!"), "id:1>guest id:2!");
    EXPECT_EQ(second->getCurrent()->getRxMaxSpeed(), 0U);
    const ScenarioSequenceFactory plain(list, std::make_shared<KeyedScenarios>());
    EXPECT_FALSE(plain.build()->setCurrentScenario("guest"));
}

TEST(ScenarioSequence, NeedsAUsableScenario) {
    auto list = messages({"{}", R"({"type": "none"})"});
    const auto extractor = std::make_shared<KeyedScenarios>();
    EXPECT_THROW(ScenarioSequence(list, extractor), ENTRY_EXCEPTION_TYPE);
}

}  // namespace
}  // namespace vesta
