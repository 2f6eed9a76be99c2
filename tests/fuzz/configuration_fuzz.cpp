// Any text as the configuration document. The daemon ends with a reason, or it serves every VAP
// that is in order: one stands behind those of the document, and lets nobody in by itself.

#include "fuzz/daemon.h"
#include "ipc/portal_fixture.h"
#include "portal/config_dialect.h"
#include "portal/portal_configuration.h"
#include "radius/radius_listener.h"
#include "scenario/scenario_sequence_factory.h"
#include "support/radius_instance.h"

namespace {

using namespace fuzz;

// The daemon would begin to write its log there.
void forgetLogFile(json_object* document) {
    json_object* const section = member(document, "captive-portal");
    if (member(section, "logfile") != nullptr) {
        json_object_object_add(section, "logfile", json_object_new_string(""));
    }
}

void addGoodVap(json_object* document) {
    static const std::string text =
        vesta::testing::vapText("wlan9-va1", "Good", "local", vesta::testing::kLoginAndGuest);
    json_object* const vap = json_tokener_parse(text.c_str());
    json_object* const interfaces = member(document, "interface");
    if (json_object_is_type(interfaces, json_type_array) != 0) {
        json_object_array_add(interfaces, vap);
    } else if (json_object_is_type(interfaces, json_type_object) != 0) {
        json_object_object_add(interfaces, "good", vap);
    } else {
        json_object_put(vap);
    }
}

// Whether a VAP has no valid scenario: the daemon ends, and would take this process along.
bool endsTheDaemon(const std::shared_ptr<vesta::MessageEntry>& document) {
    bool ends = false;
    const auto look = [&](const auto& entry, const auto& vap) {
        vesta::ConfigInstanceMessageExtractor extractor(
            std::make_shared<vesta::testing::SilentStore>(), "",
            vesta::PortalConfiguration::nameForRecords(entry));
        if (extractor.extractInstanceEnabled(vap)) {
            auto scenarios = extractor.extractScenarios(vap);
            ends = true;
            const vesta::ScenarioSequenceFactory factory(scenarios,
                                                         extractor.getScenarioExtractor());
            ends = false;
        }
    };
    try {
        vesta::PortalConfiguration(document).forEachEnabledVap(look);
    } catch (const vesta::ENTRY_EXCEPTION_TYPE&) {
    }
    return ends;
}

class Configuration final : public Outside<vesta::testing::PortalFixture> {
public:
    void read(json_object* document) {
        forgetLogFile(document);
        addGoodVap(document);
        const auto entry = std::make_shared<vesta::JsonEntry>(static_cast<void*>(document));
        try {
            vesta::logger().setTraceOpts(entry);
            if (endsTheDaemon(entry)) {
                return;
            }
            vesta::Portal portal(ipc_, entry, "", "");
            const vesta::APBDCollaborator apbd(entry, ipc_, portal_);
            constexpr const char* kMac = "02:00:00:00:00:01";
            require(portal.addClient(vesta::MacAddr(kMac), "10.0.0.1", 1500, "wlan9-va1"));
            require(!isAdmitted(portal, kMac));
        } catch (const vesta::ENTRY_EXCEPTION_TYPE&) {
        }
        // The portal and its RADIUS clients are gone, so nothing is left to listen for.
        vesta::Singleton<vesta::RadiusListener>::getInstance().stop();
    }
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static Configuration configuration;
    const auto document = readMessage({data, data + size});
    if (document != nullptr) {
        configuration.read(document.get());
    }
    return 0;
}
