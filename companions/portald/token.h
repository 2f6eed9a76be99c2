#pragma once

// Tokens that stand in a form: who sends the form has got the page, on the same station. They work
// without cookies, which the browsers of captive portal assistants often drop.
//
// Threads: one object belongs to one thread.

#include <array>
#include <cstdint>
#include <string>

namespace portald {

class Tokens {
public:
    // With a key of its own, from the system's random source. Throws std::runtime_error without
    // one.
    Tokens();

    // For the station with `mac`, from now on for half an hour.
    [[nodiscard]] std::string make(const std::string& mac) const;
    [[nodiscard]] bool isValid(const std::string& token, const std::string& mac) const;

private:
    [[nodiscard]] std::string sign(const std::string& time, const std::string& mac) const;

    std::array<std::uint8_t, 32> key_{};
};

}  // namespace portald
