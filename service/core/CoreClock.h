#pragma once

#include "core/Types.h"

namespace AppConfigService {

/// The time within the core. The caller of the core tells the time: Core sets the clock at each call, and everything
/// else only reads it. It is constant until the next call, so that everything in one call happens at the same time. Not
/// thread-safe.
class CoreClock {
public:
    Time now() const { return m_now; }
    void set(Time now) { m_now = now; }

private:
    Time m_now{};
};

}  // namespace AppConfigService
