#pragma once

#include <chrono>
#include <cstdint>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

#include "common.pb.h"
#include "wire/Result.h"
#include "wire/VariableName.h"

/// The types that all parts of the service share. Plain values; any thread.
namespace AppConfigService {

/// The core has no clock: its caller tells it the time.
using Clock = std::chrono::steady_clock;
using Time = Clock::time_point;

using Error = CommonIF::eErrorType;

using AppConfigWire::VariableName;

/// A variable's value, or its options. A scalar value is a list of one text.
using Value = std::vector<std::string>;

/// One number per change of a value, of options or of access levels, from one counter that the store keeps.
using ChangeNumber = std::uint64_t;

/// One connection of a client. Whatever accepts connections draws the number, which is never used twice in one run.
using ConnectionId = std::uint64_t;

/// What about a variable can change.
enum class ChangeKind : std::uint8_t { value, options, levels };

/// Something that is kept for each kind of change.
template <typename T>
struct PerKind {
    T value{};
    T options{};
    T levels{};

    T& operator[](ChangeKind kind) {
        return kind == ChangeKind::value ? value : kind == ChangeKind::options ? options : levels;
    }
    const T& operator[](ChangeKind kind) const { return const_cast<PerKind&>(*this)[kind]; }
    bool operator==(const PerKind& other) const {
        return value == other.value && options == other.options && levels == other.levels;
    }
};

/// What a client can be kept informed of. The first four are states, of which only the newest counts.
enum class Topic : std::uint8_t {
    options,
    levels,
    value,
    apply,       ///< the value once more, which a provider is asked to apply
    attributes,  ///< that something beside the value changed; holds no state
    submit,      ///< an event: each one counts
};
inline constexpr std::size_t stateTopics = 4;

/// Who a client is: the user behind its socket and the endpoint that it named. Both stay the same when it reconnects.
struct ClientKey {
    std::uint32_t uid = 0;
    std::string endpoint;

    bool operator<(const ClientKey& other) const {
        return std::tie(uid, endpoint) < std::tie(other.uid, other.endpoint);
    }
    bool operator==(const ClientKey& other) const { return uid == other.uid && endpoint == other.endpoint; }
};

/// Whose process is at the other end of a connection, as the system says.
struct Peer {
    std::uint32_t uid = 0;
    std::int32_t pid = 0;  ///< 0: not known
};

/// \return a client for the log. Its endpoint's name is its own choice; the user and the process are the system's word.
inline std::string displayName(const ClientKey& client, std::int32_t pid = 0) {
    return client.endpoint + " (uid " + std::to_string(client.uid) +
           (pid == 0 ? std::string() : ", pid " + std::to_string(pid)) + ")";
}

/// Why a request is refused, with the code that its reply carries; or why the service itself cannot go on.
using Failure = AppConfigWire::FailureOf<Error>;

template <typename T = void>
using Result = AppConfigWire::ResultOf<T, Error>;

using AppConfigWire::failure;

/// \return the code in a reply about \p result: ERROR_NONE, or the code of its failure.
template <typename T>
Error errorOf(const Result<T>& result) {
    return result ? CommonIF::ERROR_NONE : result.error().code;
}

}  // namespace AppConfigService
