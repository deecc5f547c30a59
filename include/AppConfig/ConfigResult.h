#pragma once

#include <list>
#include <string>

#include "AppConfig/ErrorType.h"
#include "AppConfig/Export.h"

/// The outcome of a write, a validation or a question to a provider. The library fills one from the service's reply; a
/// provider fills one, which the library sends to the service.
///
/// A plain value that owns its texts. Not synchronised.
class APPCONFIG_EXPORT ConfigResult {
public:
    /// Sets \p r back to "no error": error 0, flag false, no messages. The server context and the client name stay.
    /// \return \p r
    static ConfigResult& fillDefaults(ConfigResult& r);

    /// Stores \p error and \p flag; messages and names stay. Nothing is checked here, but if a provider returns a
    /// result whose number is not one of eErrorT, an assertion ends the process when the answer is built. \return \p
    /// ret, so that a function can fill its result and return in one expression.
    bool fillConfigResult(bool ret, eErrorT error, bool flag);

    /// Appends a copy of \p msg, also if the same text is there already.
    void addResultMessage(std::string const& msg);

    void setServerContext(std::string const& s);
    void setClientName(std::string const& s);

    eErrorT m_error = CFG_ERROR_NONE;   ///< 0 means no error; one of eErrorT
    bool m_flag = false;                ///< a yes/no qualifier that travels with the error
    std::list<std::string> m_messages;  ///< for people, in the order in which they were added
    std::string m_serverContext;        ///< supplied by the service, returned to it unchanged
    std::string m_clientName;           ///< the requester that the outcome concerns
};
