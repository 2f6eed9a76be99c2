#pragma once

// The access point's RADIUS client library: messages and attributes (RFC 2865), EAP in RADIUS
// (RFC 3579), accounting (RFC 2866, 2869), dynamic authorisation (RFC 5176), retransmission
// (RFC 5080) and the event loop that all of it runs on.
//
// Threads: every function may be called from any thread, and none waits for the network. A message
// or a station record belongs to one thread at a time. Callbacks run on the thread that runs
// librad_eloop_run(), never inside a send, and without a lock of this library, so they may call
// every function of this header. They must not throw.
//
// Time: all timers use the monotonic clock of ostrel/clock.h. A test that moves that clock drives
// the loop with librad_eloop_step().

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "ostrel/librad_secret.h"
#include "ostrel/station_counters.h"

// ---- Messages and attributes (RFC 2865 sections 3 and 5) ---------------------------------------

// The vendor number of the maker's own attributes (RFC 2865 section 5.26). This is the number that
// RFC 5612 keeps for examples; a maker puts in its own.
inline constexpr std::uint32_t librad_ostrel_vendor = 32473;
inline constexpr std::size_t librad_authenticator_length = 16;
inline constexpr std::size_t librad_max_message_length = 4096;
inline constexpr std::size_t librad_max_attribute_length = 253;

// Packet codes (RFC 2865 section 4, RFC 2866 section 4, RFC 5176 section 2.3).
enum librad_radius_code : std::uint8_t {
    LIBRAD_RADIUS_CODE_ACCESS_REQUEST = 1,
    LIBRAD_RADIUS_CODE_ACCESS_ACCEPT = 2,
    LIBRAD_RADIUS_CODE_ACCESS_REJECT = 3,
    LIBRAD_RADIUS_CODE_ACCOUNTING_REQUEST = 4,
    LIBRAD_RADIUS_CODE_ACCOUNTING_RESPONSE = 5,
    LIBRAD_RADIUS_CODE_ACCESS_CHALLENGE = 11,
    LIBRAD_RADIUS_CODE_DISCONNECT_REQUEST = 40,
    LIBRAD_RADIUS_CODE_DISCONNECT_ACK = 41,
    LIBRAD_RADIUS_CODE_COA_REQUEST = 43,
};

// Attribute types (RFC 2865, 2866, 2869, 3579, 3162, 5176).
enum librad_radius_attribute : std::uint8_t {
    LIBRAD_RADIUS_ATTR_USER_NAME = 1,
    LIBRAD_RADIUS_ATTR_USER_PASSWORD = 2,
    LIBRAD_RADIUS_ATTR_NAS_IP_ADDRESS = 4,
    LIBRAD_RADIUS_ATTR_NAS_PORT = 5,
    LIBRAD_RADIUS_ATTR_FRAMED_IP_ADDRESS = 8,
    LIBRAD_RADIUS_ATTR_FRAMED_MTU = 12,
    LIBRAD_RADIUS_ATTR_STATE = 24,
    LIBRAD_RADIUS_ATTR_CLASS = 25,
    LIBRAD_RADIUS_ATTR_VENDOR_SPECIFIC = 26,
    LIBRAD_RADIUS_ATTR_CALLED_STATION_ID = 30,
    LIBRAD_RADIUS_ATTR_CALLING_STATION_ID = 31,
    LIBRAD_RADIUS_ATTR_NAS_IDENTIFIER = 32,
    LIBRAD_RADIUS_ATTR_PROXY_STATE = 33,
    LIBRAD_RADIUS_ATTR_ACCT_STATUS_TYPE = 40,
    LIBRAD_RADIUS_ATTR_ACCT_DELAY_TIME = 41,
    LIBRAD_RADIUS_ATTR_ACCT_INPUT_OCTETS = 42,
    LIBRAD_RADIUS_ATTR_ACCT_OUTPUT_OCTETS = 43,
    LIBRAD_RADIUS_ATTR_ACCT_SESSION_ID = 44,
    LIBRAD_RADIUS_ATTR_ACCT_SESSION_TIME = 46,
    LIBRAD_RADIUS_ATTR_ACCT_INPUT_PACKETS = 47,
    LIBRAD_RADIUS_ATTR_ACCT_OUTPUT_PACKETS = 48,
    LIBRAD_RADIUS_ATTR_ACCT_TERMINATE_CAUSE = 49,
    LIBRAD_RADIUS_ATTR_ACCT_INPUT_GIGAWORDS = 52,
    LIBRAD_RADIUS_ATTR_ACCT_OUTPUT_GIGAWORDS = 53,
    LIBRAD_RADIUS_ATTR_EVENT_TIMESTAMP = 55,
    LIBRAD_RADIUS_ATTR_NAS_PORT_TYPE = 61,
    LIBRAD_RADIUS_ATTR_EAP_MESSAGE = 79,
    LIBRAD_RADIUS_ATTR_MESSAGE_AUTHENTICATOR = 80,
    LIBRAD_RADIUS_ATTR_NAS_PORT_ID = 87,
    LIBRAD_RADIUS_ATTR_NAS_IPV6_ADDRESS = 95,
    LIBRAD_RADIUS_ATTR_ERROR_CAUSE = 101,
};

