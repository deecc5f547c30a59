#pragma once

#include <cstdint>

#include "AppConfig/Export.h"

/// Why an operation failed. The numbers are those of the service's CommonIF::eErrorType; 0 means no error. A number
/// that this library does not know never counts as success.
enum eErrorT : std::int32_t {
    CFG_ERROR_NONE = 0,                  ///< done
    CFG_ERROR_GENERAL = -1,              ///< failed for a reason that has no number of its own
    CFG_ERROR_UNKNOWN_VARIABLE = -2,     ///< no variable of that name
    CFG_ERROR_ACCESS_DENIED = -3,        ///< the role does not reach the level that the operation needs
    CFG_ERROR_WRONG_TYPE = -4,           ///< the value does not have the variable's type
    CFG_ERROR_OUT_OF_RANGE = -5,         ///< a number below the minimum or above the maximum
    CFG_ERROR_TOO_LONG = -6,             ///< a text longer than the variable allows
    CFG_ERROR_PATTERN_MISMATCH = -7,     ///< a text that does not match the variable's pattern
    CFG_ERROR_NOT_AN_OPTION = -8,        ///< a text that is not one of the variable's options
    CFG_ERROR_TOO_MANY_ELEMENTS = -9,    ///< a list with more elements than the variable allows
    CFG_ERROR_INDEX_OUT_OF_RANGE = -10,  ///< a default index beyond the options
    CFG_ERROR_REJECTED = -11,            ///< a provider refused the value
    CFG_ERROR_PROVIDER_TIMEOUT = -12,    ///< a provider did not answer in time
    CFG_ERROR_PROVIDER_GONE = -13,       ///< the connection to a provider was lost before it answered
    CFG_ERROR_BUSY = -14,                ///< a decision about the variable waits for this client itself
    CFG_ERROR_STORAGE = -15,             ///< the service could not store the change
    CFG_ERROR_LIMIT = -16,               ///< a limit of the service is reached
    CFG_ERROR_INVALID_REQUEST = -17,     ///< the request lacks something or contradicts itself
    CFG_ERROR_NOT_SUPPORTED = -18,       ///< the service does not serve this request
    CFG_ERROR_UNAVAILABLE = -19,         ///< the service is ending or not ready
    CFG_ERROR_NO_PROVIDER = -20,         ///< the variable requires a provider, and none is connected
    CFG_ERROR_MALFORMED_NAME = -25,      ///< the variable's name cannot be read
};

namespace AppConfig {

/// \return a phrase for people that says what \p error means, such as "no variable of that name"; "unknown error" for a
/// number without a meaning. Never null; the text lives as long as the library. Any thread; does not block.
APPCONFIG_EXPORT const char* errorText(eErrorT error);

}  // namespace AppConfig
