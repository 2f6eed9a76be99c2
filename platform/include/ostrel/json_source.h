#pragma once

// An object that writes itself as JSON. The bus sends it without knowing the library that made it,
// such as that of configuration objects.

#include <string>

namespace ostrel {

class JsonSource {
public:
    virtual ~JsonSource() = default;
    // The object as one JSON text in UTF-8, a copy. Called on the thread that sends.
    [[nodiscard]] virtual std::string toJson() const = 0;
};

}  // namespace ostrel
