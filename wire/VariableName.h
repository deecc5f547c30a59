#pragma once

#include <cstdint>
#include <string>

namespace AppConfigWire {

/// Names a variable of one service, without the service's namespace. Both names are in lower case (ASCII). A plain
/// value.
struct VariableName {
    VariableName() = default;

    /// Puts the names into lower case; checks nothing else.
    VariableName(std::string nodeName, std::int32_t nodeNumber, std::string attributeName,
                 std::int32_t attributeNumber);

    /// \return node and attribute with a dot between them; the node alone when there is no attribute. Without
    /// instances.
    std::string fullyQualified() const;

    /// Orders by node, node instance, attribute, attribute instance; names as unsigned bytes, the shorter first.
    bool operator<(const VariableName& other) const;
    bool operator==(const VariableName& other) const;
    bool operator!=(const VariableName& other) const { return !(*this == other); }

    std::string node;  ///< may hold "." between nested nodes
    std::int32_t nodeInstance = 0;
    std::string attribute;
    std::int32_t attributeInstance = 0;
};

}  // namespace AppConfigWire
