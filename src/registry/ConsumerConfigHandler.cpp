#include "AppConfig/ConsumerConfigHandler.h"

ConsumerConfigHandler::~ConsumerConfigHandler() = default;

void ConsumerConfigHandler::onConfigChanged(const std::string& /*node*/, int /*nodeInstance*/,
                                            const std::string& /*attribute*/, int /*attributeInstance*/,
                                            const std::list<std::string>& /*value*/,
                                            const std::string& /*clientName*/) {}

void ConsumerConfigHandler::onSubmit(const std::string& /*node*/, int /*nodeInstance*/,
                                     const std::string& /*attribute*/, int /*attributeInstance*/, int /*submitType*/,
                                     const std::string& /*clientName*/) {}

void ConsumerConfigHandler::onAttributeChanged(const std::string& /*node*/, int /*nodeInstance*/,
                                               const std::string& /*attribute*/, int /*attributeInstance*/,
                                               const std::string& /*clientName*/) {}

void ConsumerConfigHandler::onOptionsChanged(const std::string& /*node*/, int /*nodeInstance*/,
                                             const std::string& /*attribute*/, int /*attributeInstance*/,
                                             std::list<std::string> /*options*/, std::string /*clientName*/) {}

void ConsumerConfigHandler::onAccessLevelsChanged(const std::string& /*node*/, int /*nodeInstance*/,
                                                  const std::string& /*attribute*/, int /*attributeInstance*/,
                                                  AppConfig::SecurityRole /*readRole*/,
                                                  AppConfig::SecurityRole /*writeRole*/, std::string /*clientName*/) {}
