#pragma once

#include <list>
#include <string>

#include "AppConfig/ErrorType.h"
#include "AppConfig/Export.h"

/// The outcome of a write, a validation or a provider's decision. The library fills one from the service's reply; a
/// provider fills one that the library sends to the service.
///
/// A plain value that owns its texts. Not synchronised.
class APPCONFIG_EXPORT ConfigResult {
public:
    /// Sets \p r back to "no error": error 0, flag false, no messages. The server context and the client name stay.
    /// \return \p r
    static ConfigResult& fillDefaults(ConfigResult& r);

    /// Stores \p error and \p flag; messages and names stay. Nothing is checked here; but a result that a provider
    /// hands back with a number that is none of eErrorT ends the process by an assertion when the answer is built.
    /// \return \p ret, so that a function can fill its result and return in one expression.
    bool fillConfigResult(bool ret, eErrorT error, bool flag);

    /// Appends a copy of \p msg, also when the same text is there already.
    void addResultMessage(std::string const& msg);

    void setServerContext(std::string const& s);
    void setClientName(std::string const& s);

    eErrorT m_error = CFG_ERROR_NONE;   ///< 0 means no error; one of eErrorT
    bool m_flag = false;                ///< a yes/no qualifier that travels with the error
    std::list<std::string> m_messages;  ///< for people, in the order in which they were added
    std::string m_serverContext;        ///< supplied by the service, handed back to it unchanged
    std::string m_clientName;           ///< the client that the outcome concerns
};
