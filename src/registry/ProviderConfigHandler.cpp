#include "AppConfig/ProviderConfigHandler.h"

ProviderConfigHandler::~ProviderConfigHandler() = default;

bool ProviderConfigHandler::onDynamicValidate(const std::string& /*node*/, int /*nodeInstance*/,
                                              const std::string& /*attribute*/, int /*attributeInstance*/,
                                              const std::list<std::string>& /*value*/,
                                              AppConfig::SecurityRole /*requesterRole*/, ConfigResult& /*result*/) {
    return true;
}

bool ProviderConfigHandler::onChange(const std::string& /*node*/, int /*nodeInstance*/,
                                     const std::string& /*attribute*/, int /*attributeInstance*/,
                                     const std::list<std::string>& /*value*/, AppConfig::SecurityRole /*requesterRole*/,
                                     ConfigResult& /*result*/) {
    return true;
}
