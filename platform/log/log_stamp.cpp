#include "log_stamp.h"

namespace ostrel::log {
namespace {

constexpr std::int64_t kSecondsADay = 86400;

struct Date {
    std::int64_t year;
    std::int64_t month;  // 1 to 12
    std::int64_t day;    // 1 to 31
};

// Rounds down, where "/" rounds towards zero.
constexpr std::int64_t floorDivide(std::int64_t value, std::int64_t divisor) {
    return (value - ((value % divisor) + divisor) % divisor) / divisor;
}

// The Gregorian date `days` after 1970-01-01. Counted in eras of 400 years whose years begin in
// March, so that the leap day is the last of its year.
Date dateOf(std::int64_t days) {
    constexpr std::int64_t kDaysAnEra = 146097;
    constexpr std::int64_t kFromMarchOfYear0 = 719468;
    const std::int64_t shifted = days + kFromMarchOfYear0;
    const std::int64_t era = floorDivide(shifted, kDaysAnEra);
    const std::int64_t ofEra = shifted - era * kDaysAnEra;
    const std::int64_t yearOfEra =
        (ofEra - ofEra / 1460 + ofEra / 36524 - ofEra / (kDaysAnEra - 1)) / 365;
    const std::int64_t ofYear = ofEra - (365 * yearOfEra + yearOfEra / 4 - yearOfEra / 100);
    const std::int64_t fromMarch = (5 * ofYear + 2) / 153;
    const std::int64_t month = fromMarch < 10 ? fromMarch + 3 : fromMarch - 9;
    return {yearOfEra + era * 400 + (month <= 2 ? 1 : 0), month,
            ofYear - (153 * fromMarch + 2) / 5 + 1};
}

// printf() is not async-signal-safe.
class Out {
public:
    Out(char* begin, std::size_t capacity) : begin_(begin), next_(begin), end_(begin + capacity) {}

    void put(char character) {
        if (next_ != end_) {
            *next_++ = character;
        }
    }

    void put(const char* text) {
        for (; *text != '\0'; ++text) {
            put(*text);
        }
    }

    // In decimal, with leading zeroes up to `width`.
    void put(std::int64_t value, int width) {
        if (value < 0) {
            put('-');
        }
        char digits[20];
        int count = 0;
        do {
            const std::int64_t digit = value % 10;
            digits[count++] = static_cast<char>('0' + (digit < 0 ? -digit : digit));
            value /= 10;
        } while (value != 0);
        for (int missing = width - count; missing > 0; --missing) {
            put('0');
        }
        while (count > 0) {
            put(digits[--count]);
        }
    }

    [[nodiscard]] std::size_t length() const { return static_cast<std::size_t>(next_ - begin_); }

private:
    char* begin_;
    char* next_;
    char* end_;
};

}  // namespace

std::size_t formatStamp(const Stamp& stamp, char* out, std::size_t capacity) {
    const std::int64_t seconds = floorDivide(stamp.wallMicroseconds, 1000000);
    const std::int64_t milliseconds = (stamp.wallMicroseconds - seconds * 1000000) / 1000;
    const std::int64_t local = seconds + stamp.zoneSeconds;
    const std::int64_t days = floorDivide(local, kSecondsADay);
    const std::int64_t ofDay = local - days * kSecondsADay;
    const Date date = dateOf(days);
    const std::int64_t zone = stamp.zoneSeconds < 0 ? -stamp.zoneSeconds : stamp.zoneSeconds;

    Out text(out, capacity);
    text.put(date.year, 4);
    text.put('-');
    text.put(date.month, 2);
    text.put('-');
    text.put(date.day, 2);
    text.put(' ');
    text.put(ofDay / 3600, 2);
    text.put(':');
    text.put(ofDay / 60 % 60, 2);
    text.put(':');
    text.put(ofDay % 60, 2);
    text.put('.');
    text.put(milliseconds, 3);
    text.put(stamp.zoneSeconds < 0 ? " -" : " +");
    text.put(zone / 3600, 2);
    text.put(zone / 60 % 60, 2);
    text.put(' ');
    text.put(stamp.daemon);
    text.put('[');
    text.put(stamp.process, 1);
    text.put("]: ");
    return text.length();
}

}  // namespace ostrel::log