// One RADIUS message, received or being built.
struct librad_radius_msg;

// Makes a message. An Access-Request gets a Message-Authenticator as its first attribute; the send
// computes it (RFC 3579 section 3.2). Null when memory is out. The caller owns the message until
// librad_radius_msg_free(), or until librad_radius_client_send() takes it over.
[[nodiscard]] librad_radius_msg* librad_radius_msg_new(std::uint8_t code, std::uint8_t id);

// Reads the message in a datagram; the caller owns it. Null when it is malformed: its length is
// outside 20 to 4096 bytes or beyond the datagram, or an attribute has no value or does not fit.
// Bytes behind the length are padding (RFC 2865 section 3).
[[nodiscard]] librad_radius_msg* librad_radius_msg_parse(const unsigned char* data,
                                                         std::size_t length);

// Wipes and frees a message. Null does nothing.
void librad_radius_msg_free(librad_radius_msg* msg);

// The packet code.
[[nodiscard]] std::uint8_t librad_radius_msg_get_code(const librad_radius_msg* msg);

// The identifier. A send replaces it when it is in flight already. The Request Authenticator of an
// Access-Request never changes, so tell two requests apart by that.
[[nodiscard]] std::uint8_t librad_radius_msg_get_id(const librad_radius_msg* msg);

// The Request or Response Authenticator, 16 bytes. They live as long as the message.
[[nodiscard]] const unsigned char* librad_radius_msg_get_authenticator(
    const librad_radius_msg* msg);

// The packet as it stands, `*length` bytes. Valid until the message is changed or freed.
[[nodiscard]] const unsigned char* librad_radius_msg_get_bytes(const librad_radius_msg* msg,
                                                               std::size_t* length);

// Sets the Request Authenticator of an Access-Request to 16 random bytes, with `data` (may be null)
// mixed in (RFC 2865 section 3). Call it before librad_radius_msg_add_attr_user_password(). False
// when the system gives no random bytes.
[[nodiscard]] bool librad_radius_msg_make_authenticator(librad_radius_msg* msg,
                                                        const unsigned char* data,
                                                        std::size_t length);

// Appends an attribute with a value of 1 to 253 bytes (RFC 2865 section 5). False when the value is
// empty or too long, or the message would pass 4096 bytes; the message is unchanged then. The other
// functions that append fail in the same way.
[[nodiscard]] bool librad_radius_msg_add_attr(librad_radius_msg* msg, std::uint8_t type,
                                              const void* data, std::size_t length);

