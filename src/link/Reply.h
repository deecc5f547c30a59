#pragma once

#include "model/Revision.h"
#include "wire/CarriesUnknown.h"

namespace AppConfig {

/// \return whether \p reply reports success. An error number that is not known here is a failure.
template <typename Reply>
bool succeeded(const Reply& reply) {
    return reply.error() == 0 && !AppConfigWire::carriesUnknown(reply, Reply::kErrorFieldNumber);
}

/// \return the revision that \p message gives its value.
template <typename Message>
Revision revisionOf(const Message& message) {
    Revision revision;
    revision.known = message.revision().has_timeline() && message.revision().has_change();
    revision.timeline = message.revision().timeline();
    revision.change = message.revision().change();
    return revision;
}

}  // namespace AppConfig
