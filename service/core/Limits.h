#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>

/// What bounds the service, and what whoever starts it may choose. Plain values; any thread.
namespace AppConfigService {

/// A delivery connection that is so far behind its client's last one, or less, was given up before that was made. What
/// is further behind was not numbered by the same transport.
inline constexpr std::uint64_t mostLateConnections = 64;

// Caps on whatever a peer decides. docs/service.md lists them for people.
inline constexpr std::size_t longestElement = std::size_t{1} << 20;  ///< bytes of a value, all its elements together
inline constexpr std::size_t mostElements = 4096;                    ///< elements of a list
inline constexpr std::size_t mostOptions = 1024;                     ///< options of a variable
inline constexpr std::size_t longestName = 255;                      ///< bytes of a node, attribute or client name
inline constexpr std::size_t mostClients = 1024;                     ///< known clients
inline constexpr std::size_t mostConnections = 4096;                 ///< connections of all clients together
inline constexpr std::size_t mostConnectionsOfOne = 512;             ///< request connections of one client
inline constexpr std::size_t mostRegistrations = 200'000;            ///< callback registrations of one client
inline constexpr std::size_t mostRegistrationsOfUser = 400'000;      ///< of all clients of one user
inline constexpr std::size_t mostRegistrationsOfOthers = 800'000;    ///< of all users but root and the service's own
inline constexpr std::size_t mostRegistrationsAtOnce = 256;          ///< in one REGISTRATIONS frame
inline constexpr std::size_t mostSeenPoints = 64;                    ///< points in one HELLO
inline constexpr std::size_t mostDue = 65'536;  ///< notifications that a client is due at a time; then looked for again
inline constexpr std::size_t framesPerMark = 1024;  ///< notifications behind which a client says that it handled them
inline constexpr std::size_t mostOpenMarks = 2;     ///< for so many of them nobody waits
inline constexpr std::size_t mostApplyQuestions = 16;  ///< missed values that a provider is asked to apply at a time
inline constexpr std::size_t mostQueuedBytes = std::size_t{4} << 20;  ///< bytes that wait for one slow client
inline constexpr std::size_t mostWaiting = 256;                       ///< requests that wait for one variable
inline constexpr std::size_t largestListing = std::size_t{8} << 20;   ///< bytes of one answer that lists variables
inline constexpr std::size_t mostMessages = 64;                       ///< texts that one answer carries
inline constexpr std::chrono::seconds helloDeadline{10};              ///< from connecting to HELLO
inline constexpr std::chrono::milliseconds storePause{1000};  ///< until what the store did not take is tried again
inline constexpr int highestRole = 4;                         ///< roles and levels run from 0 to this

/// What whoever starts the service may choose.
struct ServiceOptions {
    std::string name = "ConfigSrvc";                   ///< the endpoint that clients address
    int namespaceNumber = 0;                           ///< which namespace the service serves; below 1: none is named
    std::chrono::milliseconds providerDeadline{2000};  ///< how long a provider may take over one question
    std::chrono::milliseconds grace{300'000};          ///< how long a client that disappeared is remembered
    std::uint32_t ownUid = 0;  ///< this user and root may claim any role unless a role_limit says less
    std::function<std::uint64_t()> newTimeline;  ///< draws the number of a timeline, never 0; empty: at random
};

}  // namespace AppConfigService