// Appends a 32-bit integer, most significant byte first.
[[nodiscard]] bool librad_radius_msg_add_attr_int32(librad_radius_msg* msg, std::uint8_t type,
                                                    std::uint32_t value);

// Appends an attribute of the maker's vendor space, in a Vendor-Specific attribute of its own
// (RFC 2865 section 5.26).
[[nodiscard]] bool librad_radius_msg_add_ostrel_attr(librad_radius_msg* msg, std::uint8_t number,
                                                     const void* data, std::size_t length);

// Appends User-Password, hidden with the secret and the message's present Request Authenticator
// (RFC 2865 section 5.2). False also for a password over 128 bytes or an empty secret.
[[nodiscard]] bool librad_radius_msg_add_attr_user_password(librad_radius_msg* msg,
                                                            const unsigned char* password,
                                                            std::size_t length,
                                                            const unsigned char* secret,
                                                            std::size_t secretLength);

// Copies at most `size` bytes of the first attribute of that type. Returns how many were copied, 0
// when the attribute is absent.
[[nodiscard]] std::size_t librad_radius_msg_get_attr(const librad_radius_msg* msg,
                                                     std::uint8_t type, void* buffer,
                                                     std::size_t size);

// The first attribute `number` of the maker's vendor space (RFC 2865 section 5.26), `*length` bytes
// without terminator. It lives as long as the message. Null, and length 0, when it is absent.
[[nodiscard]] const unsigned char* librad_radius_msg_get_ostrel_attr(const librad_radius_msg* msg,
                                                                     std::uint8_t number,
                                                                     unsigned int* length);

// All Class attributes of an Access-Accept, in order (RFC 2865 section 5.25). The owner keeps them
// in the station's librad_radius_sta_info.
[[nodiscard]] std::vector<std::string> librad_radius_msg_get_classes(const librad_radius_msg* msg);

// ---- EAP in RADIUS (RFC 3579 section 3.1) ------------------------------------------------------

// Appends an EAP packet as one or more EAP-Message attributes.
[[nodiscard]] bool librad_radius_msg_add_eap(librad_radius_msg* msg, const unsigned char* data,
                                             std::size_t length);

// The EAP packet of all EAP-Message attributes put together, `*length` bytes; null when there is
// none. The caller checks the packet's own length field. Valid until the next call for this message
// or until it is freed.
[[nodiscard]] const unsigned char* librad_radius_msg_get_eap(librad_radius_msg* msg,
                                                             unsigned int* length);

// Writes the MD5 over identifier, secret and challenge into the 16 bytes of `out` (CHAP, RFC 1994
// section 4.1; EAP-MD5, RFC 3748 section 5.4). False when the system offers no MD5; `out` is zero
// then.
bool librad_chap_md5(std::uint8_t id, const unsigned char* secret, std::size_t secretLength,
                     const unsigned char* challenge, std::size_t challengeLength,
                     unsigned char* out);

// ---- Checking and signing ----------------------------------------------------------------------

// Checks the Response Authenticator of `msg` as the answer to `request` (RFC 2865 section 3, RFC
// 2866 section 3), in constant time. 0 when it is right. A client has checked an answer before it
// calls the handler; asked about that answer and its request, this says what the client found.
[[nodiscard]] int librad_radius_msg_verify_acct(const librad_radius_msg* msg,
                                                const unsigned char* secret,
                                                std::size_t secretLength,
                                                const librad_radius_msg* request);

// Signs `msg` as a server's answer to `request`: the Message-Authenticator, if the message has one
// (RFC 3579 section 3.2), then the Response Authenticator. False when the system offers no MD5.
[[nodiscard]] bool librad_radius_msg_sign_answer(librad_radius_msg* msg,
                                                 const unsigned char* secret,
                                                 std::size_t secretLength,
                                                 const librad_radius_msg* request);

// ---- Client ------------------------------------------------------------------------------------

