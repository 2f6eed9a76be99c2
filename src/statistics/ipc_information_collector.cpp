#include "statistics/ipc_information_collector.h"

#include <json-c/json.h>

#include <algorithm>
#include <cstdint>
#include <exception>
#include <limits>
#include <string>
#include <utility>

#include "core/data_parser.h"
#include "core/json_entry.h"
#include "core/logger.h"
#include "ostrel/clock.h"

namespace vesta {
namespace {

constexpr const char* kRequest = "{    \"command\": \"get\",    \"path\": \"associated-clients\",}";
constexpr int kTimeoutSeconds = 30;
// Four full instances.
constexpr std::size_t kMostStations = std::size_t{4} * 65536;
// One is the rule, asked every second; a peer that is this far behind is not asked more.
constexpr std::size_t kMostUnderWay = 3;
// An answer that is owed for longer may never come: monitord has ended, perhaps, and is back.
constexpr std::int64_t kPatience = 2000000;  // microseconds

// The answer is read straight from json-c. It brings ten counters for each of up to 100,000
// stations every second: an entry for every nested object, and an exception for every counter that
// a driver does not have, would cost more than the parse.

json_object* member(json_object* object, const char* key) {
    json_object* value = nullptr;
    json_object_object_get_ex(object, key, &value);  // false, and null, when it is no object
    return value;
}

std::string textOf(json_object* node) {
    if (!json_object_is_type(node, json_type_string)) {
        return "";
    }
    return {json_object_get_string(node),
            static_cast<std::size_t>(json_object_get_string_len(node))};
}

// A counter as text or as number, held within the type's limits; 0 when it is neither.
template <class Counter, class Text>
Counter counterOf(json_object* node) {
    switch (json_object_get_type(node)) {
        case json_type_string:
            return static_cast<Counter>(DataParser::stringToType<Text>(textOf(node)));
        case json_type_int:
        case json_type_double:
            return static_cast<Counter>(std::min<std::uint64_t>(
                json_object_get_uint64(node), std::numeric_limits<Counter>::max()));
        default:
            return 0;
    }
}

std::uint64_t bytesOf(json_object* direction) {
    return counterOf<std::uint64_t, long long>(member(direction, "bytes"));
}

std::uint32_t countOf(json_object* direction, const char* key) {
    return counterOf<std::uint32_t, unsigned int>(member(direction, key));
}

std::int32_t uptimeOf(json_object* station) {
    json_object* const node = member(station, "uptime");
    std::int64_t seconds = 0;
    if (json_object_is_type(node, json_type_string)) {
        seconds = DataParser::stringToType<long long>(textOf(node));
    } else if (json_object_is_type(node, json_type_int)) {
        seconds = json_object_get_int64(node);
    }
    return static_cast<std::int32_t>(
        std::clamp<std::int64_t>(seconds, std::numeric_limits<std::int32_t>::min(),
                                 std::numeric_limits<std::int32_t>::max()));
}

// False for an element that names no station.
bool addStation(json_object* station, std::vector<ClientStatisticInfo>& statistics) {
    const std::string interfaceName = textOf(member(station, "interface"));
    const std::string mac = textOf(member(station, "hw-addr"));
    if (interfaceName.empty() || mac.empty()) {
        return false;
    }
    json_object* const counters = member(station, "statistics");
    json_object* const rx = member(counters, "rx");
    json_object* const tx = member(counters, "tx");
    statistics.emplace_back(interfaceName, MacAddr(mac), bytesOf(rx), bytesOf(tx),
                            countOf(rx, "packets"), countOf(tx, "packets"),
                            countOf(rx, "dropped-packets"), countOf(tx, "dropped-packets"),
                            countOf(tx, "lost-packets"), countOf(tx, "dropped-bytes"),
                            countOf(rx, "dropped-bytes"), uptimeOf(station), 0L);
    return true;
}

// What is known of a request under way. It is closed when its callback is gone: after the work on
// the last frame, without an answer, or unsent.
struct Request {
    Request(std::shared_ptr<OpenQuestions> questions, std::int64_t now)
        : open(std::move(questions)), time(now) {}
    ~Request() { open->close(time); }
    Request(const Request&) = delete;
    Request& operator=(const Request&) = delete;

