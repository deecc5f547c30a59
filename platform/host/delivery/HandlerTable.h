#pragma once

#include <cstdint>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "AppConfigLocks/PlainMutex.h"
#include "AppConfigLocks/ThreadAnnotations.h"
#include "MSG.h"
#include "NamedEndpoints.h"

namespace AppConfigHost {

/// \return whether \p row is the all-zero one that ends a table.
bool isTerminator(const MSG_Callback& row);

/// \return whether both rows call the same entry with the same context for the same ids.
bool isSameRow(const MSG_Callback& one, const MSG_Callback& other);

/// The rows that were added to a transport, each with the endpoints whose messages it takes. Thread-safe; rows may be
/// added while handlers run, and take part from the next message on.
class HandlerTable {
public:
    /// Notes that the calling thread has named \p endpoint to the transport.
    void nameEndpoint(const std::string& endpoint) { m_named.add(endpoint); }

    /// Copies the rows of \p table up to the all-zero one. They belong to the endpoints that the calling thread has
    /// named since it last called this; if it has named none, they take messages from everywhere. A row that was added
    /// before is not added again: from now on, it also takes what the new table takes. \return those endpoints.
    std::set<std::string> add(const MSG_Callback* table);

    /// From the next message on, the rows of \p link take only questions from \p endpoint, until they are added for it
    /// again. \return whether rows of other links take notifications from it.
    bool handOver(void* link, const std::string& endpoint);

    /// Calls, in the order in which they were added, the entries of the rows whose range holds the message's id and
    /// which take messages from \p endpoint. Messages from an endpoint that no row belongs to reach every row.
    /// Questions have a sender address; notifications have none. A handler that throws is reported on standard error,
    /// and the next one is called all the same. \return whether none has thrown.
    bool dispatch(const std::string& endpoint, const MSG_Message* message) const;

private:
    struct Row {
        MSG_Callback callback;
        void* link;  ///< the link's context, which the row's own may stand for
        bool takesAll = false;
        std::set<std::string> endpoints;
        std::set<std::string> handedOver;  ///< those of them whose notifications it does not take
    };

    /// Never changed once it is in use: a dispatch goes on with the one that it began with.
    struct Rows {
        std::vector<Row> rows;
        std::set<std::string> owned;  ///< the endpoints that some row belongs to
    };

    NamedEndpoints m_named;  // synchronises itself
    mutable AppConfig::PlainMutex m_mutex;
    std::shared_ptr<const Rows> m_rows APPCONFIG_GUARDED_BY(m_mutex) = std::make_shared<Rows>();
};

}  // namespace AppConfigHost
