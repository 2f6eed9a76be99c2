#pragma once

// What the portal reads from the configuration document. Every operation throws
// ENTRY_EXCEPTION_TYPE for a required key that is missing, after logging which.

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "core/message_entry.h"

namespace vesta {

class WhiteAddressesList;
class WhiteListExtractor;

class PortalConfiguration {
public:
    using Entry = std::shared_ptr<MessageEntry>;
    using Lists = std::vector<std::shared_ptr<WhiteAddressesList>>;
    // `entry` is an element of "interface", `vap` its own settings.
    using VisitVap = std::function<void(const Entry& entry, const Entry& vap)>;

    explicit PortalConfiguration(const Entry& document);

    // The global white lists; one without name or values is left out.
    [[nodiscard]] Lists whiteLists() const;
    // The given value where it is not empty, else the document's.
    [[nodiscard]] std::string uplinkInterface(const std::string& given) const;
    [[nodiscard]] std::string apLocation(const std::string& given) const;
    // Every enabled VAP, in the document's order.
    void forEachEnabledVap(const VisitVap& visit) const;

    // The name of the interface.
    [[nodiscard]] static std::string nameOf(const Entry& entry);
    // The same for log records, also where there is none.
    [[nodiscard]] static std::string nameForRecords(const Entry& entry);

private:
    [[nodiscard]] std::string textOfSection(const char* key) const;

    Entry document_;
    Entry section_;  // "captive-portal"
};

}  // namespace vesta
