#pragma once

#include <string>
#include <tl/expected.hpp>
#include <utility>

/// How everything on a host's side fails that can: a function returns its result, or why there is none. Where a library
/// underneath throws, its caller catches at once and returns a failure, so no exception leaves the part that uses it.
namespace AppConfigWire {

/// Why something could not be done.
template <typename Code>
struct FailureOf {
    Code code{};         ///< for programs; each part of the tree has its own
    std::string reason;  ///< for people: one sentence, or a clause to complete the one that \p code stands for
};

/// \p T, or why there is none. ResultOf<void, Code> tells success from failure alone.
template <typename T, typename Code>
using ResultOf = tl::expected<T, FailureOf<Code>>;

/// \return what a function returns that fails.
template <typename Code>
tl::unexpected<FailureOf<Code>> failure(Code code, std::string reason = {}) {
    return tl::unexpected<FailureOf<Code>>(FailureOf<Code>{code, std::move(reason)});
}

/// \return what a function returns that passes the failure of another one on.
template <typename Code>
tl::unexpected<FailureOf<Code>> failure(FailureOf<Code> why) {
    return tl::unexpected<FailureOf<Code>>(std::move(why));
}

}  // namespace AppConfigWire
