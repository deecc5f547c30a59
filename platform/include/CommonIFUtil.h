#pragma once

#include "AppConfig/ErrorType.h"

namespace CommonIF {
enum eErrorType : int;
}

/// \return the library's number for \p error: the same number when the definition knows it, else CFG_ERROR_GENERAL.
eErrorT convertErrorTypeToCommonPbType(CommonIF::eErrorType error);
