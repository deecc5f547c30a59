#include "AppConfig/ConfigVar.h"

#include <utility>

#include "wire/Lower.h"

using AppConfigWire::lower;

ConfigVar::ConfigVar(int ns, const std::string& node, int nodeInstance, const std::string& attribute,
                     int attributeInstance) {
    init(ns, node, nodeInstance, attribute, attributeInstance);
}

ConfigVar::ConfigVar(const ConfigVar& other) {
    init(other.m_namespace, other.m_node, other.m_nodeInstance, other.m_attribute, other.m_attributeInstance);
}

ConfigVar& ConfigVar::operator=(const ConfigVar& other) {
    init(other.m_namespace, other.m_node, other.m_nodeInstance, other.m_attribute, other.m_attributeInstance);
    return *this;
}

void ConfigVar::init(int ns, std::string const& node, int nodeInstance, std::string const& attribute,
                     int attributeInstance) {
    m_namespace = ns;
    // Both are copied before either is stored: a caller may hand this variable its own names, in the other order.
    std::string newNode = node;
    std::string newAttribute = attribute;
    lower(newNode);
    lower(newAttribute);
    m_node = std::move(newNode);
    m_nodeInstance = nodeInstance;
    m_attribute = std::move(newAttribute);
    m_attributeInstance = attributeInstance;
    m_spare = 0;
}

std::string ConfigVar::getFQName() const {
    std::string name = m_node;
    if (!m_attribute.empty()) {
        name += '.';
        name += m_attribute;
    }
    return name;
}

bool ConfigVar::operator<(ConfigVar const& other) const {
    if (m_namespace != other.m_namespace) return m_namespace < other.m_namespace;
    if (const int order = m_node.compare(other.m_node); order != 0) return order < 0;
    if (m_nodeInstance != other.m_nodeInstance) return m_nodeInstance < other.m_nodeInstance;
    if (const int order = m_attribute.compare(other.m_attribute); order != 0) return order < 0;
    return m_attributeInstance < other.m_attributeInstance;
}

bool ConfigVar::operator==(ConfigVar const& other) const {
    return m_namespace == other.m_namespace && m_node == other.m_node && m_nodeInstance == other.m_nodeInstance &&
           m_attribute == other.m_attribute && m_attributeInstance == other.m_attributeInstance;
}
