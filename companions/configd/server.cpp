#include "configd/server.h"

#include "configd/document.h"
#include "ostrel/runtime.h"

namespace configd {

using ostrel::LogLevel;

std::string Server::answer(int sender) {
    Document document = readDocument(file_);
    const bool changed = document.problem != problem_;
    problem_ = document.problem;
    if (!problem_.empty()) {
        if (changed) {
            ostrel::report(LogLevel::error, "%s; module %d waits", problem_.c_str(), sender);
        }
        return "";
    }
    ostrel::report(changed ? LogLevel::warning : LogLevel::debug, "%s is served to module %d",
                   file_.c_str(), sender);
    return nlohmann::json{{"command", "initial-config"}, {"config", std::move(document.config)}}
        .dump();
}

}  // namespace configd
