#pragma once

#include <cstdint>
#include <string>

#include "configservice.pb.h"
#include "wire/Lower.h"

/// How an Inst names a variable: the namespace, if there is one, as a step called "cfg"; the node, which may take
/// several steps; and the attribute. Pure functions.
namespace AppConfigWire {

inline constexpr char namespaceStep[] = "cfg";

/// \return whether \p inst begins with a namespace.
inline bool carriesNamespace(const ConfigIF::Inst& inst) {
    return inst.node_size() > 0 && inst.node(0).name() == namespaceStep;
}

/// \return the namespace; 0 when there is none.
inline int namespaceOf(const ConfigIF::Inst& inst) {
    return carriesNamespace(inst) ? inst.node(0).instance() : 0;
}

/// Reads the names, in lower case, and their instances. The node is appended to what \p node already holds; its
/// instance is that of its last step, and stays untouched if there is only an attribute.
/// \return whether \p inst names anything besides a namespace; if not, nothing is changed.
inline bool readNames(const ConfigIF::Inst& inst, std::string& node, int& nodeInstance, std::string& attribute,
                      int& attributeInstance) {
    const int first = carriesNamespace(inst) ? 1 : 0;
    const int last = inst.node_size() - 1;
    if (last < first) return false;
    for (int step = first; step < last; ++step) {
        if (!node.empty()) node += '.';
        node += inst.node(step).name();
        lower(node);
        nodeInstance = inst.node(step).instance();
    }
    attribute = lowered(inst.node(last).name());
    attributeInstance = inst.node(last).instance();
    return true;
}

inline void addStep(ConfigIF::Inst& inst, const std::string& name, std::int32_t instance) {
    ConfigIF::Node* const step = inst.add_node();
    step->set_name(name);
    step->set_instance(instance);
}

/// Appends the steps of a name; a namespace below 1 is left out.
inline void addNames(ConfigIF::Inst& inst, std::int32_t namespaceNumber, const std::string& node,
                     std::int32_t nodeInstance, const std::string& attribute, std::int32_t attributeInstance) {
    if (namespaceNumber >= 1) addStep(inst, namespaceStep, namespaceNumber);
    addStep(inst, node, nodeInstance);
    addStep(inst, attribute, attributeInstance);
}

}  // namespace AppConfigWire
