#include "core/ValueRules.h"

#include <strings.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <limits>

#include "core/Limits.h"

namespace AppConfigService {

namespace {

constexpr std::size_t longestQuote = 64;

std::string quote(const std::string& text) {
    if (text.size() <= longestQuote) return "\"" + text + "\"";
    return "\"" + text.substr(0, longestQuote) + "...\"";
}

Result<> refuse(const VariableDefinition& definition, Error error, const std::string& reason) {
    return failure(error, displayName(definition.name) + ": " + reason);
}

bool isBool(const std::string& text) {
    return (text.size() == 4 && strcasecmp(text.c_str(), "true") == 0) ||
           (text.size() == 5 && strcasecmp(text.c_str(), "false") == 0);
}

Result<> checkNumber(const VariableDefinition& definition, const std::string& text) {
    const std::optional<std::int64_t> number = readNumber(text);
    if (!number) {
        return refuse(definition, CommonIF::ERROR_WRONG_TYPE, quote(text) + " is not a 32-bit integer");
    }
    if (definition.minimum && *number < *definition.minimum) {
        return refuse(definition, CommonIF::ERROR_OUT_OF_RANGE,
                      std::to_string(*number) + " is below the minimum " + std::to_string(*definition.minimum));
    }
    if (definition.maximum && *number > *definition.maximum) {
        return refuse(definition, CommonIF::ERROR_OUT_OF_RANGE,
                      std::to_string(*number) + " is above the maximum " + std::to_string(*definition.maximum));
    }
    return {};
}

Result<> checkText(const VariableDefinition& definition, const std::string& text) {
    if (definition.maxLength && text.size() > *definition.maxLength) {
        return refuse(definition, CommonIF::ERROR_TOO_LONG,
                      "the text has " + std::to_string(text.size()) + " bytes, the limit is " +
                          std::to_string(*definition.maxLength));
    }
    if (definition.matcher && !RE2::FullMatch(text, *definition.matcher)) {
        return refuse(definition, CommonIF::ERROR_PATTERN_MISMATCH,
                      quote(text) + " does not match the pattern " + definition.pattern);
    }
    return {};
}

std::string listOptions(const Value& options) {
    constexpr std::size_t mostListed = 16;
    std::string text;
    for (std::size_t i = 0; i < options.size() && i < mostListed; ++i) {
        text += (i == 0 ? "" : ", ") + quote(options[i]);
    }
    return options.size() > mostListed ? text + ", ..." : text;
}

}  // namespace

std::string displayName(const VariableName& name) {
    std::string text = name.node;
    if (name.nodeInstance != 0) text += "[" + std::to_string(name.nodeInstance) + "]";
    if (!name.attribute.empty()) text += "." + name.attribute;
    if (name.attributeInstance != 0) text += "[" + std::to_string(name.attributeInstance) + "]";
    return text;
}

std::optional<std::int64_t> readNumber(const std::string& text) {
    // strtol would skip white space in front, and a zero byte would end it before the text does.
    const bool plain = !text.empty() && std::all_of(text.begin(), text.end(), [](char c) {
        return (c >= '0' && c <= '9') || (c >= 'a' && c <= 'f') || (c >= 'A' && c <= 'F') || c == 'x' || c == 'X' ||
               c == '+' || c == '-';
    });
    if (!plain) return std::nullopt;
    char* end = nullptr;
    errno = 0;
    const long long number = std::strtoll(text.c_str(), &end, 0);
    if (errno != 0 || end == text.c_str() || *end != '\0') return std::nullopt;
    if (number < std::numeric_limits<std::int32_t>::min() || number > std::numeric_limits<std::int32_t>::max()) {
        return std::nullopt;
    }
    return number;
}

Result<> checkElement(const VariableDefinition& definition, const std::string& text) {
    switch (definition.type) {
        case ConfigAdmin::INT: return checkNumber(definition, text);
        case ConfigAdmin::BOOL:
            if (isBool(text)) return {};
            return refuse(definition, CommonIF::ERROR_WRONG_TYPE, quote(text) + " is neither true nor false");
        case ConfigAdmin::TEXT:
        case ConfigAdmin::LIST: return checkText(definition, text);
    }
    return refuse(definition, CommonIF::ERROR_GENERAL, "the variable has an unknown type");
}

Result<> checkValue(const VariableDefinition& definition, const Value& options, const Value& value) {
    std::size_t bytes = 0;
    for (const std::string& element : value) bytes += element.size();
    if (bytes > longestElement) {
        return refuse(definition, CommonIF::ERROR_TOO_LONG,
                      "the value has " + std::to_string(bytes) + " bytes, the service takes at most " +
                          std::to_string(longestElement));
    }
    if (definition.type != ConfigAdmin::LIST && value.size() != 1) {
        return refuse(definition, value.empty() ? CommonIF::ERROR_WRONG_TYPE : CommonIF::ERROR_TOO_MANY_ELEMENTS,
                      "the value has " + std::to_string(value.size()) + " elements, the variable takes exactly 1");
    }
    const std::size_t most =
        definition.maxElements ? std::min<std::size_t>(*definition.maxElements, mostElements) : mostElements;
    if (value.size() > most) {
        return refuse(
            definition, CommonIF::ERROR_TOO_MANY_ELEMENTS,
            "the list has " + std::to_string(value.size()) + " elements, the limit is " + std::to_string(most));
    }
    for (const std::string& element : value) {
        Result<> fine = checkElement(definition, element);
        if (!fine) return fine;
        // Options are compared by bytes: whoever shows them looks the value up among them.
        if (!options.empty() && std::find(options.begin(), options.end(), element) == options.end()) {
            return refuse(definition, CommonIF::ERROR_NOT_AN_OPTION,
                          quote(element) + " is not one of the options " + listOptions(options));
        }
    }
    return {};
}

Result<> checkOptions(const VariableDefinition& definition, const Value& options, std::uint32_t defaultIndex) {
    if (options.size() > mostOptions) {
        return refuse(definition, CommonIF::ERROR_LIMIT,
                      std::to_string(options.size()) + " options, the limit is " + std::to_string(mostOptions));
    }
    std::size_t bytes = 0;
    for (const std::string& option : options) {
        bytes += option.size();
        Result<> fine = checkElement(definition, option);
        if (!fine) return fine;
    }
    if (bytes > longestElement) {
        return refuse(definition, CommonIF::ERROR_LIMIT,
                      "the options have " + std::to_string(bytes) + " bytes, the service takes at most " +
                          std::to_string(longestElement));
    }
    if (options.empty() ? defaultIndex != 0 : defaultIndex >= options.size()) {
        return refuse(definition, CommonIF::ERROR_INDEX_OUT_OF_RANGE,
                      "the default index " + std::to_string(defaultIndex) + " is beyond the " +
                          std::to_string(options.size()) + " options");
    }
    return {};
}

Value effectiveDefault(const VariableDefinition& definition, const Value& options, std::uint32_t defaultIndex) {
    if (options.empty() || checkValue(definition, options, definition.defaultValue)) {
        return definition.defaultValue;
    }
    return {options[std::min<std::size_t>(defaultIndex, options.size() - 1)]};
}

bool sameMeaning(const VariableDefinition& definition, const Value& one, const Value& other) {
    if (one.size() != other.size()) return false;
    return std::equal(one.begin(), one.end(), other.begin(), [&](const std::string& a, const std::string& b) {
        if (a == b) return true;
        if (definition.type == ConfigAdmin::INT) {
            const std::optional<std::int64_t> number = readNumber(a);
            return number && number == readNumber(b);
        }
        return definition.type == ConfigAdmin::BOOL && isBool(a) && isBool(b) && strcasecmp(a.c_str(), b.c_str()) == 0;
    });
}

}  // namespace AppConfigService
