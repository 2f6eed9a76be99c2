// docs/configuration.md against what the daemon reads.

#include <map>
#include <regex>
#include <set>
#include <utility>

#include "core/logger.h"
#include "portal_fixture.h"
#include "radius/radius_listener.h"

namespace vesta::testing {
namespace {

using Entry = std::shared_ptr<MessageEntry>;
using Place = json::json_pointer;
using Types = std::map<std::string, std::string>;  // of keys, by their places or names

// Notes every key that it is asked for, and the type.
class RecordingEntry final : public MessageEntry {
public:
    using MessageEntry::getArrayValue;

    RecordingEntry(Entry entry, Place place, Types& asked)
        : entry_(std::move(entry)), place_(std::move(place)), asked_(asked) {}

    bool getBoolValue(const char* key) override { return noted(key, "bool").getBoolValue(key); }
    double getDoubleValue(const char*) override { throw ENTRY_WRONG_TYPE; }  // no key has one
    int getIntValue(const char* key) override { return noted(key, "int").getIntValue(key); }
    std::string getCharValue(const char* key) override {
        return noted(key, "text").getCharValue(key);
    }
    Entry getObjectValue(const char* key) override {
        return recording(noted(key, "object").getObjectValue(key), place_ / key);
    }
    std::vector<Entry> getArrayValue(const char* key) override {
        std::vector<Entry> elements = noted(key, "array").getArrayValue(key);
        for (std::size_t i = 0; i < elements.size(); ++i) {
            elements[i] = recording(elements[i], place_ / key / i);
        }
        return elements;
    }
    void insertBoolValue(const char*, bool) override {}
    void insertDoubleValue(const char*, double) override {}
    void insertIntValue(const char*, int) override {}
    void insertStringValue(const char*, const char*) override {}
    void insertObjectValue(const char*, Entry) override {}
    void addToArrayValue(const char*, Entry) override {}
    void insertArrayValue(const char*, std::vector<Entry>) override {}
    void removeValue(const char*) override {}

private:
    MessageEntry& noted(const char* key, const char* type) {
        asked_[(place_ / key).to_string()] = type;
        return *entry_;
    }
    Entry recording(const Entry& entry, const Place& place) {
        return std::make_shared<RecordingEntry>(entry, place, asked_);
    }

    Entry entry_;
    Place place_;
    Types& asked_;
};

struct Page {
    Types types;
    std::set<std::string> required;
    json document;  // the complete one
};

// The names in quotes as a path: of "vap"."ssid" /vap/ssid.
std::string pathIn(const std::string& text) {
    static const std::regex quoted("\"([^\"]+)\"");
    return std::regex_replace(text, quoted, "/$1", std::regex_constants::format_no_copy);
}

// Headings name the object whose keys the table below them lists; a row is "| key | type[,
// required] | [kind of scenario |] ...". Each kind of scenario has keys of its own: their names
// begin with the kind.
Page readPage() {
    static const std::regex row(
        R"(\| (".*?) \| (\w+)(, required)?.*? \| (?:(all|allow|forbid|drop) \|)?.*)");
    const std::string text = pageText("configuration.md");
    const std::size_t code = text.find("```json") + 7;
    Page page;
    page.document = json::parse(text.substr(code, text.find("```", code) - code));
    std::istringstream lines(text);
    std::string object;
    for (std::string line; std::getline(lines, line);) {
        std::smatch cells;
        if (line.rfind("#", 0) == 0) {
            object = pathIn(line);
        } else if (std::regex_match(line, cells, row)) {
            std::vector<std::string> kinds{cells[4]};
            if (cells[4] == "all") {
                kinds = {"allow", "forbid", "drop"};
            }
            for (const std::string& kind : kinds) {
                const std::string name = kind + object + pathIn(cells[1]);
                page.types[name] = cells[2];
                if (cells[3].matched) {
                    page.required.insert(name);
                }
            }
        }
    }
    return page;
}

class ConfigurationKeys : public ::testing::Test {
protected:
    ConfigurationKeys() {
        page_.document["captive-portal"]["logfile"] = "";
        page_.document["captive-portal"]["uplink-interface"] = "lo";
    }
    ~ConfigurationKeys() override { Singleton<RadiusListener>::getInstance().stop(); }

    // All that reads the document when the daemon starts. The result is by places.
    Types read(const json& document) {
        Types asked;
        const auto entry = std::make_shared<RecordingEntry>(
            std::make_shared<JsonEntry>(document.dump()), Place(), asked);
        Logger().setTraceOpts(entry);
        const auto portal = std::make_shared<Portal>(ipc_, entry, "", "");
        const APBDCollaborator apbd(entry, ipc_, portal);
        return asked;
    }

    // The page's name of the key at `place`.
    std::string nameOf(const std::string& place) const {
        static const std::regex index("/[0-9]+");
        return page_.document[Place(place).parent_pointer()].value("access-type", "") +
               std::regex_replace(place, index, "");
    }

    RuntimeDirectory directory_;
    std::shared_ptr<IpcInterface> ipc_ =
        std::make_shared<IpcInterface>(IPC_MODULE_VESTAD, false, 5);
    Page page_ = readPage();
};

TEST_F(ConfigurationKeys, AreDocumentedWithTheTypesInWhichTheyAreRead) {
    const Types asked = read(page_.document);
    Types named;
    for (const auto& [place, type] : asked) {
        named[nameOf(place)] = type;
    }
    EXPECT_EQ(json::diff(page_.types, named), json::array());
    const json leaves = page_.document.flatten();
    for (const auto& [place, value] : leaves.items()) {
        EXPECT_EQ(asked.count(place), 1U) << place << " is never read";
    }
}

TEST_F(ConfigurationKeys, EndTheDaemonWhereARequiredOneIsMissing) {
    const Types asked = read(page_.document);
    // A second VAP stays, as the daemon ends without any.
    page_.document["interface"].push_back(page_.document["interface"][0]);
    for (const auto& [place, type] : asked) {
        SCOPED_TRACE(place);
        json document = page_.document;
        const Place key(place);
        ASSERT_EQ(document[key.parent_pointer()].erase(key.back()), 1U);
        if (page_.required.count(nameOf(place)) != 0) {
            EXPECT_THROW(read(document), ENTRY_EXCEPTION_TYPE);
        } else {
            EXPECT_NO_THROW(read(document));
        }
    }
}

}  // namespace
}  // namespace vesta::testing
