// docs/configuration.md against what the daemon reads.

#include <gmock/gmock.h>

#include <fstream>
#include <map>
#include <memory>
#include <nlohmann/json.hpp>
#include <regex>
#include <set>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include "apb/apbd_collaborator.h"
#include "core/json_entry.h"
#include "core/logger.h"
#include "core/singleton.h"
#include "ostrel/ipc.h"
#include "portal/portal.h"
#include "radius/radius_listener.h"
#include "support/runtime_directory.h"

namespace vesta::testing {
namespace {

using nlohmann::json;
using Entry = std::shared_ptr<MessageEntry>;
using Types = std::map<std::string, std::string>;  // of keys by their paths

// A scenario's keys stand under its kind: each kind has its own.
std::string elementPath(const std::string& array, const json& element) {
    return element.is_object() && element.contains("access-type")
               ? array + "." + element["access-type"].get<std::string>()
               : array;
}

std::string joined(const std::string& path, const std::string& key) {
    return path.empty() ? key : path + "." + key;
}

// Notes every key that it is asked for, and the type.
class RecordingEntry final : public MessageEntry {
public:
    using MessageEntry::getArrayValue;

    RecordingEntry(Entry entry, std::string path, Types& asked)
        : entry_(std::move(entry)), path_(std::move(path)), asked_(asked) {}

    bool getBoolValue(const char* key) override {
        note(key, "bool");
        return entry_->getBoolValue(key);
    }
    double getDoubleValue(const char* key) override {
        note(key, "double");
        return entry_->getDoubleValue(key);
    }
    int getIntValue(const char* key) override {
        note(key, "int");
        return entry_->getIntValue(key);
    }
    std::string getCharValue(const char* key) override {
        note(key, "text");
        return entry_->getCharValue(key);
    }
    Entry getObjectValue(const char* key) override {
        const std::string path = note(key, "object");
        return std::make_shared<RecordingEntry>(entry_->getObjectValue(key), path, asked_);
    }
    std::vector<Entry> getArrayValue(const char* key) override {
        const std::string path = note(key, "array");
        std::vector<Entry> elements = entry_->getArrayValue(key);
        for (Entry& element : elements) {
            const json content = json::parse(element->getStringRepresentation());
            element = std::make_shared<RecordingEntry>(element, elementPath(path, content), asked_);
        }
        return elements;
    }
    const char* getStringRepresentation() override { return entry_->getStringRepresentation(); }
    void insertBoolValue(const char*, bool) override {}
    void insertDoubleValue(const char*, double) override {}
    void insertIntValue(const char*, int) override {}
    void insertStringValue(const char*, const char*) override {}
    void insertObjectValue(const char*, Entry) override {}
    void addToArrayValue(const char*, Entry) override {}
    void insertArrayValue(const char*, std::vector<Entry>) override {}
    void removeValue(const char*) override {}

private:
    std::string note(const char* key, const char* type) {
        std::string path = joined(path_, key);
        asked_[path] = type;
        return path;
    }

