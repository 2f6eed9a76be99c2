#pragma once

// What can be sent over the bus besides JSON text: anything that can write itself as JSON. It lets
// the bus send a configuration object without knowing that library.

#include <string>

namespace ostrel {

class JsonSource {
public:
    virtual ~JsonSource() = default;
    // The object as one JSON text in UTF-8.
    [[nodiscard]] virtual std::string toJson() const = 0;
};

}  // namespace ostrel