    const std::shared_ptr<OpenQuestions> open;
    const std::int64_t time;
    GatheredStatistics gathered;
};

}  // namespace

bool OpenQuestions::open(std::int64_t now) {
    const MutexLock lock(mutex_);
    const bool owesForLong =
        !times_.empty() && now - std::max(*times_.begin(), heardAt_) >= kPatience;
    const bool enough =
        owesForLong ? now - *times_.rbegin() < kPatience : times_.size() >= kMostUnderWay;
    if (!enough) {
        times_.insert(now);
    }
    return !enough;
}

void OpenQuestions::close(std::int64_t time) {
    const MutexLock lock(mutex_);
    times_.erase(times_.find(time));
}

void OpenQuestions::hear(std::int64_t now) {
    const MutexLock lock(mutex_);
    heardAt_ = now;
}

IPCInformationCollector::IPCInformationCollector(std::shared_ptr<IpcInterface> ipc)
    : ipc_(std::move(ipc)), open_(std::make_shared<OpenQuestions>()) {}

void IPCInformationCollector::getClientsInformation(InformationCaller* caller) {
    const std::int64_t now = ostrel::clock().monotonicMicroseconds();
    if (!open_->open(now)) {
        logger().Debug("%s: monitord owes answers, this round is skipped\n",
                       "getClientsInformation");
        return;
    }
    JsonEntry request(kRequest);
    const auto state = std::make_shared<Request>(open_, now);
    const auto callback = [state](void* response, void* context, int status) {
        if (response != nullptr) {
            state->open->hear(ostrel::clock().monotonicMicroseconds());
        }
        ipcResponseCallback(response, context, status, state->gathered);
    };
    // One that could not be sent is asked again with the next round.
    static_cast<void>(ipc_->async_send(request.getRowMessage(), IPC_MODULE_MONITORD_STATISTICS,
                                       caller, callback, kTimeoutSeconds));
}

void IPCInformationCollector::ipcResponseCallback(void* response, void* context, int status) {
    GatheredStatistics gathered;
    ipcResponseCallback(response, context, status, gathered);
}

void IPCInformationCollector::ipcResponseCallback(void* response, void* context, int status,
                                                  GatheredStatistics& gathered) {
    if (response == nullptr) {
        logger().Error("%s request without answer\n", "ipcResponseCallback");
        return;
    }
    try {
        gathered.usable = gathered.usable && parseResponseData(response, gathered.stations) &&
                          gathered.stations.size() <= kMostStations;
        if (!gathered.usable) {
            gathered.stations.clear();
        }
        if (status == IPC_MORE_FOLLOWS) {
            return;
        }
        if (gathered.usable) {
            static_cast<InformationCaller*>(context)->responseCallback(gathered.stations);
        }
    } catch (const std::exception& failure) {
        logger().Error("%s: statistics not taken: %s\n", "ipcResponseCallback", failure.what());
    } catch (...) {
        logger().Error("%s: statistics not taken\n", "ipcResponseCallback");
    }
}

bool IPCInformationCollector::parseResponseData(void* response,
                                                std::vector<ClientStatisticInfo>& statistics) {
    JsonEntry reply(response);
    json_object* const stations = member(static_cast<json_object*>(reply.getRowMessage()), "value");
    if (!json_object_is_type(stations, json_type_array)) {
        logger().Error("%s: the answer with the statistics has no array \"value\"\n",
                       "parseResponseData");
        return false;
    }
    const std::size_t count = json_object_array_length(stations);
    std::size_t skipped = 0;
    statistics.reserve(statistics.size() + count);
    for (std::size_t i = 0; i < count; ++i) {
        skipped += addStation(json_object_array_get_idx(stations, i), statistics) ? 0U : 1U;
        // Released while the processor has it at hand; after the last one it would be fetched anew.
        json_object_array_put_idx(stations, i, nullptr);
    }
    if (skipped > 0) {
        logger().Debug("%s: %zu records without \"interface\" or \"hw-addr\" skipped\n",
                       "parseResponseData", skipped);
    }
    return true;
}

}  // namespace vesta
