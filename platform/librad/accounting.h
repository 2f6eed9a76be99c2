#pragma once

// Accounting-Requests (RFC 2866) and the numbers that tell sessions apart.
//
// Threads: any; a record is guarded by its owner.

#include "message.h"

namespace ostrel::radius {

// RFC 2866 section 5.1.
enum class StatusType : std::uint32_t { start = 1, stop = 2, interimUpdate = 3, accountingOn = 7 };

// The high word of this process's session identifiers, drawn at the first call. Never 0.
[[nodiscard]] std::uint32_t sessionHigh();
// A low word that no session of this process has had. Never 0.
[[nodiscard]] std::uint32_t newSessionLow();
// "%08X-%08X" of the two words (Acct-Session-Id, RFC 2866 section 5.5).
[[nodiscard]] std::string sessionText(std::uint32_t low);

// Gives the record the words of a new session. From now on it is found by them.
void renewSession(librad_radius_sta_info& sta);

// An Accounting-Request with the attributes that all of them begin with. Null when memory is out.
[[nodiscard]] MessagePtr newAccountingRequest(StatusType type, std::uint32_t sessionLow);

// Adds the traffic since the driver's last report to the session's figures.
void noteCounters(librad_radius_sta_traffic& traffic, const ostrel::StationCounters& now);

}  // namespace ostrel::radius