// What an answer's handler made of it.
enum librad_radius_rx_result {
    LIBRAD_RADIUS_RX_REJECT = 0,   // Access-Reject of a known request
    LIBRAD_RADIUS_RX_QUEUED = 1,   // handled, and freed by the handler
    LIBRAD_RADIUS_RX_UNKNOWN = 2,  // not handled
    LIBRAD_RADIUS_RX_INVALID = 3,  // wrong authenticator; the request goes on
    LIBRAD_RADIUS_RX_ACCEPT = 4,   // Access-Accept of a known request
};

// What a request is for. It decides which of the client's servers gets the request.
enum librad_radius_kind { LIBRAD_RADIUS_AUTH = 0, LIBRAD_RADIUS_ACCT = 1 };

// Which answers of an authentication server must carry a Message-Authenticator (RFC 3579 section
// 3.2). An answer to EAP always must, and one that is there is always checked.
enum librad_require_message_authenticator {
    LIBRAD_REQUIRE_ONCE_SEEN,  // every Access-Accept after the first one with a valid one
    LIBRAD_REQUIRE_ALWAYS,     // every answer
    LIBRAD_REQUIRE_NEVER,      // none, without EAP
};

// One server, of authentication or of accounting.
struct librad_radius_server {
    std::string address;  // IPv4, dotted
    std::uint16_t port = 0;
    librad_secret sharedSecret;
};

// What a client is made from. The first server of each list is the one that is asked. A server
// without a usable address, port or secret is reported when the client is made; sends to it fail.
struct librad_radius_client_config {
    int debugLevel = 0;         // from 4 on every packet is reported at debug level
    std::string realm;          // for the owner; no request carries it
    std::string interfaceName;  // for reports
    std::vector<librad_radius_server> authServers;
    std::vector<librad_radius_server> acctServers;
    librad_require_message_authenticator requireMessageAuthenticator = LIBRAD_REQUIRE_ONCE_SEEN;
};

// Gets each answer to an authentication request, on the event-loop thread. `request` is what it
// answers; `request` and the secret are the library's and live for the call.
// - An answer whose Message-Authenticator is wrong, or missing though required, never comes here.
// - An answer whose Response Authenticator is wrong does, and the handler finds that out with
//   librad_radius_msg_verify_acct(). Whatever the handler returns, the request stays outstanding.
// - The library frees the answer afterwards, except after LIBRAD_RADIUS_RX_QUEUED.
// - The request is over then, except after LIBRAD_RADIUS_RX_INVALID, when its timers go on.
using librad_radius_handler = librad_radius_rx_result (*)(librad_radius_msg* msg,
                                                          librad_radius_msg* request,
                                                          unsigned char* sharedSecret,
                                                          unsigned int secretLength, void* context);

// Is told of each authentication request that is given up, on the event-loop thread. `request`
// lives for the call.
using librad_radius_give_up = void (*)(librad_radius_msg* request, void* context);

struct librad_radius_client;

// Makes a client of the servers of `config`, which is copied; before the loop runs or while it
// does. The caller owns it until librad_radius_client_deinit(). Null when the system has no
// descriptors left.
[[nodiscard]] librad_radius_client* librad_radius_client_init(
    const librad_radius_client_config* config);

// Ends and frees the client. Its requests are forgotten; unanswered Stops are lost and reported. It
// waits for a callback that is running, unless a callback calls it, so do not hold a lock that a
// callback takes. No callback runs after it. Null does nothing.
void librad_radius_client_deinit(librad_radius_client* client);

// Set the callbacks for authentication requests; null for none. They get `context`, which must
// outlive the client.
void librad_radius_client_set_handler(librad_radius_client* client, librad_radius_handler handler,
                                      void* context);
void librad_radius_client_set_give_up(librad_radius_client* client, librad_radius_give_up giveUp,
                                      void* context);

