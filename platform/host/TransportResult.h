#pragma once

#include <string>
#include <utility>

#include "TransportStatus.h"
#include "wire/Result.h"

namespace AppConfigHost {

/// Why a step on a connection failed. The reason is what the system or the peer said, and may be empty: the status
/// stands for a clause of its own, see transportStatusText().
using Failure = AppConfigWire::FailureOf<PbUtility::TransportStatus>;

template <typename T = void>
using Result = AppConfigWire::ResultOf<T, PbUtility::TransportStatus>;

using AppConfigWire::failure;

/// \return TRANSPORT_OK, or the code of the failure.
template <typename T>
PbUtility::TransportStatus statusOf(const Result<T>& result) {
    return result ? PbUtility::TRANSPORT_OK : result.error().code;
}

}  // namespace AppConfigHost
