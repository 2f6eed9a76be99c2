#include "core/json_entry.h"

#include <gtest/gtest.h>

#include <functional>
#include <random>
#include <stdexcept>

namespace vesta {
namespace {

using Entry = std::shared_ptr<MessageEntry>;

Entry make(const std::string& text) {
    return std::make_shared<JsonEntry>(text);
}

std::string joined(const std::vector<Entry>& entries) {
    std::string text;
    for (const auto& entry : entries) {
        text += std::string(entry->getStringRepresentation()) + ";";
    }
    return text;
}

// What a look-up gave, as text: the value, or what was thrown.
std::string outcome(const std::function<std::string()>& read) {
    try {
        return read();
    } catch (ENTRY_EXCEPTION_TYPE reason) {
        return reason == ENTRY_NOT_FOUND ? "absent" : "type";
    }
}

TEST(JsonEntry, GettersTakeTheTypesThatTheyName) {
    const Entry entry = make(
        R"({"null": null, "true": true, "false": false, "TRUE": "TRUE", "yes": "yes", "int": 4,)"
        R"( "double": 4.5, "text": "12abc", "big": "5000000000", "object": {"x": 1, "y": "z"},)"
        R"( "array": [1, null, "z"],})");
    const struct {
        const char *key, *asBool, *asDouble, *asInt, *asChar, *asObject, *asArray;
    } rows[] = {
        {"none", "absent", "absent", "absent", "absent", "absent", "absent"},
        {"null", "type", "type", "type", "type", "type", "type"},
        {"true", "1", "type", "type", "type", "type", "type"},
        {"false", "0", "type", "type", "type", "type", "type"},
        {"TRUE", "1", "type", "0", "TRUE", "type", "type"},
        {"yes", "0", "type", "0", "yes", "type", "type"},
        {"int", "type", "type", "4", "type", "type", "type"},
        {"double", "type", "4.500000", "type", "type", "type", "type"},
        {"text", "0", "type", "12", "12abc", "type", "type"},
        {"big", "0", "type", "2147483647", "5000000000", "type", "type"},
        {"object", "type", "type", "type", "type", "z", "1;\"z\";"},
        {"array", "type", "type", "type", "type", "type", "1;null;\"z\";"},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.key);
        const auto key = row.key;
        EXPECT_EQ(outcome([&] { return std::to_string(entry->getBoolValue(key)); }), row.asBool);
        EXPECT_EQ(outcome([&] { return std::to_string(entry->getDoubleValue(key)); }),
                  row.asDouble);
        EXPECT_EQ(outcome([&] { return std::to_string(entry->getIntValue(key)); }), row.asInt);
        EXPECT_EQ(outcome([&] { return entry->getCharValue(key); }), row.asChar);
        EXPECT_EQ(outcome([&] { return entry->getObjectValue(key)->getCharValue("y"); }),
                  row.asObject);
        EXPECT_EQ(outcome([&] { return joined(entry->getArrayValue(key)); }), row.asArray);
        EXPECT_THROW(entry->addToArrayValue(key, entry), ENTRY_EXCEPTION_TYPE);
    }
}

TEST(JsonEntry, ThatIsNoObjectRefusesEveryKey) {
    const struct {
        const char *text, *list, *write;
    } rows[] = {{"no JSON", "absent", "absent"},
                {"{,}", "absent", "absent"},
                {"null", "absent", "absent"},
                {"\"text\"", "type", "type"},
                {"[1,2]", "1;2;", "type"}};
    for (const auto& row : rows) {
        SCOPED_TRACE(row.text);
        const Entry entry = make(row.text);
        EXPECT_EQ(outcome([&] { return joined(entry->getArrayValue()); }), row.list);
        EXPECT_EQ(outcome([&] { return entry->getCharValue("k"); }), "absent");
        EXPECT_EQ(outcome([&] { return (entry->insertIntValue("k", 1), "done"); }), row.write);
        EXPECT_EQ(outcome([&] { return (entry->insertObjectValue("k", entry), "done"); }),
                  row.write);
        EXPECT_EQ(outcome([&] { return (entry->insertArrayValue("k", {entry}), "done"); }),
                  row.write);
        EXPECT_EQ(outcome([&] { return (entry->removeValue("k"), "done"); }), row.write);
    }
    EXPECT_THROW(JsonEntry(static_cast<void*>(nullptr)), ENTRY_EXCEPTION_TYPE);
    EXPECT_THROW(JsonEntry(static_cast<const char*>(nullptr)).getArrayValue(),
                 ENTRY_EXCEPTION_TYPE);
}

TEST(JsonEntry, StoresAnEmptyEntryAsNull) {
    const Entry entry = make("{}");
    entry->insertArrayValue("a", {make("no JSON"), make("1"), nullptr});
    EXPECT_EQ(joined(entry->getArrayValue("a")), "null;1;null;");
}

// One of the things that a holder of entries may do; returns the entry that takes `target`'s place.
Entry apply(unsigned int action, const char* key, const Entry& target, const Entry& source) try {
    switch (action) {
        case 0:
            target->insertIntValue(key, 1);
            return target;
        case 1:
            target->removeValue(key);
            return target;
        case 2:
            target->insertObjectValue(key, source);
            return target;
        case 3:
            target->insertArrayValue(key, {source, target, source});
            return target;
        case 4:
            return source->getObjectValue(key);
        default:
            return source->getArrayValue(key).at(0);
    }
} catch (ENTRY_EXCEPTION_TYPE) {
    return target;
} catch (const std::out_of_range&) {
    return target;
}

// Entries share nodes behind the scenes. Beside every entry runs its text, from which each step is
// made anew with nothing shared; whatever the steps, no entry may ever differ from its text.
TEST(JsonEntry, SharingNodesIsInvisible) {
    constexpr std::size_t kLongestText = 1500;
    const std::string start = make(R"({"a": {"b": {"c": 1}, "a": {}}, "c": [{"a": 1}, {"b": {}}]})")
                                  ->getStringRepresentation();
    std::mt19937 random(1);
    std::vector<std::string> texts(5);
    std::vector<Entry> entries(texts.size());
    int handedOut = 0;
    for (int step = 0; step < 20000; ++step) {
        const std::size_t to = random() % entries.size();
        const std::size_t from = random() % entries.size();
        for (const std::size_t i : {to, from}) {
            if (texts[i].size() < start.size() / 4 || texts[i].size() > kLongestText) {
                texts[i] = start;
                entries[i] = make(start);
            }
        }
        const auto action = static_cast<unsigned int>(random() % 6);
        const std::string key(1, "abc"[random() % 3]);
        const Entry target = make(texts[to]);
        const Entry fresh =
            apply(action, key.c_str(), target, from == to ? target : make(texts[from]));
        handedOut += fresh != target ? 1 : 0;
        texts[to] = fresh->getStringRepresentation();
        entries[to] = apply(action, key.c_str(), entries[to], entries[from]);
        for (std::size_t i = 0; i < entries.size(); ++i) {
            ASSERT_TRUE(entries[i] == nullptr || entries[i]->getStringRepresentation() == texts[i])
                << "entry " << i << " after step " << step << ", action " << action << " on " << to;
        }
    }
    EXPECT_GT(handedOut, 1000) << "the steps met too few members to mean anything";
}

TEST(JsonEntry, ANodeFromElsewhereStaysUnchanged) {
    JsonEntry origin("{}");
    JsonEntry(origin.getRowMessage()).insertIntValue("b", 1);
    EXPECT_THROW(origin.getIntValue("b"), ENTRY_EXCEPTION_TYPE);
}

}  // namespace
}  // namespace vesta
