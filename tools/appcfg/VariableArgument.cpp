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

tl::unexpected<Failure> unreadable(const char* reason) {
    return failure(ExitStatus::usage, reason);
}

/// Takes `[n]` off the end of \p text.
Result<std::optional<int>> takeInstance(std::string_view& text) {
    std::optional<int> instance;
    if (!text.empty() && text.back() == ']') {
        const std::size_t open = text.rfind('[');
        int number = 0;
        if (open == std::string_view::npos || !parseInt(text.substr(open + 1, text.size() - open - 2), number)) {
            return unreadable("an instance is a number in brackets, as in wifi[1]");
        }
        instance = number;
        text = text.substr(0, open);
    }
    if (text.find_first_of("[]") != std::string_view::npos) {
        return unreadable("brackets are allowed only after the node and after the attribute");
    }
    return instance;
}

bool isName(std::string_view text) {
    return !text.empty() && text.front() != '.' && text.back() != '.' && text.find("..") == std::string_view::npos;
}

Result<VariableArgument> parseName(std::string_view text, bool nodeAllowed) {
    VariableArgument name;
    const std::size_t digits = text.find_first_not_of("0123456789");
    if (digits != 0 && digits != std::string_view::npos && text[digits] == ':') {
        if (!parseInt(text.substr(0, digits), name.namespaceId)) {
            return unreadable("the namespace number is too large");
        }
        text.remove_prefix(digits + 1);
    }
    const std::size_t dot = text.rfind('.');
    std::string_view node = text.substr(0, dot);
    std::string_view attribute = dot == std::string_view::npos ? std::string_view() : text.substr(dot + 1);
    if (dot == std::string_view::npos && !nodeAllowed) {
        return unreadable("a dot must separate node and attribute, as in display.brightness");
    }
    const auto nodeInstance = takeInstance(node);
    if (!nodeInstance) return failure(nodeInstance.error());
    const auto attributeInstance = takeInstance(attribute);
    if (!attributeInstance) return failure(attributeInstance.error());
    if (!isName(node) || (dot != std::string_view::npos && attribute.empty())) {
        return unreadable("node and attribute must not be empty");
    }
    name.node = node;
    name.attribute = attribute;
    name.nodeInstance = *nodeInstance;
    name.attributeInstance = *attributeInstance;
    return name;
}

void appendStep(std::string& text, const std::string& name, int instance) {
    text += name;
    if (instance != 0) text += "[" + std::to_string(instance) + "]";
}

}  // namespace

Result<VariableArgument> VariableArgument::parse(std::string_view text) {
    return parseName(text, false);
}

Result<VariableArgument> VariableArgument::parseVariableOrNode(std::string_view text) {
    return parseName(text, true);
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
