#include "AppConfig/ErrorType.h"

namespace AppConfig {

const char* errorText(eErrorT error) {
    switch (error) {
        case CFG_ERROR_NONE: return "no error";
        case CFG_ERROR_GENERAL: return "the operation failed";
        case CFG_ERROR_UNKNOWN_VARIABLE: return "no variable of that name";
        case CFG_ERROR_ACCESS_DENIED: return "the role does not reach the variable's access level";
        case CFG_ERROR_WRONG_TYPE: return "the value does not have the variable's type";
        case CFG_ERROR_OUT_OF_RANGE: return "the number is out of range";
        case CFG_ERROR_TOO_LONG: return "the text is too long";
        case CFG_ERROR_PATTERN_MISMATCH: return "the text does not match the variable's pattern";
        case CFG_ERROR_NOT_AN_OPTION: return "the text is not one of the variable's options";
        case CFG_ERROR_TOO_MANY_ELEMENTS: return "the list has too many elements";
        case CFG_ERROR_INDEX_OUT_OF_RANGE: return "the default index is beyond the options";
        case CFG_ERROR_REJECTED: return "a provider refused the value";
        case CFG_ERROR_PROVIDER_TIMEOUT: return "a provider did not answer in time";
        case CFG_ERROR_PROVIDER_GONE: return "the connection to a provider was lost before it answered";
        case CFG_ERROR_BUSY: return "a decision about the variable waits for the writer itself";
        case CFG_ERROR_STORAGE: return "the service could not store the change";
        case CFG_ERROR_LIMIT: return "a limit of the service is reached";
        case CFG_ERROR_INVALID_REQUEST: return "the request is incomplete or contradicts itself";
        case CFG_ERROR_NOT_SUPPORTED: return "the service does not support this request";
        case CFG_ERROR_UNAVAILABLE: return "the service is not ready";
        case CFG_ERROR_NO_PROVIDER: return "the variable requires a provider, and none is connected";
        case CFG_ERROR_MALFORMED_NAME: return "the variable's name cannot be read";
    }
    return "unknown error";
}

}  // namespace AppConfig
