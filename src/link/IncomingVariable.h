#pragma once

#include <string>

#include "AppConfig/ConfigVar.h"
#include "AppConfig/ProtobufMessageHelper.h"

namespace AppConfig {

/// A variable's parts as an incoming message names them. A plain value.
struct IncomingVariable {
    std::string node;
    int nodeInstance = 0;
    std::string attribute;
    int attributeInstance = 0;

    /// \return whether \p inst could be read; otherwise nothing changed.
    bool read(const ConfigIF::Inst& inst) {
        return ProtobufMessageHelper::getConfigVarName(node, nodeInstance, attribute, attributeInstance, inst) == 0;
    }

    /// What this process keeps about an incoming variable is kept under namespace 0, whatever namespace the message
    /// names: messages come from this link's own service.
    ConfigVar key() const { return ConfigVar(0, node, nodeInstance, attribute, attributeInstance); }
};

}  // namespace AppConfig
