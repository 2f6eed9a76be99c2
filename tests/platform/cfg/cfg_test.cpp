#include "ostrel/cfg.h"

#include <gtest/gtest.h>

#include <memory>

namespace {

struct Release {
    void operator()(cfg_t* object) const { cfg_release(object); }
};
using Cfg = std::unique_ptr<cfg_t, Release>;

Cfg empty() {
    return Cfg(cfg_get_empty());
}

std::string json(const Cfg& object) {
    return cfg_json_source(object.get())->toJson();
}

TEST(Cfg, WritesMembersInOrderOfInsertion) {
    const Cfg trap = empty();
    const Cfg event = empty();
    cfg_set_param(trap.get(), "command", "cp-client-trap");
    cfg_insert_child(trap.get(), "event", event.get());
    // Filled after it was inserted: parent and maker share one object.
    cfg_set_param(event.get(), "type", "cp-deauth");
    cfg_set_param(event.get(), "ip", "");
    EXPECT_EQ(json(trap), R"({"command":"cp-client-trap","event":{"type":"cp-deauth","ip":""}})");
    EXPECT_EQ(json(empty()), "{}");
}

TEST(Cfg, ALaterValueReplacesWhateverStoodUnderTheName) {
    const Cfg object = empty();
    const Cfg child = empty();
    cfg_set_param(object.get(), "a", "1");
    cfg_set_param(object.get(), "b", "2");
    cfg_set_param(object.get(), "a", cfg_get_param(object.get(), "a"));
    EXPECT_EQ(json(object), R"({"a":"1","b":"2"})");

    cfg_insert_child(object.get(), "a", child.get());
    EXPECT_EQ(cfg_get_param(object.get(), "a"), nullptr);
    cfg_insert_child(object.get(), "a", child.get());
    EXPECT_EQ(json(object), R"({"a":{},"b":"2"})");

    cfg_set_param(object.get(), "a", "3");
    EXPECT_EQ(json(object), R"({"a":"3","b":"2"})");
    EXPECT_EQ(json(child), "{}");
}

TEST(Cfg, RefusesAChildThatWouldCloseACircle) {
    const Cfg top = empty();
    const Cfg middle = empty();
    const Cfg leaf = empty();
    ASSERT_EQ(cfg_insert_child(top.get(), "m", middle.get()), 0);
    ASSERT_EQ(cfg_insert_child(middle.get(), "l", leaf.get()), 0);
    EXPECT_EQ(cfg_insert_child(top.get(), "self", top.get()), -1);
    EXPECT_EQ(cfg_insert_child(leaf.get(), "top", top.get()), -1);
    // Twice the same child is no circle.
    EXPECT_EQ(cfg_insert_child(top.get(), "again", leaf.get()), 0);
    EXPECT_EQ(json(top), R"({"m":{"l":{}},"again":{}})");
}

}  // namespace
