#pragma once

/// Includes everything that an application needs to read, write, watch and provide configuration variables.

#include "AppConfig/AppCfgManager.h"
#include "AppConfig/ConfigResult.h"
#include "AppConfig/ConfigValue.h"
#include "AppConfig/ConfigVar.h"
#include "AppConfig/ConsumerConfigHandler.h"
#include "AppConfig/ErrorType.h"
#include "AppConfig/HandlerRegistration.h"
#include "AppConfig/ProviderConfigHandler.h"
#include "AppConfig/SecurityRole.h"
