#include "core/Operation.h"

#include "core/ValueRules.h"

namespace AppConfigService {

const char* nameOf(ChangeRequest::Kind kind) {
    switch (kind) {
        case ChangeRequest::Kind::write: return "write";
        case ChangeRequest::Kind::validate: return "validation";
        case ChangeRequest::Kind::reset: return "reset";
        case ChangeRequest::Kind::options: return "options";
    }
    return "request";
}

Result<> checkRules(Operation& operation) {
    const Variable& variable = *operation.variable;
    const VariableRow& row = variable.row;
    switch (operation.kind) {
        case ChangeRequest::Kind::reset:
            operation.proposed = effectiveDefault(*variable.definition, row.options, row.defaultIndex);
            return {};
        case ChangeRequest::Kind::options: {
            const std::uint32_t kept = row.defaultIndex < operation.options.size() ? row.defaultIndex : 0;
            return checkOptions(*variable.definition, operation.options, operation.defaultIndex.value_or(kept));
        }
        case ChangeRequest::Kind::write:
        case ChangeRequest::Kind::validate: return checkValue(*variable.definition, row.options, operation.proposed);
    }
    return failure(CommonIF::ERROR_GENERAL, "unknown kind of change");
}

VariableRow nextRow(const Operation& operation) {
    const VariableDefinition& definition = *operation.variable->definition;
    VariableRow row = operation.variable->row;
    if (operation.kind == ChangeRequest::Kind::options) {
        const std::uint32_t kept = row.defaultIndex < operation.options.size() ? row.defaultIndex : 0;
        row.options = operation.options;
        row.defaultIndex = operation.defaultIndex.value_or(kept);
        row.ownOptions = row.options != definition.options || row.defaultIndex != definition.defaultIndex;
        if (!checkValue(definition, row.options, row.value)) {
            row.value = effectiveDefault(definition, row.options, row.defaultIndex);
        }
    } else {
        row.value = operation.proposed;
    }
    row.ownValue = row.value != effectiveDefault(definition, row.options, row.defaultIndex);
    return row;
}

}  // namespace AppConfigService
