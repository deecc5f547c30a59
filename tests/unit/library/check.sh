#!/bin/bash
# Looks at libappconfig.so from outside; 'texts' looks at the library of the message classes.
#   check.sh exports|needed|abstains|texts LIBRARY NM READELF
set -euo pipefail
what="$1" library="$2" nm="$3" readelf="$4"

fail() {
    echo "$1" >&2
    echo "$2" >&2
    exit 1
}

case "$what" in
exports)
    symbols="$("$nm" -DC --defined-only "$library" | sed -E 's/^[0-9a-f]* *[A-Za-z] //')"
    classes='AppConfig::(AppCfgManager|ConfigCache|ConfigValue|PlatformCfgService|ProtobufMessageHelper)'
    classes="($classes|ConfigVar|ConfigResult|ConfigRegistrar|CfgHandlerLookup|ConsumerConfigHandler|ProviderConfigHandler)"
    allowed="^((vtable|typeinfo|typeinfo name) for )?$classes(::|\$)"
    allowed="$allowed|^(registerHandler|unregisterHandler|unregisterHandlerAndWait|unregisterAllHandlers|AppConfig::errorText)\("
    allowed="$allowed|^[^(]* (ConfigRegistrar::(getHandlers|unregisterHandler)|AppConfig::ProtobufMessageHelper::fillBasicMessage)<"
    others="$(grep -vE "$allowed" <<< "$symbols" || true)"
    [[ -z $others ]] || fail "exported beside the public classes and functions (src/appconfig.map):" "$others"
    for name in 'AppConfig::AppCfgManager::getInstance()' 'AppConfig::PlatformCfgService::setPbInterface(' \
        'AppConfig::ProtobufMessageHelper::getReadRequest(' 'AppConfig::errorText(' 'ConfigVar::init(' \
        'ConfigResult::fillDefaults(' 'vtable for ConsumerConfigHandler' 'vtable for ProviderConfigHandler' \
        'typeinfo for AppConfig::AppCfgManager' 'registerHandler(' 'unregisterHandler(' 'unregisterHandlerAndWait(' 'unregisterAllHandlers('; do
        grep -qF "$name" <<< "$symbols" || fail "public, but not exported:" "$name"
    done
    # Applications may build each message with one variable, several, a name, or a variable and a value.
    for message in ReadReq BatchReadReq ReadAttributesReq GetAttributeOptionsReq GetAccessLevelsReq \
        GetValueOptionsAccessReq BatchGetValueOptionsAccessReq ResetValueReq ResetAttributeReq ResetNodeValueReq \
        WriteReq, ValidateReq,; do
        grep -qE "fillBasicMessage<ConfigIF::$message" <<< "$symbols" || fail "public, but not exported:" "$message"
    done
    ;;
needed)
    libraries="$("$readelf" -d "$library" | sed -nE 's/.*\(NEEDED\).*\[(.*)\]/\1/p')"
    allowed='^(libprotobuf(-lite)?|libappconfig_(platform|wire)|libstdc\+\+|libc\+\+(_shared)?|libm|libgcc_s|libc|ld-linux[-a-z0-9]*)\.so'
    others="$(grep -vE "$allowed" <<< "$libraries" || true)"
    [[ -z $others ]] || fail "needed beside protobuf, the platform and the C and C++ runtime:" "$others"
    ;;
abstains)
    # No thread of its own, no file, no environment, and no locale in the comparison of names.
    used="$("$nm" -DC --undefined-only "$library" | sed -E 's/^ *[A-Za-z] //; s/@.*//')"
    found="$(grep -xE 'pthread_create|std::thread::_M_start_thread.*|(secure_)?getenv|f?open(at)?(64)?|creat|std::basic_[io]?f(ile)?(stream|buf).*|to(lower|upper)|is(lower|upper|alpha)|strn?casecmp_l|strncasecmp' \
        <<< "$used" || true)"
    [[ -z $found ]] || fail "the library starts no thread, reads no file, no environment variable and no locale, yet uses:" "$found"
    ;;
texts)
    # Of the library that holds the message classes. Whoever verifies a text prints about the one that fails.
    used="$("$nm" -DC --undefined-only "$library" | grep -iE 'verify_?utf_?8' || true)"
    [[ -z $used ]] || fail "texts are bytes, yet the generated classes verify them with:" "$used"
    ;;
*)
    fail "no such check:" "$what"
    ;;
esac
