#pragma once

#include <cstdint>
#include <string>

#include "AppConfig/Export.h"

/// Names one configuration variable: a node, one of its attributes, the instance number of each, and the namespace of
/// the variable.
///
/// A plain value that owns its two names. After init() or the five-part constructor, node and attribute are in lower
/// case (ASCII), and a copy is converted again. Code that writes m_node or m_attribute directly must keep them so. Not
/// synchronised; distinct objects may be used by distinct threads.
class APPCONFIG_EXPORT ConfigVar {
public:
    /// All numbers 0, both names empty.
    ConfigVar() = default;

    /// The same as default construction followed by init().
    ConfigVar(int ns, const std::string& node, int nodeInstance, const std::string& attribute, int attributeInstance);

    /// Copies go through init(): the names are converted to lower case again, and m_spare is 0.
    ConfigVar(const ConfigVar& other);
    ConfigVar& operator=(const ConfigVar& other);
    ~ConfigVar() = default;

    /// Fills every field. 'A' to 'Z' in \p node and \p attribute become lower case, in every locale; every other byte
    /// stays. Nothing is checked: empty names, spaces and negative numbers are stored as given. m_spare becomes 0.
    void init(int ns, std::string const& node, int nodeInstance, std::string const& attribute, int attributeInstance);

    /// \return the fully qualified name: the node and, unless the attribute is empty, "." and the attribute. Namespace
    /// and instances are not part of it.
    std::string getFQName() const;

    /// Orders by namespace, node, node instance, attribute, attribute instance; numbers as signed numbers, names as
    /// unsigned bytes, the shorter first. m_spare does not count.
    bool operator<(ConfigVar const& other) const;

    /// \return whether all five parts are equal; m_spare does not count.
    bool operator==(ConfigVar const& other) const;
    bool operator!=(ConfigVar const& other) const { return !(*this == other); }

    std::int32_t m_namespace = 0;  ///< 0: none given; 1 or more: the number of a configuration service
    std::string m_node;            ///< may contain "." between nested nodes
    std::int32_t m_nodeInstance = 0;
    std::string m_attribute;  ///< empty: the variable stands for the node itself
    std::int32_t m_attributeInstance = 0;
    std::int32_t m_spare = 0;  ///< has no meaning, and is not copied
};
