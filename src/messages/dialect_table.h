#pragma once

// A dialect is a table: one row a property that the dialect carries, with the key under which it
// stands and the conversion between the two. To carry one more property is one more row. A property
// without a row is neither written nor read.
//
// Tables are constants; all of this may be used on any thread.

#include <array>
#include <cstddef>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include "core/message_entry.h"

namespace vesta {

template <class Property, class Conversion>
struct DialectRow {
    Property property{};
    const char* key = nullptr;  // null: the dialect doesn't carry the property
    Conversion convert = nullptr;
};

// `Property` is an enum whose last value, `count`, is no property.
template <class Property, class Conversion>
class DialectTable {
public:
    using Row = DialectRow<Property, Conversion>;

    // Two rows of one property do not compile.
    template <std::size_t N>
    constexpr explicit DialectTable(const Row (&rows)[N]) {
        for (const Row& row : rows) {
            Row& place = rows_[static_cast<std::size_t>(row.property)];
            if (place.key != nullptr) {
                throw std::logic_error(row.key);
            }
            place = row;
        }
    }

    constexpr const Row& operator[](Property property) const {
        return rows_[static_cast<std::size_t>(property)];
    }

private:
    std::array<Row, static_cast<std::size_t>(Property::count)> rows_{};
};

// What a model object tells of one property: one of the three.
struct ToldValue {
    const std::string* text = nullptr;
    long long number = 0;
    const std::vector<std::shared_ptr<MessageEntry>>* entries = nullptr;
};
using Writer = void (*)(MessageEntry& message, const char* key, const ToldValue& value);

void writeText(MessageEntry& message, const char* key, const ToldValue& value);
// Nothing where the text is empty.
void writeTextUnlessEmpty(MessageEntry& message, const char* key, const ToldValue& value);
// The low 32 bits, as a signed number.
void writeNumber(MessageEntry& message, const char* key, const ToldValue& value);
// The id of a scenario, or their count, as peers count: without the first two, which belong to the
// daemon alone.
void writeSharedId(MessageEntry& message, const char* key, const ToldValue& value);
// "true" for a false value, "false" for a true one.
void writeOpposite(MessageEntry& message, const char* key, const ToldValue& value);
void writeEntries(MessageEntry& message, const char* key, const ToldValue& value);

// What a message says of one property: a text or a number.
struct ReadValue {
    std::string text;
    long long number = 0;
};
// Throws ENTRY_EXCEPTION_TYPE where the message lacks the key, or has it in another type.
using Reader = ReadValue (*)(MessageEntry& message, const char* key);

ReadValue readText(MessageEntry& message, const char* key);
// A number of 32 bits; a larger one is held within them.
ReadValue readNumber(MessageEntry& message, const char* key);
// A number of 64 bits.
ReadValue readBytes(MessageEntry& message, const char* key);
// The other way round of writeSharedId().
ReadValue readSharedId(MessageEntry& message, const char* key);

}  // namespace vesta
