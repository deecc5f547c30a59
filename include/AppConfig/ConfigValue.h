#pragma once

#include <cstdint>
#include <list>
#include <string>
#include <vector>

#include "AppConfig/ConfigAccessLevels.h"
#include "AppConfig/Export.h"
#include "AppConfig/SecurityRole.h"

namespace AppConfig {

/// What this process knows of one variable: its value, its access levels, its options with the index of the default
/// option, and whether the value is the default. The pieces arrive one by one, so most say whether they are known.
///
/// A plain value that owns its texts; a new one knows nothing. Not synchronised.
class APPCONFIG_EXPORT ConfigValue {
public:
    /// \return whether the value holds at least one string.
    bool hasValue() const;
    /// \return whether both the read role and the write role are known.
    bool hasAccessLevels() const;
    /// \return whether the options are known; they may be known to be none.
    bool hasOptions() const;

    /// Replaces the value and touches nothing else.
    void setValue(std::list<std::string> const& v);
    /// \return a copy; a scalar is a list of one string.
    std::list<std::string> getValue() const;
    /// \return the first string of the value, or an empty string when there is none.
    std::string getSinglestringValue() const;

    void isDefault(bool isDefault);
    bool isDefault() const;

    /// The index is not compared with the number of options.
    void defaultIndex(unsigned int index);
    unsigned int defaultIndex() const;

    /// Stores the role and marks it known.
    void readRole(SecurityRole role);
    /// \return the role, which is SECURITY_ROLE_NONE while it is not known.
    SecurityRole readRole() const;
    void writeRole(SecurityRole role);
    SecurityRole writeRole() const;

    /// Takes over each role whose flag is set in \p levels; a role whose flag is not set keeps its value and its flag.
    void accessLevels(ConfigAccessLevels levels);
    /// \return both roles with their flags.
    ConfigAccessLevels accessLevels() const;
    /// Makes both roles unknown again; they are then SECURITY_ROLE_NONE.
    void clearAccessLevels();

    /// Replaces the options, duplicates included, and marks them known, also when \p o is empty.
    void setOptions(std::vector<std::string> const& o);
    /// \return a copy. When there are no options it also writes the line "empty in getOptions" to standard output.
    std::vector<std::string> getOptions() const;
    /// Appends \p o unless an equal option (byte by byte) is there; marks the options known in any case.
    void addOption(std::string const& o);
    /// Calls addOption() for each element in order; marks the options known, also when \p l is empty.
    void addOptions(std::list<std::string> const& l);
    /// Removes the first option equal to \p o; the others keep their order. Neither the default index nor the known
    /// flag changes, so the index may afterwards name another option or none: the service sends a new one.
    void deleteOption(std::string const& o);
    /// Removes every option and marks them unknown.
    void clearOptions();

    /// \return whether \p role reaches the stored role. True for every role while the stored one is not known; ask
    /// hasAccessLevels() first where that matters.
    bool canRead(SecurityRole role) const;
    bool canWrite(SecurityRole role) const;

private:
    std::list<std::string> m_value;
    SecurityRole m_readRole = SECURITY_ROLE_NONE;
    SecurityRole m_writeRole = SECURITY_ROLE_NONE;
    bool m_hasReadRole = false;
    bool m_hasWriteRole = false;
    std::vector<std::string> m_options;
    bool m_hasOptions = false;
    bool m_isDefault = false;
    std::uint32_t m_defaultIndex = 0;
};

}  // namespace AppConfig
