#pragma once

#include <cstdint>
#include <list>
#include <string>
#include <vector>

#include "AppConfig/ConfigAccessLevels.h"
#include "AppConfig/Export.h"
#include "AppConfig/SecurityRole.h"

namespace AppConfig {

/// What this process knows of one variable: its value, its access levels, its options with the default index, and
/// whether the value is the default. These arrive one by one, so most of them say whether they are known.
///
/// A plain value that owns its texts; in a new one nothing is known. Not synchronised.
class APPCONFIG_EXPORT ConfigValue {
public:
    /// \return whether the value has at least one string.
    bool hasValue() const;
    /// \return whether both the read role and the write role are known.
    bool hasAccessLevels() const;
    /// \return whether the options are known, also if it is known that there are none.
    bool hasOptions() const;

    /// Replaces the value; nothing else changes.
    void setValue(std::list<std::string> const& v);
    /// \return a copy; a scalar is a list of one string.
    std::list<std::string> getValue() const;
    /// \return the first string of the value, or an empty string if there is none.
    std::string getSinglestringValue() const;

    void isDefault(bool isDefault);
    bool isDefault() const;

    /// The index is not compared with the number of options.
    void defaultIndex(unsigned int index);
    unsigned int defaultIndex() const;

    /// Stores the role and marks it as known.
    void readRole(SecurityRole role);
    /// \return the role; SECURITY_ROLE_NONE while it is not known.
    SecurityRole readRole() const;
    void writeRole(SecurityRole role);
    SecurityRole writeRole() const;

    /// Copies each role whose flag is set in \p levels; a role whose flag is not set keeps its value and its flag.
    void accessLevels(ConfigAccessLevels levels);
    /// \return both roles with their flags.
    ConfigAccessLevels accessLevels() const;
    /// Makes both roles unknown again; they are then SECURITY_ROLE_NONE.
    void clearAccessLevels();

    /// Replaces the options, duplicates included, and marks them as known, also if \p o is empty.
    void setOptions(std::vector<std::string> const& o);
    /// \return a copy. If there are no options, also writes the line "empty in getOptions" to standard output.
    std::vector<std::string> getOptions() const;
    /// Appends \p o unless an equal option (byte by byte) is there; marks the options as known in any case.
    void addOption(std::string const& o);
    /// Calls addOption() for each element in order; marks the options as known, also if \p l is empty.
    void addOptions(std::list<std::string> const& l);
    /// Removes the first option equal to \p o; the others keep their order. Neither the default index nor the known
    /// flag changes, so the index may afterwards name another option or none: the service sends a new one.
    void deleteOption(std::string const& o);
    /// Removes every option and marks the options as unknown.
    void clearOptions();

    /// \return whether \p role reaches the stored role. True for every role while the stored one is not known; check
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
