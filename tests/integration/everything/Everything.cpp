#include "Everything.h"

#include "configadmin.pb.h"

namespace AppConfigTest {

using AppConfig::ConfigValue;
using AppConfig::SecurityRole;

void Everything::readValues() {
    Texts value;
    EXPECT_IN(m_report, m_config.getConfigVar(text, value) == Texts{defaultText});
    EXPECT_IN(m_report, m_config.getConfigVar(node, 1, "T\351XT", 2, value) == Texts{defaultText});
    EXPECT_IN(m_report, m_config.getConfigVar(text) == defaultText);
    EXPECT_IN(m_report, m_config.getConfigVar(node, 1, "t\351xt", 2) == defaultText);
    EXPECT_IN(m_report, m_config.getConfigVarBool(flag));
    EXPECT_IN(m_report, m_config.getConfigVarBool(node, 0, "fl\344g", 0));
    EXPECT_IN(m_report, m_config.getConfigVarInt(number) == 7);
    EXPECT_IN(m_report, m_config.getConfigVarInt(node, 0, "n\372mber", 0) == 7);
    EXPECT_IN(m_report, (m_config.getConfigVar(several, value) == Texts{"\300", "\301"}));
    EXPECT_IN(m_report, m_config.isDefault(node, 1, "t\351xt", 2));
    EXPECT_IN(m_report, m_config.retrieveConfigVar(text) != m_config.cacheEnd());
    m_config.updateIsDefault(text, true);
    m_config.updateConfigVar(text, {defaultText});
    EXPECT_IN(m_report, m_config.getConfigValue(node, 0, "ch\366ice", 0).getOptions().size() == 2);
    EXPECT_IN(m_report, m_config.removeVars("\366") != 0);
    EXPECT_IN(m_report, m_config.getConfigVar(text) == defaultText);
}

void Everything::writeValues() {
    ConfigResult result;
    EXPECT_IN(m_report, m_config.setConfigVar(text, "\200one", &result));
    EXPECT_IN(m_report, m_handlers.hears("validate " + text.getFQName() + " \200one"));
    EXPECT_IN(m_report, m_handlers.hears("apply " + text.getFQName() + " \200one"));
    EXPECT_IN(m_report, m_handlers.hears("changed " + text.getFQName() + " \200one"));
    EXPECT_IN(m_report, m_config.setConfigVar(text, Texts{"\200two"}, &result));
    EXPECT_IN(m_report, m_config.setConfigVar(text, std::string("\200three"), &result));
    EXPECT_IN(m_report, m_config.setConfigVar(node, 1, "t\351xt", 2, "\200four", &result));
    EXPECT_IN(m_report, m_config.setConfigVar(node, 1, "t\351xt", 2, std::string("\200five"), &result));
    EXPECT_IN(m_report, m_config.setConfigVar(node, 1, "t\351xt", 2, Texts{"\200six"}, &result));
    EXPECT_IN(m_report, m_config.getConfigVar(text) == "\200six");
    EXPECT_IN(m_report, m_config.setConfigVar(flag, false, &result));
    EXPECT_IN(m_report, m_config.setConfigVar(node, 0, "fl\344g", 0, true, &result));
    EXPECT_IN(m_report, m_config.setConfigVar(number, 8, &result));
    EXPECT_IN(m_report, m_config.setConfigVar(node, 0, "n\372mber", 0, 7, &result));
    EXPECT_IN(m_report, (m_config.setConfigVar(several, Texts{"\302", "\303", "\304"}, &result)));

    EXPECT_IN(m_report, !m_config.setConfigVar(text, refused, &result));
    EXPECT_IN(m_report, result.m_error == CFG_ERROR_REJECTED && result.m_messages.front() == reason);
    // The service quotes what it refuses itself.
    EXPECT_IN(m_report, !m_config.setConfigVar(number, "\200", &result));
    EXPECT_IN(m_report, result.m_messages.front().find("\"\200\"") != std::string::npos);
    EXPECT_IN(m_report, !m_config.setConfigVar(choice, std::string(63, 'a') + "\303\244", &result));

    EXPECT_IN(m_report, m_config.resetValue(node, 1, "t\351xt", 2));
    EXPECT_IN(m_report, m_config.resetValue(node, 0, "s\351veral", 0));
    EXPECT_IN(m_report, m_handlers.hears("changed " + text.getFQName() + " " + defaultText));
    EXPECT_IN(m_report, m_config.getConfigVar(text) == defaultText);
}

void Everything::writeWithoutWaiting() {
    EXPECT_IN(m_report, m_config.setConfigVar(text, "\201one"));
    EXPECT_IN(m_report, m_config.setConfigVar(text, std::string("\201two")));
    EXPECT_IN(m_report, m_config.setConfigVar(text, Texts{"\201three"}));
    EXPECT_IN(m_report, m_config.setConfigVar(node, 1, "t\351xt", 2, "\201four"));
    EXPECT_IN(m_report, m_config.setConfigVar(node, 1, "t\351xt", 2, std::string("\201five")));
    EXPECT_IN(m_report, m_config.setConfigVar(node, 1, "t\351xt", 2, Texts{"\201six"}));
    EXPECT_IN(m_report, m_config.setConfigVar(flag, false));
    EXPECT_IN(m_report, m_config.setConfigVar(node, 0, "fl\344g", 0, true));
    EXPECT_IN(m_report, m_config.setConfigVar(number, 9));
    EXPECT_IN(m_report, m_config.setConfigVar(node, 0, "n\372mber", 0, 7));
    EXPECT_IN(m_report, m_handlers.hears("changed " + text.getFQName() + " \201six"));
    // Refused: the service tells the writer what holds.
    EXPECT_IN(m_report, m_config.setConfigVar(text, refused));
    EXPECT_IN(m_report, m_handlers.hears("changed " + text.getFQName() + " \201six"));
    EXPECT_IN(m_report, m_config.resetValue(node, 1, "t\351xt", 2));
}

void Everything::useOptions() {
    std::vector<std::string> options;
    Texts list;
    unsigned index = 9;
    EXPECT_IN(m_report, (m_config.getConfigOptions(choice, options) == std::vector<std::string>{"\301", "\302"}));
    EXPECT_IN(m_report, m_config.getConfigOptions(node, 0, "ch\366ice", 0, options).size() == 2);
    EXPECT_IN(m_report, m_config.getConfigOptions(node, 0, "ch\366ice", 0, list).size() == 2);
    options.clear();
    EXPECT_IN(m_report, m_config.getConfigDefaultOptions(node, 0, "ch\366ice", 0, options).size() == 2);
    EXPECT_IN(m_report, m_config.getConfigOptionDefaultIndex(choice, index) && index == 1);
    EXPECT_IN(m_report, m_config.getConfigOptionDefaultIndex(node, 0, "ch\366ice", 0, index));
    EXPECT_IN(m_report, m_config.setConfigOptions(node, 0, "ch\366ice", 0, {"\302", "\303"}));
    EXPECT_IN(m_report, m_handlers.hears("options " + choice.getFQName() + " \302"));
    EXPECT_IN(m_report, m_config.setConfigOptions(node, 0, "ch\366ice", 0, {"\301", "\302"}, 1));
    EXPECT_IN(m_report, m_handlers.hears("options " + choice.getFQName() + " \301"));
    m_config.updateConfigVarOptions(node, 0, "ch\366ice", 0, {"\301", "\302"});

    // Here a line is due: a variable without options is asked for once, and from then on read from its record.
    EXPECT_IN(m_report, m_config.getConfigVar(text) == defaultText);
    EXPECT_IN(m_report, m_config.getConfigOptions(text, options).empty());
    EXPECT_IN(m_report, m_config.getConfigOptions(text, options).empty());                     // 1
    EXPECT_IN(m_report, m_config.getConfigOptions(node, 1, "t\351xt", 2, options).empty());    // 2
    EXPECT_IN(m_report, m_config.getConfigValue(node, 1, "t\351xt", 2).getOptions().empty());  // 3
    EXPECT_IN(m_report, ConfigValue().getOptions().empty());                                   // 4
}

void Everything::useLevels() {
    SecurityRole read = AppConfig::SECURITY_ROLE_NONE;
    SecurityRole write = AppConfig::SECURITY_ROLE_NONE;
    eErrorT error = CFG_ERROR_NONE;
    std::list<std::pair<ConfigVar, eErrorT>> errors;
    EXPECT_IN(m_report, m_config.getAccessLevels(text, &read, &write));
    EXPECT_IN(m_report, m_config.getAccessLevels(node, 1, "t\351xt", 2, &read, &write));
    const SecurityRole one = AppConfig::SECURITY_ROLE_1;
    const SecurityRole none = AppConfig::SECURITY_ROLE_NONE;
    EXPECT_IN(m_report, m_config.setAccessLevels({text, choice}, &one, &one, errors));
    EXPECT_IN(m_report, m_handlers.hears("levels " + text.getFQName() + " 11"));
    EXPECT_IN(m_report, m_config.setAccessLevels(text, &one, &one, error));
    EXPECT_IN(m_report, m_config.setAccessLevels(node, 1, "t\351xt", 2, &one, &one, error));
    EXPECT_IN(m_report, m_config.setAccessReadOnly({text, choice}, errors));
    EXPECT_IN(m_report, m_config.setAccessReadOnly(text, error));
    EXPECT_IN(m_report, m_config.setAccessReadOnly(node, 1, "t\351xt", 2, error));
    EXPECT_IN(m_report, m_config.setAccessHidden({text, choice}, errors));
    EXPECT_IN(m_report, m_config.setAccessHidden(text, error));
    EXPECT_IN(m_report, m_config.setAccessHidden(node, 1, "t\351xt", 2, error));
    EXPECT_IN(m_report, !m_config.setAccessHidden(nothing, error) && error != CFG_ERROR_NONE);
    EXPECT_IN(m_report, !m_config.setAccessLevels({nothing, nothing}, &one, &one, errors) && errors.size() == 2);
    EXPECT_IN(m_report, m_config.setAccessLevels({text, choice}, &one, &one));
    EXPECT_IN(m_report, m_config.setAccessLevels(text, &one, &none));
    EXPECT_IN(m_report, m_config.setAccessLevels(node, 1, "t\351xt", 2, &none, &none));
    EXPECT_IN(m_report, m_handlers.hears("levels " + text.getFQName() + " 00"));
    AppConfig::ConfigAccessLevels levels;
    m_config.updateConfigVarAccessLevels(node, 1, "t\351xt", 2, levels);
}

void Everything::validate() {
    ConfigResult result;
    EXPECT_IN(m_report, m_config.isValid(text, {"\202"}, &result));
    EXPECT_IN(m_report, m_config.isValid(text, {"\202"}, nullptr));
    EXPECT_IN(m_report, !m_config.isValid(node, 1, "t\351xt", 2, {refused}, &result));
    EXPECT_IN(m_report, result.m_messages.front() == reason);
    EXPECT_IN(m_report, m_link.isValid(text, {"\202"}, &result));
    EXPECT_IN(m_report, !m_link.isValid(node, 1, "t\351xt", 2, {refused}, &result));
    result.setServerContext("\203");
    result.setClientName("\204");
    EXPECT_IN(m_report, !result.fillConfigResult(false, CFG_ERROR_GENERAL, false));
    ConfigResult::fillDefaults(result);
}

void Everything::failEverywhere() {
    ConfigResult result;
    Texts value;
    std::vector<std::string> options;
    unsigned index = 0;
    SecurityRole read = AppConfig::SECURITY_ROLE_NONE;
    EXPECT_IN(m_report, m_config.getConfigVar(nothing, value) == Texts{""});
    EXPECT_IN(m_report, !m_config.setConfigVar(nothing, "\205", &result));
    EXPECT_IN(m_report, result.m_messages.front().find("n\366where.\377") != std::string::npos);
    EXPECT_IN(m_report, m_config.setConfigVar(nothing, "\205"));
    EXPECT_IN(m_report, !m_config.isValid(nothing, {"\205"}, &result));
    EXPECT_IN(m_report, !m_config.resetValue(nothing.m_node, 0, nothing.m_attribute, 0));
    EXPECT_IN(m_report, m_config.getConfigOptions(nothing, options).empty());
    EXPECT_IN(m_report, !m_config.getConfigOptionDefaultIndex(nothing, index));
    EXPECT_IN(m_report, !m_config.setConfigOptions(nothing.m_node, 0, nothing.m_attribute, 0, {"\206"}));
    EXPECT_IN(m_report, !m_config.getAccessLevels(nothing, &read, nullptr));
    EXPECT_IN(m_report, !m_config.getConfigValue(nothing.m_node, 0, nothing.m_attribute, 0).hasValue());
    EXPECT_IN(m_report, m_config.isDefault(nothing.m_node, 0, nothing.m_attribute, 0));
    EXPECT_IN(m_report, m_config.getConfigVar(ConfigVar(4711, node, 1, "t\351xt", 2)).empty());
    // Last, since this caches something of the variable even so.
    EXPECT_IN(m_report, m_config.getConfigDefaultOptions(nothing.m_node, 0, nothing.m_attribute, 0, options).empty());
    m_config.removeVars("\366where");
}

void Everything::useTheLink() {
    bool isDefault = false;
    Texts options;
    unsigned index = 0;
    SecurityRole read = AppConfig::SECURITY_ROLE_NONE;
    std::list<std::pair<ConfigVar, eErrorT>> errors;
    ConfigResult result;
    EXPECT_IN(m_report, m_link.getConfigVar(text, isDefault) == Texts{defaultText});
    EXPECT_IN(m_report, m_link.setConfigVar(text, {"\207"}, &result));
    EXPECT_IN(m_report, m_link.setConfigVar(text, {"\210"}));
    EXPECT_IN(m_report, m_handlers.hears("changed " + text.getFQName() + " \210"));
    EXPECT_IN(m_report, m_link.resetValue(text));
    EXPECT_IN(m_report, m_link.getAccessLevels(text, &read, &read));
    EXPECT_IN(m_report, m_link.setAccessLevels({text}, &read, &read));
    EXPECT_IN(m_report, m_link.setAccessLevels({text}, &read, &read, errors));
    m_link.getConfigOptions(choice, options, index);
    m_link.getConfigDefaultOptions(choice, options, index);
    EXPECT_IN(m_report, m_link.setConfigOptions(choice, {"\301", "\302"}, &index));
    EXPECT_IN(m_report, m_link.registerCallback(number, ConfigIF::CALLBACK_CONFIG_CHANGED));
    EXPECT_IN(m_report, m_link.unregisterCallback(number, ConfigIF::CALLBACK_CONFIG_CHANGED));
    for (auto unregister : {&AppConfig::PlatformCfgService::unregisterChangeCallback,
                            &AppConfig::PlatformCfgService::unregisterAttributeCallback,
                            &AppConfig::PlatformCfgService::unregisterOptionsCallback,
                            &AppConfig::PlatformCfgService::unregisterSubmitCallback,
                            &AppConfig::PlatformCfgService::unregisterAccessLevelsCallback}) {
        (m_link.*unregister)(number);
    }
    m_link.registerHandlerProactively(number, ConfigRegistrar::OPTIONS_CHANGED);
    m_link.registerHandlerRequested(number, &m_handlers, ConfigRegistrar::CONFIG_CHANGED);
    m_link.registerHandlerProactively(nothing, ConfigRegistrar::CONFIG_CHANGED);
}

void Everything::hearOfSubmits() {
    ConfigAdmin::SubmitReq request;
    ConfigAdmin::SubmitRsp reply;
    request.set_client_name("cli\353nt");
    request.set_role(CommonIF::SECURITY_ROLE_WIRE_50);
    for (const std::string& step : {node, choice.m_attribute}) request.mutable_inst()->add_node()->set_name(step);
    request.set_submit_type(ConfigIF::SUBMIT_TYPE_1);
    EXPECT_IN(m_report, m_transport.sendWaitResponse(request, &reply, m_link.getConfigFQName()) == 0);
    EXPECT_IN(m_report, m_handlers.hears("submitted " + choice.getFQName() + " 1"));
}

void Everything::removeHandlers() {
    unregisterHandler(node, "t\351xt", static_cast<ConsumerConfigHandler*>(&m_handlers), &m_config);
    unregisterHandler(node, "t\351xt", static_cast<ProviderConfigHandler*>(&m_handlers), &m_config);
    unregisterHandler(node, static_cast<ConsumerConfigHandler*>(&m_handlers), &m_config);
    unregisterHandler(node, static_cast<ProviderConfigHandler*>(&m_handlers), &m_config);
    unregisterAllHandlers(&m_config);
    m_link.unregisterAllCallbacks();
}

}  // namespace AppConfigTest
