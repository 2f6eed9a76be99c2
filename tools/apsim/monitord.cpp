#include "apsim/monitord.h"

#include <nlohmann/json.hpp>

namespace apsim {

namespace {

using Json = nlohmann::json;

std::string textOf(const Json& object, const char* name) {
    const auto member = object.find(name);
    return member != object.end() && member->is_string() ? member->get<std::string>() : "";
}

Json parseObject(const char* text) {
    Json message = Json::parse(text, nullptr, false);
    return message.is_object() ? message : Json::object();
}

}  // namespace

Monitord::Monitord(const Associations& associations, EventLog& log,
                   const std::string& runtimeDirectory)
    : associations_(associations),
      log_(log),
      traps_(IPC_MODULE_MONITORD_TRAPS,
             {{"cp-client-trap",
               [this](void* text, void*, int) { receiveTrap(static_cast<const char*>(text)); }}},
             runtimeDirectory),
      statistics_(IPC_MODULE_MONITORD_STATISTICS,
                  {{"get",
                    [this](void* text, void*, int sender) {
                        answerStatistics(static_cast<const char*>(text), sender);
                    }}},
                  runtimeDirectory) {}

void Monitord::receiveTrap(const char* text) {
    const Json event = parseObject(text).value("event", Json::object());
    std::string detail;
    for (const char* name : {"ip", "username", "ssid", "domain", "name"}) {
        const std::string value = textOf(event, name);
        if (!value.empty()) {
            detail += (detail.empty() ? "" : ", ") + std::string(name) + " " + value;
        }
    }
    log_.add(
        {Party::trap, textOf(event, "type"), {textOf(event, "dev"), textOf(event, "mac")}, detail});
}

void Monitord::answerStatistics(const char* text, int sender) {
    const Json request = parseObject(text);
    {
        ostrel::MutexLock lock(mutex_);
        if (!answering_ || textOf(request, "path") != "associated-clients") {
            return;
        }
    }
    const auto context = request.find("context");
    statistics_.sendAnswer(
        associations_.statisticsAnswer(context == request.end() ? "" : context->dump()), sender);
    ostrel::MutexLock lock(mutex_);
    ++answers_;
    answered_.notifyAll();
}

void Monitord::setAnswering(bool answering) {
    ostrel::MutexLock lock(mutex_);
    answering_ = answering;
}

std::uint64_t Monitord::answers() const {
    ostrel::MutexLock lock(mutex_);
    return answers_;
}

bool Monitord::waitForAnswers(std::uint64_t count, Milliseconds timeout) {
    const auto deadline = std::chrono::steady_clock::now() + timeout;
    ostrel::MutexLock lock(mutex_);
    while (answers_ < count) {
        const auto left = deadline - std::chrono::steady_clock::now();
        if (left <= left.zero()) {
            return false;
        }
        answered_.waitFor(mutex_, std::chrono::duration_cast<std::chrono::microseconds>(left));
    }
    return true;
}

}  // namespace apsim
