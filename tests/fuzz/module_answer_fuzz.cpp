// Any datagrams as a module server's answers, the first byte of each for the request. A request
// ends well where its answer is right to the byte, and fills no more of its record than it may.

#include <atomic>
#include <cerrno>
#include <memory>
#include <thread>

#include "fuzz/daemon.h"
#include "ostrel/modules.h"
#include "platform/modules/fake_server.h"
#include "support/collected.h"

namespace {

using namespace fuzz;

// Without 13: once requested, it opens each new connection by itself.
constexpr std::uint8_t kNumbers[] = {6, 8, 9, 10, 11, 19, 20, 21, 22, 23, 24, 25};

class Answers final : public Outside<ostrel::testing::ModulesTest> {
public:
    ~Answers() override {
        ending_ = true;
        answers_.add("");
        control_->request(24, nullptr);
        thread_.join();
    }

    void play(std::uint8_t choice, const std::string& answer) {
        const unsigned long number = kNumbers[choice % std::size(kNumbers)];
        const ostrel::RequestSizes sizes = ostrel::requestSizes(number).value();
        // On the heap and to the byte, so that the sanitizer sees one too many.
        const std::size_t size = std::max(sizes.argument, sizes.answer);
        const std::unique_ptr<char[]> record(new char[size]());
        answers_.take();
        answers_.add(answer);
        clock.advanceSeconds(10);  // a server that failed is left alone for some seconds
        const int result = control_->request(number, record.get());
        const int error = result < 0 ? errno : result;
        require(error == expected(answer, sizes));
        require(error != 0 || sizes.answer == 0 ||
                answer.compare(4, sizes.answer, record.get(), sizes.answer) == 0);
    }

private:
    static int expected(const std::string& answer, const ostrel::RequestSizes& sizes) {
        std::int32_t result = 0;
        if (answer.size() < sizeof result) {
            return EIO;
        }
        std::memcpy(&result, answer.data(), sizeof result);
        const bool isError = result < 0 && result >= -4095;
        const bool isWhole = answer.size() == 4 + sizes.answer;
        if ((isError && (isWhole || answer.size() == 4)) || (result == 0 && isWhole)) {
            return -result;
        }
        return EIO;
    }
    void serve() {
        while (!ending_) {
            server_.accept();
            while (!server_.receive().empty()) {
                const std::vector<std::string> answers = answers_.take(1);
                if (answers.empty() || answers.back().empty()) {
                    break;
                }
                server_.send(answers.back());
            }
            server_.connection.reset();
        }
    }

    vesta::testing::Collected<std::string> answers_;
    std::atomic<bool> ending_{false};
    const std::unique_ptr<ostrel::ModuleControl> control_ = ostrel::openRedirector();
    ostrel::testing::FakeServer server_{path("redirector")};
    std::thread thread_{[this] { serve(); }};
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static Answers answers;
    for (Pieces pieces(data, size); !pieces.empty();) {
        const std::uint8_t choice = pieces.byte();
        answers.play(choice, pieces.piece());
    }
    return 0;
}
