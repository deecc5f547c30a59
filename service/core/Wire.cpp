#include "core/Wire.h"

#include <google/protobuf/unknown_field_set.h>

#include "AppConfig/ProtobufMessageHelper.h"

namespace AppConfigService {

namespace {

constexpr CommonIF::eSecurityRole wireRoles[] = {CommonIF::SECURITY_ROLE_WIRE_10, CommonIF::SECURITY_ROLE_WIRE_20,
                                                 CommonIF::SECURITY_ROLE_WIRE_40, CommonIF::SECURITY_ROLE_WIRE_30,
                                                 CommonIF::SECURITY_ROLE_WIRE_50};

}  // namespace

int roleFromWire(CommonIF::eSecurityRole role) {
    for (int i = 4; i > 0; --i) {
        if (wireRoles[i] == role) return i;
    }
    return 0;
}

CommonIF::eSecurityRole roleToWire(int role) {
    return wireRoles[role >= 1 && role <= 4 ? role : 0];
}

Verdict readName(const ConfigIF::Inst& inst, int namespaceNumber, ConfigVar& name) {
    AppConfig::ProtobufMessageHelper helper;
    std::string node;
    std::string attribute;
    int nodeInstance = 0;
    int attributeInstance = 0;
    if (helper.getConfigVarName(node, nodeInstance, attribute, attributeInstance, inst) != 0) {
        return {CommonIF::ERROR_MALFORMED_NAME, "the request names no variable"};
    }
    name.init(0, node, nodeInstance, attribute, attributeInstance);
    const bool carriesNamespace = inst.node(0).name() == "cfg";
    const int wanted = helper.getConfigVarNamespace(inst);
    if (carriesNamespace && wanted != namespaceNumber) {
        return {CommonIF::ERROR_UNKNOWN_VARIABLE, "this service does not serve namespace " + std::to_string(wanted)};
    }
    return {};
}

void writeName(const ConfigVar& name, bool namespaceScoped, int namespaceNumber, ConfigIF::Inst& inst) {
    ConfigVar named;
    named.init(namespaceNumber, name.m_node, name.m_nodeInstance, name.m_attribute, name.m_attributeInstance);
    AppConfig::ProtobufMessageHelper helper;
    helper.addVarName(&inst, named);
    if (namespaceScoped) inst.set_scope(ConfigIF::SCOPE_NAMESPACE);
}

bool hasUnknown(const google::protobuf::Message& message, int number) {
    const google::protobuf::UnknownFieldSet& unknown = message.GetReflection()->GetUnknownFields(message);
    // Messages without unknown fields share one empty set, which another thread of the process may have made.
    if (&unknown == &google::protobuf::UnknownFieldSet::default_instance()) return false;
    for (int i = 0; i < unknown.field_count(); ++i) {
        if (unknown.field(i).number() == number) return true;
    }
    return false;
}

std::string lowered(std::string text) {
    for (char& c : text) {
        if (c >= 'A' && c <= 'Z') c = static_cast<char>(c | 0x20);
    }
    return text;
}

}  // namespace AppConfigService
