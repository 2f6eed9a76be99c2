#include "monitord/monitor.h"

#include <json-c/json.h>
#include <sys/eventfd.h>
#include <unistd.h>

#include <algorithm>
#include <cstring>

#include "monitord/answer.h"
#include "ostrel/clock.h"

namespace monitord {
namespace {

constexpr int kBacklog = 16;
// Those who ask more are no daemons; the bus gives up on them.
constexpr std::size_t kMostQuestions = 1000;
constexpr std::chrono::milliseconds kTick{1000};
// A station that came less than this before a crash looks new after it, as it is.
constexpr Time kSaveEveryMs = 5000;

bool asksForStations(json_object* request) {
    json_object* path = nullptr;
    return json_object_object_get_ex(request, "path", &path) &&
           json_object_is_type(path, json_type_string) &&
           std::strcmp(json_object_get_string(path), "associated-clients") == 0;
}

std::string contextOf(json_object* request) {
    json_object* context = nullptr;
    return json_object_object_get_ex(request, "context", &context)
               ? json_object_to_json_string_ext(context, JSON_C_TO_STRING_PLAIN)
               : "";
}

}  // namespace

Monitor::Monitor(companion::EventLoop& loop, const Options& options)
    : loop_(loop),
      asked_(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)),
      stations_(options.goneAfterSeconds * Time{1000}),
      presence_(stations_),
      hostapd_(loop, options.hostapdDirectory,
               [this](const std::string& device, std::optional<RadioList> list) {
                   stations_.setRadio(device, std::move(list));
               }),
      file_(ostrel::runtimeDirectory() + "/monitord.stations"),
      lookEveryMs_(std::clamp<Time>(options.goneAfterSeconds * Time{1000} / 12, 1000, 5000)),
      statisticsBus_(IPC_MODULE_MONITORD_STATISTICS, false, kBacklog),
      trapBus_(IPC_MODULE_MONITORD_TRAPS, false, kBacklog) {
    file_.load(stations_, ostrel::monotonicMilliseconds());
    tick();
    loop_.whenReadable(asked_.get(), [this] { answerQuestions(); });
    loop_.every(kTick, [this] { tick(); });
    statisticsThread_ = std::thread([this] {
        statisticsBus_.process(
            {{"get", [this](void*, void* request, int sender) { takeQuestion(request, sender); }}});
    });
    trapThread_ = std::thread([this] {
        trapBus_.process({{"cp-client-trap", [this](void* text, void*, int) {
                               traps_.write(static_cast<const char*>(text));
                           }}});
    });
}

Monitor::~Monitor() {
    statisticsBus_.stop();
    trapBus_.stop();
    statisticsThread_.join();
    trapThread_.join();
    loop_.forget(asked_.get());
    file_.save(stations_);
}

void Monitor::takeQuestion(void* request, int sender) {
    auto* const object = static_cast<json_object*>(request);
    if (!asksForStations(object)) {
        ostrel::report(ostrel::LogLevel::debug, "module %d asks for a path that is not served",
                       sender);
        return;
    }
    {
        const ostrel::MutexLock lock(mutex_);
        if (questions_.size() >= kMostQuestions) {
            return;
        }
        questions_.push_back({sender, contextOf(object)});
    }
    const std::uint64_t one = 1;
    // It fails only when the counter is full, and then the loop is awake.
    static_cast<void>(!write(asked_.get(), &one, sizeof one));
}

void Monitor::answerQuestions() {
    std::uint64_t count = 0;
    static_cast<void>(!read(asked_.get(), &count, sizeof count));
    std::vector<Question> questions;
    {
        const ostrel::MutexLock lock(mutex_);
        questions.swap(questions_);
    }
    if (questions.empty()) {
        return;
    }
    sample();
    for (const auto& [sender, context] : questions) {
        if (!statisticsBus_.sendAnswer(statisticsAnswer(stations_, context, sampled_), sender)) {
            ostrel::report(ostrel::LogLevel::debug, "module %d can't be answered", sender);
        }
    }
}

void Monitor::sample() {
    sampled_ = ostrel::monotonicMilliseconds();
    stations_.takeCounters(counters_.read(), sampled_);
    stations_.judge(sampled_);
}

void Monitor::tick() {
    const Time now = ostrel::monotonicMilliseconds();
    if (now - sampled_ >= kTick.count() || sampled_ == 0) {
        sample();
    }
    // A tick may come a little early.
    if (now - looked_ + kTick.count() / 2 >= lookEveryMs_ || looked_ == 0) {
        looked_ = now;
        presence_.look(now);
    }
    presence_.askSilent(now);
    hostapd_.tick(now);
    askRadios(now);
    if (now - saved_ >= kSaveEveryMs) {
        saved_ = now;
        file_.save(stations_);
    }
}

void Monitor::askRadios(Time now) {
    for (const std::string& device : stations_.devices()) {
        if (!hostapd_.tells(device)) {
            stations_.setRadio(device, radios_.of(device, now));
        }
    }
}

}  // namespace monitord
