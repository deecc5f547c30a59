#pragma once

#include <string>

#include "AppConfig/ConfigVar.h"

namespace AppConfig {

/// How a registration reaches a variable.
enum class Reach {
    none,
    exact,    ///< it was made for the variable's fully qualified name
    wildcard  ///< it was made for the whole of the variable's node or of a node above
};

/// \return how a registration for \p key reaches \p var, whose fully qualified name is \p name. Namespaces and
/// instances play no part. Builds no text: each dispatch and each registration asks this about every entry of a table.
inline Reach reach(const ConfigVar& key, const ConfigVar& var, const std::string& name) {
    const std::string& node = key.m_node;
    const std::string& attribute = key.m_attribute;
    if (!attribute.empty()) {
        const std::size_t dot = node.size();
        const bool same = name.size() == dot + 1 + attribute.size() && name[dot] == '.' &&
                          name.compare(0, dot, node) == 0 && name.compare(dot + 1, attribute.size(), attribute) == 0;
        return same ? Reach::exact : Reach::none;
    }
    if (node == name) return Reach::exact;
    const auto small = [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c | 0x20) : c; };
    if (node.size() > var.m_node.size()) return Reach::none;
    // Names that somebody wrote into a variable directly may hold capitals, and bytes of any kind.
    for (std::size_t i = 0; i < node.size(); ++i) {
        if (small(node[i]) != small(var.m_node[i])) return Reach::none;
    }
    return node.size() == var.m_node.size() || var.m_node[node.size()] == '.' ? Reach::wildcard : Reach::none;
}

}  // namespace AppConfig
