#pragma once

#include "core/Types.h"

namespace AppConfigService {

/// The time within the core. Whoever calls the core says what time it is; Core sets the clock then, and everybody else
/// only reads it. It stands still until the core is called again, so that whatever happens in one call happens at the
/// same time. Not thread-safe.
class CoreClock {
public:
    Time now() const { return m_now; }
    void set(Time now) { m_now = now; }

private:
    Time m_now{};
};

}  // namespace AppConfigService
