#include "apbd/loading.h"

#include "ostrel/clock.h"

namespace apbd {
namespace {

constexpr std::size_t kLookedAtOnce = 200;

}  // namespace

bool Loading::isOverdue() const {
    return running_ && ostrel::monotonicSeconds() - roundSince_ >= kPatienceSeconds;
}

void Loading::start(const std::vector<std::string>& filters) {
    running_ = true;
    state_ = State();
    missing_.reset();
    beginRound();
    broker_.subscribe(marker_, filters);
}

void Loading::granted() {
    if (running_) {
        // The retained messages are under way by now, and this one comes behind them.
        broker_.mark(marker_, std::to_string(round_));
    }
}

bool Loading::isComplete(const std::string& payload) const {
    return running_ && payload == std::to_string(round_);
}

bool Loading::lookForMissing(const Ledger::Records& known, const Topics& topics) {
    if (!missing_) {
        missing_.emplace();
        for (const auto& entry : known) {
            if (state_.records.count(entry.first) == 0) {
                missing_->push_back(entry.first);
            }
        }
    }
    if (missing_->empty()) {
        return false;
    }
    std::vector<std::string> looked;
    for (; !missing_->empty() && looked.size() < kLookedAtOnce; missing_->pop_back()) {
        looked.push_back(topics.record(missing_->back()));
    }
    beginRound();
    broker_.lookAt(looked);
    return true;
}

Loading::State Loading::take() {
    running_ = false;
    missing_.reset();
    return std::exchange(state_, State());
}

void Loading::addRecord(const Key& key, std::optional<Record> record) {
    if (state_.records.size() < Ledger::kMostRecords || state_.records.count(key) > 0) {
        state_.records[key] = std::move(record);
    }
}

void Loading::beginRound() {
    ++round_;
    roundSince_ = ostrel::monotonicSeconds();
}

}  // namespace apbd
