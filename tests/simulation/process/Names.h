#pragma once

#include <map>
#include <string>
#include <vector>

#include "process/Operation.h"
#include "wire/VariableName.h"

namespace Simulation {

/// Finds the simulation's variables by their names. Thread-safe once made.
class Names {
public:
    explicit Names(const std::vector<VariableName>& variables) : m_names(variables) {
        int index = 0;
        for (const VariableName& name : variables) m_indexes.emplace(key(name), index++);
    }

    /// \return the index of that variable; -1 when it is none of the simulation's.
    int find(const std::string& node, int nodeInstance, const std::string& attribute, int attributeInstance) const {
        const auto found = m_indexes.find({node, nodeInstance, attribute, attributeInstance});
        return found == m_indexes.end() ? -1 : found->second;
    }

    const VariableName& operator[](int index) const { return m_names[static_cast<std::size_t>(index)]; }
    AppConfigWire::VariableName variable(int index) const { return key((*this)[index]); }

private:
    static AppConfigWire::VariableName key(const VariableName& name) {
        return {name.node, name.nodeInstance, name.attribute, name.attributeInstance};
    }

    const std::vector<VariableName> m_names;
    std::map<AppConfigWire::VariableName, int> m_indexes;
};

}  // namespace Simulation
