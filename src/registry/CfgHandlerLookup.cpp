#include "AppConfig/CfgHandlerLookup.h"

bool CfgHandlerLookup::operator()(ConfigVar const& a, ConfigVar const& b) const {
    if (const int order = a.m_node.compare(b.m_node); order != 0) return order < 0;
    return a.m_attribute < b.m_attribute;
}
