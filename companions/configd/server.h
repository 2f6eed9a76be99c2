#pragma once

// Answers a module that asks for its configuration. The file is read anew for each request, so a
// daemon that starts again gets what the file says then.
//
// Threads: one at a time.

#include <string>

namespace configd {

class Server {
public:
    explicit Server(std::string file) : file_(std::move(file)) {}

    // The frame for module `sender`; "" when the file has no configuration. The daemon asks once a
    // second until it is answered, so a problem is reported when it appears or changes, not each
    // time.
    [[nodiscard]] std::string answer(int sender);

private:
    const std::string file_;
    std::string problem_;  // of the last reading
};

}  // namespace configd
