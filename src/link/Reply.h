#pragma once

#include "protocol/CarriesUnknown.h"

namespace AppConfig {

/// \return whether \p reply says that the service did as it was asked. An error number without a meaning here says no.
template <typename Reply>
bool succeeded(const Reply& reply) {
    return reply.error() == 0 && !carriesUnknown(reply, Reply::kErrorFieldNumber);
}

}  // namespace AppConfig
