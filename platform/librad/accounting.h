#pragma once

// Accounting-Requests (RFC 2866) and the numbers that tell sessions apart.
//
// Threads: any; a record is guarded by its owner.

#include "message.h"

namespace ostrel::radius {

// RFC 2866 section 5.1.
enum class StatusType : std::uint32_t { start = 1, stop = 2, interimUpdate = 3, accountingOn = 7 };

// The high word of this process's session identifiers, drawn at the first call; never 0.
[[nodiscard]] std::uint32_t sessionHigh();
// A low word that no session of this process has had; never 0.
[[nodiscard]] std::uint32_t newSessionLow();
[[nodiscard]] std::string sessionText(std::uint32_t low);

// Gives the record the words of a new session, and lets it be found by them.
void renewSession(librad_radius_sta_info& sta);

// What every Accounting-Request begins with. Null when memory is out.
[[nodiscard]] MessagePtr newAccountingRequest(StatusType type, std::uint32_t sessionLow);

// Adds to the session's figures what has happened since the last record of the driver.
void noteCounters(librad_radius_sta_traffic& traffic, const librad_radius_sta_stats& now);

}  // namespace ostrel::radius
