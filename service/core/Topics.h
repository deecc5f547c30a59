#pragma once

#include <optional>

#include "configservice.pb.h"
#include "core/Types.h"

namespace AppConfigService {

/// \return the kind of registration that \p topic needs.
inline ConfigIF::CallbackType callbackOf(Topic topic) {
    constexpr ConfigIF::CallbackType types[] = {
        ConfigIF::CALLBACK_OPTIONS_CHANGED, ConfigIF::CALLBACK_ACCESS_LEVELS_CHANGED, ConfigIF::CALLBACK_CONFIG_CHANGED,
        ConfigIF::CALLBACK_ON_CHANGE,       ConfigIF::CALLBACK_ATTRIBUTE_CHANGED,     ConfigIF::CALLBACK_SUBMIT};
    return types[static_cast<std::size_t>(topic)];
}

/// \return the state that a registration of \p type keeps its client informed of; nothing when it is for events or for
/// judging.
inline std::optional<Topic> stateOf(int type) {
    for (std::size_t i = 0; i < stateTopics; ++i) {
        const auto topic = static_cast<Topic>(i);
        if (callbackOf(topic) == type) return topic;
    }
    return std::nullopt;
}

/// \return the state that a change of \p kind is told as.
inline Topic topicOf(ChangeKind kind) {
    if (kind == ChangeKind::options) return Topic::options;
    return kind == ChangeKind::levels ? Topic::levels : Topic::value;
}

/// \return the kind of change that makes \p topic, a state, another one.
inline ChangeKind kindOf(Topic topic) {
    if (topic == Topic::options) return ChangeKind::options;
    return topic == Topic::levels ? ChangeKind::levels : ChangeKind::value;
}

}  // namespace AppConfigService
