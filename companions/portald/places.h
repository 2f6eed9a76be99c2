#pragma once

// Where stations are sent to, and which places are this portal's own.
//
// Threads: values; any thread.

#include <string>

#include "portald/messages.h"
#include "portald/settings.h"
#include "portald/station.h"

namespace portald {

// Whether the request is for this portal itself, rather than for a site that was to be somewhere
// else. It decides which page is shown and nothing else.
[[nodiscard]] bool isForPortal(const Asked& asked, const Station& station,
                               const Settings& settings);

// Whether the pages that the station is to see are ours.
[[nodiscard]] bool hasPagesHere(const Asked& asked, const Station& station,
                                const Settings& settings);

// Where the browser of a station without access is to go: the configured URL; where that leads to
// this portal, its path at the address that vestad gives, as in "redirect-location", or over TLS at
// this portal's name if it has both.
[[nodiscard]] std::string redirectLocation(const Asked& asked, const Station& station,
                                           const Settings& settings);

// Where the station's user finds the portal at any time: over TLS if there is.
[[nodiscard]] std::string portalUrl(const Asked& asked, const Station& station,
                                    const Settings& settings);

// RFC 8910: the API under the configured name.
[[nodiscard]] std::string apiUrl(const Settings& settings);

}  // namespace portald
