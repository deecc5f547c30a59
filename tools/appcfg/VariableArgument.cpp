#include "VariableArgument.h"

#include <algorithm>
#include <charconv>

namespace AppConfigTool {
namespace {

bool parseInt(std::string_view text, int& number) {
    const char* end = text.data() + text.size();
    const auto [stop, error] = std::from_chars(text.data(), end, number);
    return error == std::errc() && stop == end && !text.empty();
}

/// Takes `[n]` off the end of \p text.
bool takeInstance(std::string_view& text, std::optional<int>& instance, std::string& reason) {
    if (!text.empty() && text.back() == ']') {
        const std::size_t open = text.rfind('[');
        int number = 0;
        if (open == std::string_view::npos || !parseInt(text.substr(open + 1, text.size() - open - 2), number)) {
            reason = "an instance is a number in brackets, as in wifi[1]";
            return false;
        }
        instance = number;
        text = text.substr(0, open);
    }
    if (text.find_first_of("[]") != std::string_view::npos) {
        reason = "brackets may stand only behind the node and behind the attribute";
        return false;
    }
    return true;
}

bool isName(std::string_view text) {
    return !text.empty() && text.front() != '.' && text.back() != '.' && text.find("..") == std::string_view::npos;
}

std::optional<VariableArgument> parseName(std::string_view text, bool nodeAllowed, std::string& reason) {
    VariableArgument name;
    const std::size_t digits = text.find_first_not_of("0123456789");
    if (digits != 0 && digits != std::string_view::npos && text[digits] == ':') {
        if (!parseInt(text.substr(0, digits), name.namespaceId)) {
            reason = "the namespace is too large a number";
            return std::nullopt;
        }
        text.remove_prefix(digits + 1);
    }
    const std::size_t dot = text.rfind('.');
    std::string_view node = text.substr(0, dot);
    std::string_view attribute = dot == std::string_view::npos ? std::string_view() : text.substr(dot + 1);
    if (dot == std::string_view::npos && !nodeAllowed) {
        reason = "a dot must part node from attribute, as in display.brightness";
        return std::nullopt;
    }
    if (!takeInstance(node, name.nodeInstance, reason) || !takeInstance(attribute, name.attributeInstance, reason)) {
        return std::nullopt;
    }
    if (!isName(node) || (dot != std::string_view::npos && attribute.empty())) {
        reason = "node and attribute must not be empty";
        return std::nullopt;
    }
    name.node = node;
    name.attribute = attribute;
    return name;
}

void appendStep(std::string& text, const std::string& name, int instance) {
    text += name;
    if (instance != 0) text += "[" + std::to_string(instance) + "]";
}

}  // namespace

std::optional<VariableArgument> VariableArgument::parse(std::string_view text, std::string& reason) {
    return parseName(text, false, reason);
}

std::optional<VariableArgument> VariableArgument::parseVariableOrNode(std::string_view text, std::string& reason) {
    return parseName(text, true, reason);
}

ConfigVar VariableArgument::var() const {
    ConfigVar result;
    result.init(namespaceId, node, nodeInstance.value_or(0), attribute, attributeInstance.value_or(0));
    return result;
}

std::string VariableArgument::text() const {
    return variableText(var());
}

std::string variableText(const ConfigVar& var) {
    std::string text;
    if (var.m_namespace != 0) text = std::to_string(var.m_namespace) + ":";
    appendStep(text, var.m_node, var.m_nodeInstance);
    if (!var.m_attribute.empty()) {
        text += ".";
        appendStep(text, var.m_attribute, var.m_attributeInstance);
    }
    return text;
}

}  // namespace AppConfigTool
