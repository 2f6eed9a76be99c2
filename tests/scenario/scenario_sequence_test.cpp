#include "scenario/scenario_sequence.h"

#include <gtest/gtest.h>

#include "core/temporary_log.h"
#include "messages/dump_dialect.h"
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

TEST(ScenarioSequence, MovesByItsScenariosRulesAlone) {
    const auto plain = sequence<ScenarioSequence>({kLogin, kGuest, kRest, kOver});
    EXPECT_TRUE(plain->set_auth_scenario_client());
    EXPECT_EQ(currentOf(*plain), "guest");
    EXPECT_TRUE(plain->set_deauth_scenario_client());
    EXPECT_EQ(currentOf(*plain), "over");
    EXPECT_TRUE(plain->changeScenario("rest"));
    EXPECT_FALSE(plain->set_deauth_scenario_client()) << "there is no name to go to";
    EXPECT_FALSE(plain->switchScenario());
    EXPECT_FALSE(plain->setCurrentScenario(0, 0));
    EXPECT_FALSE(plain->setCurrentScenario("login"));
    std::vector<std::shared_ptr<Scenario>> more = {scenario(kLogin)};
    EXPECT_FALSE(plain->appendScenarios(more));
    EXPECT_EQ(currentOf(*plain), "rest");
    EXPECT_EQ(plain->getCount(), 4U);
}

TEST(ManageableScenarioSequence, FallsBackToTheNextId) {
    const TemporaryLog log(4);
    const auto managed = sequence<ManageableScenarioSequence>({kLogin, kGuest, kRest, kOver});
    EXPECT_TRUE(managed->setCurrentScenario("rest"));
    EXPECT_TRUE(managed->set_deauth_scenario_client());
    EXPECT_EQ(currentOf(*managed), "over");
    EXPECT_TRUE(managed->isCurrentScenarioLast());
    EXPECT_FALSE(managed->set_deauth_scenario_client());
    EXPECT_EQ(currentOf(*managed), "over");
    const std::string last = log.records().back();
    EXPECT_EQ(last.rfind("|DEBUG|switchScenario,", 0), 0U) << last;
    EXPECT_NE(last.find(",Not found index 4 seems like scenario list is ended!"), std::string::npos)
        << last;
}

TEST(ManageableScenarioSequence, EntersByIdWithTheSessionAlreadySpent) {
    testing::FakeClock clock;
    const auto managed = sequence<ManageableScenarioSequence>({kLogin, kGuest});
    EXPECT_TRUE(managed->setCurrentScenario(1, 90));
    clock.advanceSeconds(11);
    EXPECT_TRUE(managed->getCurrent()->isExpired());
    EXPECT_FALSE(managed->setCurrentScenario(7, 0));
    EXPECT_FALSE(managed->setCurrentScenario(""));
    EXPECT_FALSE(managed->setCurrentScenario("Guest"));
    EXPECT_EQ(currentOf(*managed), "guest");
    EXPECT_TRUE(managed->setCurrentScenario("guest")) << "by name it starts anew";
    EXPECT_EQ(managed->getCurrent()->getScenarioTime(), 0);
}

TEST(ScenarioSequence, ToldByIdWhetherTheCurrentIsTheLast) {
    const auto managed = sequence<ManageableScenarioSequence>(
        {R"({"type": "allow", "id": 1, "name": "a"})", R"({"type": "allow", "id": 2, "name": "b"})",
         R"({"type": "allow", "id": 4, "name": "c"})"});
    EXPECT_FALSE(managed->isCurrentScenarioLast());
    managed->changeScenario("b");
    EXPECT_TRUE(managed->isCurrentScenarioLast());
}

