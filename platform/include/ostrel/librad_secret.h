#pragma once

// A shared secret of RADIUS. A value: it belongs to one thread at a time.

#include <string_view>
#include <vector>

// A shared secret or password. Its bytes are overwritten before their memory is given back.
class librad_secret {
public:
    librad_secret() = default;
    // Copies. The caller still has to wipe its own text.
    librad_secret(std::string_view text);  // NOLINT(google-explicit-constructor)
    librad_secret(const librad_secret& other) = default;
    librad_secret& operator=(const librad_secret& other);
    ~librad_secret();

    // Valid until the secret is assigned or destroyed. Null only when the secret is empty.
    [[nodiscard]] unsigned char* data() { return bytes_.data(); }
    [[nodiscard]] const unsigned char* data() const { return bytes_.data(); }
    [[nodiscard]] unsigned int size() const { return static_cast<unsigned int>(bytes_.size()); }
    [[nodiscard]] bool empty() const { return bytes_.empty(); }

private:
    std::vector<unsigned char> bytes_;
};
