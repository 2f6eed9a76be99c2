#include "portald/daemon.h"

#include <sys/eventfd.h>
#include <unistd.h>

#include <cerrno>
#include <system_error>
#include <utility>
#include <vector>

#include "ostrel/mutex.h"

namespace portald {
namespace {

constexpr int kPatienceSeconds = 3;

}  // namespace

// Answers on their way from the bus's thread to the loop's.
class BusDaemon::Mailbox {
public:
    Mailbox() : bell_(eventfd(0, EFD_NONBLOCK | EFD_CLOEXEC)) {
        if (!bell_.valid()) {
            throw std::system_error(errno, std::generic_category(), "eventfd");
        }
    }

    [[nodiscard]] int bell() const { return bell_.get(); }

    void put(Callback callback, Answer answer) EXCLUDES(mutex_) {
        bool first = false;
        {
            const ostrel::MutexLock lock(mutex_);
            first = waiting_.empty();
            waiting_.emplace_back(std::move(callback), std::move(answer));
        }
        if (first) {
            eventfd_write(bell(), 1);
        }
    }

    void deliver() EXCLUDES(mutex_) {
        eventfd_t rings = 0;
        eventfd_read(bell(), &rings);
        std::vector<std::pair<Callback, Answer>> arrived;
        {
            const ostrel::MutexLock lock(mutex_);
            arrived.swap(waiting_);
        }
        for (const auto& [callback, answer] : arrived) {
            callback(answer);
        }
    }

private:
    const ostrel::Fd bell_;
    ostrel::Mutex mutex_;
    std::vector<std::pair<Callback, Answer>> waiting_ GUARDED_BY(mutex_);
};

BusDaemon::BusDaemon(companion::EventLoop& loop, const std::string& runtimeDirectory)
    : loop_(loop),
      mailbox_(std::make_shared<Mailbox>()),
      client_(kPatienceSeconds, runtimeDirectory) {
    loop_.whenReadable(mailbox_->bell(), [mailbox = mailbox_] { mailbox->deliver(); });
}

BusDaemon::~BusDaemon() {
    loop_.forget(mailbox_->bell());
}

void BusDaemon::ask(const Json& request, Callback callback) {
    const bool sent = client_.requestLater(
        request,
        [mailbox = mailbox_, callback](const Answer& answer) { mailbox->put(callback, answer); });
    if (!sent) {
        mailbox_->put(std::move(callback), std::nullopt);
    }
}

}  // namespace portald
