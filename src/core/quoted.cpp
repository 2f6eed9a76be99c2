#include "core/quoted.h"

#include <algorithm>
#include <cctype>

namespace vesta {
namespace {

constexpr std::size_t kMost = 200;
constexpr std::string_view kSecretKeys[] = {"password", "secret"};

bool isSecretKey(std::string_view key) {
    return std::any_of(std::begin(kSecretKeys), std::end(kSecretKeys), [key](auto ending) {
        return key.size() >= ending.size() && key.substr(key.size() - ending.size()) == ending;
    });
}

bool isBlank(char c) {
    return c == ' ' || c == '\t' || c == '\n' || c == '\r';
}

// Takes the text apart only as far as strings, so it copes with what is no JSON.
class Quoting {
public:
    explicit Quoting(std::string_view json) : left_(json) {}

    std::string text() {
        while (!left_.empty() && out_.size() <= kMost) {
            if (left_.front() == '"') {
                const std::string_view string = takeString();
                append(string);
                if (isSecretKey(inside(string)) && takeColon()) {
                    takeValue();
                    append("\"***\"");
                }
            } else {
                append(take(1));
            }
        }
        if (left_.empty() && out_.size() <= kMost) {
            return out_;
        }
        // Not in the middle of a character of UTF-8.
        std::size_t end = kMost;
        while (end > 0 && (static_cast<unsigned char>(out_[end]) & 0xc0U) == 0x80U) {
            --end;
        }
        return out_.substr(0, end) + "...";
    }

private:
    void append(std::string_view part) {
        std::transform(part.begin(), part.end(), std::back_inserter(out_), [](char c) {
            return std::iscntrl(static_cast<unsigned char>(c)) != 0 ? ' ' : c;
        });
    }
    std::string_view take(std::size_t length) {
        const std::string_view part = left_.substr(0, length);
        left_.remove_prefix(part.size());
        return part;
    }
    // With its quotation marks.
    std::string_view takeString() {
        std::size_t end = 1;
        while (end < left_.size() && left_[end] != '"') {
            end += left_[end] == '\\' ? 2U : 1U;
        }
        return take(end + 1);
    }
    static std::string_view inside(std::string_view string) {
        return string.size() < 2 ? std::string_view() : string.substr(1, string.size() - 2);
    }
    void takeBlanks() {
        take(std::min(left_.size(),
                      static_cast<std::size_t>(
                          std::find_if_not(left_.begin(), left_.end(), isBlank) - left_.begin())));
    }
    // The colon behind a key, with the blanks round it.
    bool takeColon() {
        takeBlanks();
        if (left_.empty() || left_.front() != ':') {
            return false;
        }
        append(take(1));
        takeBlanks();
        return true;
    }
    void takeValue() {
        if (!left_.empty() && left_.front() == '"') {
            takeString();
        } else {
            take(std::min(left_.size(), left_.find_first_of(",}]")));
        }
    }

    std::string_view left_;
    std::string out_;
};

}  // namespace

std::string quotedForLog(std::string_view json) {
    return Quoting(json).text();
}

}  // namespace vesta