    Entry entry_;
    std::string path_;
    Types& asked_;
};

struct Page {
    Types types;
    std::set<std::string> required;
    json document;  // the complete one
};

// The names in quotes, joined to a path: "vap"."ssid" is vap.ssid.
std::string pathIn(const std::string& text) {
    static const std::regex quoted("\"([^\"]+)\"");
    std::string path;
    for (std::sregex_iterator name(text.begin(), text.end(), quoted), end; name != end; ++name) {
        path = joined(path, (*name)[1]);
    }
    return path;
}

// Headings name the object whose keys the table below them lists; a row is "| key | type[,
// required] | [kind of scenario |] ...".
Page readPage() {
    std::ifstream file(VESTA_DOCS "/configuration.md");
    Page page;
    std::string object;
    std::string code;
    bool inCode = false;
    for (std::string line; std::getline(file, line);) {
        if (line.rfind("```", 0) == 0) {
            inCode = !inCode;
        } else if (inCode) {
            code += line;
        } else if (line.rfind("#", 0) == 0) {
            object = pathIn(line);
        } else if (line.rfind("| \"", 0) == 0) {
            static const std::regex row(
                R"(\| (.*?) \| (\w+)(.*?) \| (?:(all|allow|forbid|drop) \|)?.*)");
            std::smatch cells;
            EXPECT_TRUE(std::regex_match(line, cells, row)) << line;
            std::vector<std::string> objects{object};
            if (cells[4] == "all") {
                objects = {object + ".allow", object + ".forbid", object + ".drop"};
            } else if (cells[4].matched) {
                objects = {object + "." + cells[4].str()};
            }
            for (const std::string& parent : objects) {
                const std::string path = joined(parent, pathIn(cells[1]));
                page.types[path] = cells[2];
                if (cells[3].str().find("required") != std::string::npos) {
                    page.required.insert(path);
                }
            }
        }
    }
    page.document = json::parse(code);
    return page;
}

void collectPaths(const json& node, const std::string& path, std::set<std::string>& paths) {
    if (node.is_array()) {
        for (const json& element : node) {
            collectPaths(element, elementPath(path, element), paths);
        }
    } else if (node.is_object()) {
        for (const auto& [key, value] : node.items()) {
            paths.insert(joined(path, key));
            collectPaths(value, joined(path, key), paths);
        }
    }
}

// Removes the key at `path` where it first occurs.
bool erase(json& node, const std::string& here, const std::string& path) {
    if (node.is_array()) {
        for (json& element : node) {
            if (erase(element, elementPath(here, element), path)) {
                return true;
            }
        }
    } else if (node.is_object()) {
        for (auto& [key, value] : node.items()) {
            const std::string member = joined(here, key);
            if (member == path) {
                node.erase(key);
                return true;
            }
            if (path.rfind(member, 0) == 0 && erase(value, member, path)) {
                return true;
            }
        }
    }
    return false;
}

class ConfigurationKeys : public ::testing::Test {
protected:
    ConfigurationKeys() {
        page_.document["captive-portal"]["logfile"] = "";
        page_.document["captive-portal"]["uplink-interface"] = "lo";
    }
    ~ConfigurationKeys() override { Singleton<RadiusListener>::getInstance().stop(); }

    // All that reads the document when the daemon starts.
    Types read(const json& document) {
        Types asked;
        const auto entry = std::make_shared<RecordingEntry>(
            std::make_shared<JsonEntry>(document.dump()), "", asked);
        Logger().setTraceOpts(entry);
        const auto portal = std::make_shared<Portal>(ipc_, entry, "", "");
        const APBDCollaborator apbd(entry, ipc_, portal);
        return asked;
    }

    RuntimeDirectory directory_;
    std::shared_ptr<IpcInterface> ipc_ =
        std::make_shared<IpcInterface>(IPC_MODULE_VESTAD, false, 5);
    Page page_ = readPage();
};

TEST_F(ConfigurationKeys, AreDocumentedWithTheTypesInWhichTheyAreRead) {
    EXPECT_EQ(json::diff(page_.types, read(page_.document)), json::array());
}

TEST_F(ConfigurationKeys, StandAllInTheCompleteDocument) {
    std::set<std::string> present;
    collectPaths(page_.document, "", present);
    for (const auto& [path, type] : page_.types) {
        EXPECT_EQ(present.erase(path), 1U) << path;
    }
    EXPECT_THAT(present, ::testing::IsEmpty());
}

TEST_F(ConfigurationKeys, EndTheDaemonWhereARequiredOneIsMissing) {
    // A second VAP stays, as the daemon ends without any.
    page_.document["interface"].push_back(page_.document["interface"][0]);
    for (const auto& [path, type] : page_.types) {
        SCOPED_TRACE(path);
        json document = page_.document;
        ASSERT_TRUE(erase(document, "", path));
        if (page_.required.count(path) != 0) {
            EXPECT_THROW(read(document), ENTRY_EXCEPTION_TYPE);
        } else {
            EXPECT_NO_THROW(read(document));
        }
    }
}

}  // namespace
}  // namespace vesta::testing