// An identifier for the next Access-Request, not in flight if one is free. It is not reserved: when
// it has been taken meanwhile, the send puts in another.
[[nodiscard]] std::uint8_t librad_radius_client_get_id(librad_radius_client* client);

// Signs a request (RFC 3579 section 3.2, RFC 2866 section 3) and sends it until it is answered or
// given up: again after 2 s, then after twice as long each time up to 16 s, each +-10 %, at most 5
// times in all and for 30 s (RFC 5080 section 2.2.1). An Access-Request is repeated unchanged. An
// Accounting-Request gets a higher Acct-Delay-Time, a new identifier and a new authenticator.
//
// An identifier is in flight once on a source port. When all 256 are, another port is opened, up to
// 16; then requests wait in order.
//
// Before the first Start of the process to a server an Accounting-On goes out, with the NAS
// attributes of that Start; records wait until it is answered or given up (RFC 2866 section 5.1). A
// Stop replaces the unanswered records of its session. A Stop that is given up goes to the spool.
//
// `mac` (6 bytes, may be null) names the station in reports. 0: the library owns the message. -1:
// the caller still does, because no server could be asked, 4096 requests wait already, or the
// message is no request of that kind.
[[nodiscard]] int librad_radius_client_send(librad_radius_client* client, librad_radius_msg* msg,
                                            librad_radius_kind kind, const unsigned char* mac);

// The client's packets since it was made.
struct librad_radius_counters {
    std::uint64_t sent = 0;  // packets, retransmissions included
    std::uint64_t retransmitted = 0;
    std::uint64_t answered = 0;  // requests ended by an answer
    std::uint64_t givenUp = 0;
    std::uint64_t malformed = 0;         // datagrams that were no RADIUS message
    std::uint64_t wrongSource = 0;       // not from the server's address and port
    std::uint64_t unexpected = 0;        // answers to no outstanding request: late, doubled
    std::uint64_t badAuthenticator = 0;  // wrong signatures, of either kind
};
[[nodiscard]] librad_radius_counters librad_radius_client_get_counters(
    librad_radius_client* client);

// The Stops that were given up and are still owed to the server. They are retried as long as the
// client lives, unchanged but for Acct-Delay-Time, and a station's in their order. A Stop that was
// sent ten times in vain goes to the end, with the others of its station. Of more than 4096 the
// oldest is lost, which is reported.
struct librad_radius_spool_info {
    std::size_t count = 0;
    std::int64_t oldestSeconds = 0;  // age of the oldest
};
[[nodiscard]] librad_radius_spool_info librad_radius_client_get_spool(librad_radius_client* client);

// How many requests of that kind are outstanding, and how many wait for an identifier or for the
// Accounting-On.
[[nodiscard]] std::size_t librad_radius_client_outstanding(librad_radius_client* client,
                                                           librad_radius_kind kind);
[[nodiscard]] std::size_t librad_radius_client_waiting(librad_radius_client* client,
                                                       librad_radius_kind kind);

// ---- Accounting (RFC 2866, RFC 2869) -----------------------------------------------------------

// A report of the driver on one station. Accounting uses bytes, packets, uptime and the text; the
// other counters complete the report.
struct librad_radius_sta_stats : ostrel::StationCounters {
    librad_radius_sta_stats() = default;
    explicit librad_radius_sta_stats(const ostrel::StationCounters& counters)
        : StationCounters(counters) {}

    char interfaceText[256] = {};  // the NAS-Port-Id from now on, unless empty
};

// The traffic of one session. The library keeps it.
struct librad_radius_sta_traffic {
    ostrel::StationCounters last;  // the driver's last report
    std::uint64_t rxBytes = 0;     // since the Start
    std::uint64_t txBytes = 0;
    std::uint32_t rxPackets = 0;
    std::uint32_t txPackets = 0;
    std::int64_t startedAt = 0;  // monotonic seconds
};

