#pragma once

// The addresses by which the usual systems find out whether they are behind a captive portal. Each
// expects an answer of its own, and takes anything else for a portal.

#include <optional>

#include "portald/messages.h"

namespace portald {

// What tells the system of the station that it is online, when `asked` is such a question.
[[nodiscard]] std::optional<Reply> onlineAnswer(const Asked& asked);

}  // namespace portald
