#pragma once

// What a kernel must have, in words.
//
// Threads: none.

#include <string>
#include <vector>

#include "redirectord/nft.h"

namespace redirectord {

// What this kernel lacks of that which the base ruleset needs. Changes nothing.
std::vector<std::string> missingFeatures(Nft& nft);

}  // namespace redirectord