// One station's accounting record, guarded by its owner's lock.
struct librad_radius_sta_info {
    // "%08X-%08X" of the two words is the Acct-Session-Id (RFC 2866 section 5.5). The high word is
    // drawn once in a process; a Stop renews the low one. Neither is ever 0. Read only.
    std::uint32_t acctSessionIdHigh = 0;
    std::uint32_t acctSessionIdLow = 0;
    // The station's address. Read only: set it with librad_radius_sta_set_mac().
    std::array<std::uint8_t, 6> mac{};

    // The owner fills these in.
    std::string userName;
    std::string interfaceText;                // NAS-Port-Id
    std::uint32_t vapIndex = 0;               // NAS-Port
    std::array<std::uint8_t, 6> calledMac{};  // Called-Station-Id
    std::string ssid;                         // appended to it as ":SSID", unless empty
    std::int64_t lastAccountingTime = 0;      // seconds; the library does not use it
    std::uint32_t terminateCause = 0;         // Acct-Terminate-Cause of the Stop (RFC 2866 5.10)
    // The Class attributes of the last Access-Accept, sent back as they came (RFC 2865 section
    // 5.25). Every Access-Accept replaces them, also by none.
    std::vector<std::string> classes;

    // True from the Start to the Stop. Read only.
    bool started = false;
    librad_radius_sta_traffic traffic;
};

// Makes a record with session words of its own; it can be found by them from now on. The caller
// owns it until librad_free_radius_sta(). Null when memory is out.
[[nodiscard]] librad_radius_sta_info* librad_allocate_radius_sta();
// Frees a record. Null does nothing.
void librad_free_radius_sta(librad_radius_sta_info* sta);

// Sets the station's address (6 bytes).
void librad_radius_sta_set_mac(librad_radius_sta_info* sta, const unsigned char* mac);

// Finds the record with these session words and copies its station's address to the 6 bytes of
// `mac`. It hands out no record, because the owner may be freeing it. False when there is none.
[[nodiscard]] bool librad_find_radius_sta_by_acct_id(std::uint32_t high, std::uint32_t low,
                                                     unsigned char* mac);

// Notes a report of the driver. Call it with every report, then a session's figures are exact:
// - A session counts from the last report before its Start.
// - Bytes or uptime that fall mean a new association; the counters count from zero then, so no
//   figure of a session ever falls.
// - A report without bytes and packets says nothing and is passed over.
// Never hand in a report older than the last one: it would look like a new association.
void librad_radius_sta_set_counters(librad_radius_sta_info* sta,
                                    const librad_radius_sta_stats* stats);

// Appends the Acct-Session-Id of the record whose low word is `id`. False also when `id` is 0.
[[nodiscard]] bool librad_add_acct_session_id_attr(librad_radius_msg* msg,
                                                   const librad_radius_client_config* config,
                                                   std::uint32_t id);

// Each builds an Accounting-Request from the record (RFC 2866 section 5), with Event-Timestamp (RFC
// 2869 section 5.3) and Acct-Delay-Time. The caller owns it and adds the NAS attributes and
// Framed-IP-Address; the send sets identifier and authenticator. `stats` is noted first, as by
// librad_radius_sta_set_counters(); null: the last report stands.
//
// A Start needs `started` clear and sets it. An update and a Stop need it set; a Stop clears it and
// renews the low session word. Null when that is not so, the configuration has no accounting server
// or an attribute does not fit.
[[nodiscard]] librad_radius_msg* librad_create_accounting_sta_start(
    const librad_radius_client_config* config, librad_radius_sta_info* sta);
[[nodiscard]] librad_radius_msg* librad_create_accounting_sta_update(
    const librad_radius_client_config* config, librad_radius_sta_info* sta,
    const librad_radius_sta_stats* stats);
[[nodiscard]] librad_radius_msg* librad_create_accounting_sta_stop(
    const librad_radius_client_config* config, librad_radius_sta_info* sta,
    const librad_radius_sta_stats* stats);

