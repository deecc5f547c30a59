#pragma once

#include <string>
#include <vector>

#include "core/Catalogue.h"
#include "process/Operation.h"

namespace Simulation {

enum class Type : std::uint8_t { text, number, flag, list, option };

/// One of the variables that every simulated service serves.
struct VariableKind {
    VariableName name;
    Type type = Type::text;
    bool provided = false;  ///< providers like to register for it
};

/// Indexes of the variables that scripts treat in a way of their own.
namespace Special {
enum Index : int { number = 2, flag = 4, mode = 5, secret = 6, owned = 7, ownedNumber = 8, choice = 10 };
}

/// The variables, the same in every simulation. Their indexes stand for them.
const std::vector<VariableKind>& variables();

/// \return the variable's name for people, such as "alpha[2].text[1]".
const std::string& display(int variable);
std::vector<VariableName> variableNames();

/// The definitions that simulated services may be told to read; each starts with the first.
std::vector<AppConfigService::Definitions> readDefinitionSets();
/// One of them as it is written.
std::string definitionText(std::size_t number);
inline constexpr int definitionSets = 4;

/// \return whether the value of \p row is the default as \p definitions have it.
bool isDefault(const AppConfigService::Definitions& definitions, const AppConfigService::VariableRow& row);

/// The user that services run as, and one whose role is limited.
inline constexpr std::uint32_t ownUser = 1000;
inline constexpr std::uint32_t otherUser = 2000;

/// What the namespace and the path of the second service are.
inline constexpr int secondNamespace = 5;
inline constexpr const char* secondPath = "second";

}  // namespace Simulation