TEST(ScenarioSequence, KnowsWhoHasPassedTheLogin) {
    const auto managed = sequence<ManageableScenarioSequence>({kRest, kLogin, kGuest});
    EXPECT_FALSE(managed->firstRedirectPassed());
    managed->changeScenario("login");
    EXPECT_FALSE(managed->firstRedirectPassed());
    managed->changeScenario("guest");
    EXPECT_TRUE(managed->firstRedirectPassed());
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
    auto managed =
        sequence<ManageableScenarioSequence>({R"({"type": "allow", "id": 9, "name": "a"})",
                                              R"({"type": "allow", "id": 5, "name": "b"})"});
    const auto offered = [] {
        return std::vector<std::shared_ptr<Scenario>>{
            scenario(R"({"type": "allow", "id": 1, "name": "c"})"),
            scenario(R"({"type": "allow", "id": 2, "name": "b"})"),
            scenario(R"({"type": "allow", "id": 3, "name": "d", "time": 1})")};
    };
    auto list = offered();
    EXPECT_TRUE(managed->appendScenarios(list));
    ASSERT_EQ(list.size(), 2U);
    EXPECT_EQ(list[0]->getId(), 6U);
    EXPECT_EQ(list[1]->getId(), 7U);
    EXPECT_EQ(currentOf(*managed), "a");
    EXPECT_TRUE(managed->setCurrentScenario(7, 0));
    EXPECT_EQ(currentOf(*managed), "d");

    // What another client does with the same scenarios stays its own.
    auto other = sequence<ManageableScenarioSequence>({kGuest});
    other->appendScenarios(list);
    AccessScenarioConstraints limits;
    limits.txMaxSpeed = 7;
    managed->updateScenarioConstraints(limits);
    EXPECT_TRUE(other->setCurrentScenario(3, 0));
    EXPECT_EQ(currentOf(*other), "d");
    EXPECT_EQ(other->getCurrent()->getTxMaxSpeed(), 0U);
    EXPECT_EQ(managed->getCurrent()->getTxMaxSpeed(), 7U);

    list = offered();
    managed->appendScenarios(list);
    EXPECT_TRUE(list.empty());
    EXPECT_EQ(managed->getCount(), 4U);
}

TEST(ScenarioSequence, DumpsWhatItIsAskedFor) {
    const auto managed = sequence<ManageableScenarioSequence>({kLogin, kGuest, kRest, kOver});
    managed->changeScenario("guest");
    const auto factory = std::make_shared<IPCDumpScenarioMessageFactory>();
    const auto namesOf = [](const ScenarioSequence::Messages& dumps) {
        std::string names;
        for (const auto& dump : dumps) {
            names += dump->getCharValue("name") + ' ';
        }
        return names;
    };
    EXPECT_EQ(namesOf(managed->dumpToMessages(factory)), "login guest rest over ");
    EXPECT_EQ(namesOf(managed->dumpActualToMessages(factory)), "rest over ");
    EXPECT_EQ(namesOf(managed->dumpCurrentToMessages(factory)), "guest ");
    EXPECT_TRUE(
        sequence<ScenarioSequence>({kLogin, kGuest})->dumpActualToMessages(factory).empty());
}

TEST(ScenarioSequenceFactory, GivesEveryClientACopyOfItsOwn) {
    auto list = messages({kLogin, R"({"type": "none"})", kGuest});
    const ManageableScenarioSequenceFactory factory(list, std::make_shared<KeyedScenarios>());
    const auto first = factory.build();
    const auto second = factory.build();
    AccessScenarioConstraints limits;
    limits.rxMaxSpeed = 9;
    EXPECT_TRUE(first->setCurrentScenario("guest"));
    first->updateScenarioConstraints(limits);

    EXPECT_EQ(factory.getFirstRedirectPortalName(), "main");
    EXPECT_EQ(second->getCount(), 2U);
    EXPECT_EQ(currentOf(*second), "login");
    EXPECT_TRUE(second->setCurrentScenario("guest"));
    EXPECT_EQ(second->getCurrent()->getRxMaxSpeed(), 0U);

    const ScenarioSequenceFactory plain(list, std::make_shared<KeyedScenarios>());
    EXPECT_FALSE(plain.build()->setCurrentScenario("guest"));
}

TEST(ScenarioSequenceDeathTest, WithoutAUsableScenarioEndsTheProcessOrIsThrown) {
    auto list = messages({"{}", R"({"type": "none"})"});
    const auto extractor = std::make_shared<KeyedScenarios>();
    EXPECT_EXIT(ScenarioSequence(list, extractor), ::testing::ExitedWithCode(255), "");
    EXPECT_THROW(ManageableScenarioSequence(list, extractor, EmptySequence::isThrown),
                 ENTRY_EXCEPTION_TYPE);
}

}  // namespace
}  // namespace vesta