// ---- Dynamic authorisation (RFC 5176) ----------------------------------------------------------

// The attributes by which a request names its session. A pointer is null when the attribute is
// absent; the texts live for the call and have no terminator.
struct librad_radius_das_attrs {
    unsigned char mac[6] = {};  // of Calling-Station-Id; zero when absent
    unsigned char* userName = nullptr;
    unsigned int userNameLength = 0;
    unsigned char* acctSessionId = nullptr;
    unsigned int acctSessionIdLength = 0;
};

// What a server of dynamic authorisation asks its owner, on the event-loop thread.
struct librad_radius_das_config {
    // Ends the session that `attrs` names. 0: done (Disconnect-ACK). 3, or anything else: there is
    // no such session (Disconnect-NAK with Error-Cause 503).
    int (*disconnect)(void* context, librad_radius_das_attrs* attrs) = nullptr;
    // The secret that a request for that session must be signed with, `*length` bytes. Null or
    // empty drops the request. The library reads it right after the call and keeps no pointer.
    unsigned char* (*getSharedKey)(void* context, unsigned int* length,
                                   librad_radius_das_attrs* attrs) = nullptr;
    // An address that can't be listened on is tried again after so many seconds. 0: never.
    int retrySeconds = 0;
};

struct librad_radius_das;

// Listens for Disconnect-Requests on UDP `port` (0: any that is free) of `bindAddress` (IPv4; null:
// every address). The caller owns the server until librad_radius_das_deinit(). When the address
// can't be listened on, that is reported, and the result is null, with errno set, unless the
// configuration has it tried again.
//
// Dropped are: requests that are malformed or wrongly signed; an Event-Timestamp more than
// `timeWindowSeconds` off (0: 300), unless the wall clock has never been set; none at all, when
// `requireEventTimestamp` is not 0. A request that repeats one of the last 300 s (same source,
// identifier and authenticator) gets the same answer again, without effect. Refused with an
// Error-Cause are: another NAS (403), no session named (402), a Calling-Station-Id that is no
// address (407), a CoA-Request (406).
[[nodiscard]] librad_radius_das* librad_radius_das_init2(std::uint16_t port, int timeWindowSeconds,
                                                         int requireEventTimestamp, void* context,
                                                         librad_radius_das_config config,
                                                         const char* bindAddress);

// Sets what the NAS attributes of a request are compared with: the IPv4 address (4 bytes; null: not
// compared) and the identifier ("": not compared). Call it again when the address changes.
void librad_radius_das_set_nas(librad_radius_das* das, const unsigned char* ipAddress,
                               std::string_view identifier);

// The port that is listened on; 0 while it can't be.
[[nodiscard]] std::uint16_t librad_radius_das_get_port(const librad_radius_das* das);

// The server's requests since it was made.
struct librad_radius_das_counters {
    std::uint64_t malformed = 0;
    std::uint64_t dropped = 0;     // no secret, wrongly signed, out of the time window, wrong code
    std::uint64_t duplicates = 0;  // answered again
    std::uint64_t acks = 0;
    std::uint64_t naks = 0;
};
[[nodiscard]] librad_radius_das_counters librad_radius_das_get_counters(librad_radius_das* das);

// Stops listening and frees the server. It waits as librad_radius_client_deinit() does. Null does
// nothing.
void librad_radius_das_deinit(librad_radius_das* das);

// ---- Event loop --------------------------------------------------------------------------------

// Runs the loop of all clients and servers of the process on the calling thread, until
// librad_eloop_stop(). Clients and servers may be made before or later. A second call while one
// runs returns at once.
void librad_eloop_run();

// Ends the run that is under way; when none is, the next one returns at once.
void librad_eloop_stop();

// Does what is due now, on the calling thread, and returns: for tests. Does nothing while the loop
// runs on another thread.
void librad_eloop_step();
