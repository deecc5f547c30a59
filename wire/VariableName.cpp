#include "wire/VariableName.h"

#include <tuple>
#include <utility>

#include "wire/Lower.h"

namespace AppConfigWire {

VariableName::VariableName(std::string nodeName, std::int32_t nodeNumber, std::string attributeName,
                           std::int32_t attributeNumber)
    : node(lowered(std::move(nodeName))),
      nodeInstance(nodeNumber),
      attribute(lowered(std::move(attributeName))),
      attributeInstance(attributeNumber) {}

std::string VariableName::fullyQualified() const {
    return attribute.empty() ? node : node + "." + attribute;
}

bool VariableName::operator<(const VariableName& other) const {
    return std::tie(node, nodeInstance, attribute, attributeInstance) <
           std::tie(other.node, other.nodeInstance, other.attribute, other.attributeInstance);
}

bool VariableName::operator==(const VariableName& other) const {
    return std::tie(node, nodeInstance, attribute, attributeInstance) ==
           std::tie(other.node, other.nodeInstance, other.attribute, other.attributeInstance);
}

}  // namespace AppConfigWire
