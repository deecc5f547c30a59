#pragma once

#include <cstdint>

namespace AppConfig {

/// Which change of a variable its value comes from, as far as the service tells. A plain value.
struct Revision {
    std::uint64_t timeline = 0;  ///< which numbers the change is one of
    std::uint64_t change = 0;
    bool known = false;  ///< false: the service does not number its changes

    /// \return whether the two can be put in an order.
    bool isComparableWith(const Revision& other) const { return known && other.known && timeline == other.timeline; }
    /// \return whether both are numbered, in different timelines.
    bool isOfAnotherTimelineThan(const Revision& other) const {
        return known && other.known && timeline != other.timeline;
    }
    /// \return whether this one is older for certain.
    bool isOlderThan(const Revision& other) const { return isComparableWith(other) && change < other.change; }
};

}  // namespace AppConfig
