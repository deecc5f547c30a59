#include "core/Names.h"

#include "wire/Inst.h"

namespace AppConfigService {

Result<VariableName> readName(const ConfigIF::Inst& inst, int namespaceNumber) {
    VariableName name;
    if (!AppConfigWire::readNames(inst, name.node, name.nodeInstance, name.attribute, name.attributeInstance)) {
        return failure(CommonIF::ERROR_MALFORMED_NAME, "the request does not name a variable");
    }
    const int wanted = AppConfigWire::namespaceOf(inst);
    if (AppConfigWire::carriesNamespace(inst) && wanted != namespaceNumber) {
        return failure(CommonIF::ERROR_UNKNOWN_VARIABLE,
                       "this service does not serve namespace " + std::to_string(wanted));
    }
    return name;
}

void writeName(const VariableName& name, bool namespaceScoped, int namespaceNumber, ConfigIF::Inst& inst) {
    AppConfigWire::addNames(inst, namespaceNumber, name.node, name.nodeInstance, name.attribute,
                            name.attributeInstance);
    if (namespaceScoped) inst.set_scope(ConfigIF::SCOPE_NAMESPACE);
}

}  // namespace AppConfigService
