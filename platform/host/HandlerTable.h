#pragma once

#include <cstdint>
#include <memory>
#include <vector>

#include "AppConfig/PlainMutex.h"
#include "AppConfig/ThreadAnnotations.h"
#include "MSG.h"

namespace AppConfigHost {

/// The rows that were added to a transport. Thread-safe; rows may be added while handlers run, and take part from the
/// next message on.
class HandlerTable {
public:
    /// Copies the rows of \p table up to the all-zero one.
    void add(const MSG_Callback* table);

    /// Calls the entry of each row whose range holds the message's id, in the order in which they were added. A handler
    /// that throws is reported on standard error, and the next one is called all the same.
    /// \return whether none has thrown.
    bool dispatch(const MSG_Message* message) const;

private:
    using Rows = std::vector<MSG_Callback>;

    mutable AppConfig::PlainMutex m_mutex;
    std::shared_ptr<const Rows> m_rows APPCONFIG_GUARDED_BY(m_mutex) = std::make_shared<Rows>();
};

}  // namespace AppConfigHost
