// Any text as a page's template: it is refused with one of its lines, or it can be rendered, and no
// value comes out of it unescaped.

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>

#include "portald/page_template.h"

using portald::PageTemplate;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string text(data, data + size);
    const auto isName = [](std::string_view name) { return name.size() == 1; };
    const auto count = [](const std::string& page) {
        return std::count(page.begin(), page.end(), '<');
    };
    try {
        const PageTemplate part("{{a}}", isName, false);
        const PageTemplate page(text, isName, true);
        const std::string rendered =
            page.render([](std::string_view name) { return name == "e" ? "" : "<"; },
                        [&](std::string_view) -> const PageTemplate& { return part; });
        if (count(rendered) > count(text)) {
            std::abort();
        }
    } catch (const PageTemplate::Mistake& mistake) {
        if (mistake.line < 1 || mistake.line > 1 + std::count(text.begin(), text.end(), '\n')) {
            std::abort();
        }
    }
    return 0;
}
