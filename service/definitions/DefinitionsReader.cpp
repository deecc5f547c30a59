#include "definitions/DefinitionsReader.h"

#include <google/protobuf/io/tokenizer.h>
#include <google/protobuf/text_format.h>

#include <algorithm>
#include <fstream>
#include <limits>
#include <sstream>

#include "core/Limits.h"
#include "core/ValueRules.h"
#include "definitions.pb.h"

namespace AppConfigService {

namespace {

using google::protobuf::TextFormat;

/// Collects what protobuf's parser finds; the parser counts lines from 0.
class ParserComplaints : public google::protobuf::io::ErrorCollector {
public:
    ParserComplaints(std::string file, Complaints& complaints) : m_file(std::move(file)), m_complaints(complaints) {}

    void AddError(int line, google::protobuf::io::ColumnNumber column, const std::string& message) override {
        m_complaints.push_back(m_file + ":" + std::to_string(line + 1) + ": " + message + " (column " +
                               std::to_string(column + 1) + ")");
    }

private:
    std::string m_file;
    Complaints& m_complaints;
};

/// Turns one parsed file into definitions, complaining with the line of the field that is at fault.
class Converter {
public:
    Converter(const std::string& file, Complaints& complaints, std::map<VariableName, std::string>& seen)
        : m_file(file), m_complaints(complaints), m_seen(seen) {}

    void convert(const AppConfigDefinitions::Definitions& parsed, const TextFormat::ParseInfoTree& lines,
                 Definitions& definitions) {
        for (int i = 0; i < parsed.variable_size(); ++i) {
            m_line = lineOf(lines, parsed, "variable", i);
            m_lines = lines.GetTreeForNested(parsed.GetDescriptor()->FindFieldByName("variable"), i);
            m_parsed = &parsed.variable(i);
            variable(definitions);
        }
        for (int i = 0; i < parsed.role_limit_size(); ++i) {
            m_line = lineOf(lines, parsed, "role_limit", i);
            const AppConfigDefinitions::RoleLimit& limit = parsed.role_limit(i);
            if (!limit.has_uid() || !limit.has_role()) {
                complain(m_line, "a role_limit needs uid and role");
            } else if (limit.role() < 0 || limit.role() > highestRole) {
                complain(m_line, "role " + std::to_string(limit.role()) + " is not between 0 and 4");
            } else if (!definitions.roleLimits.emplace(limit.uid(), limit.role()).second) {
                complain(m_line, "user " + std::to_string(limit.uid()) + " already has a role_limit");
            }
        }
    }

private:
    static int lineOf(const TextFormat::ParseInfoTree& lines, const google::protobuf::Message& message,
                      const char* field, int index) {
        return lines.GetLocation(message.GetDescriptor()->FindFieldByName(field), index).line + 1;
    }

    void complain(int line, const std::string& reason) {
        m_complaints.push_back(m_file + ":" + std::to_string(line) + ": " + reason);
    }

    /// Complains about a field of the variable; where the field is absent, the variable's own line is named.
    void complain(const char* field, int index, const std::string& reason) {
        int line = m_line;
        if (m_lines != nullptr) {
            const int found = lineOf(*m_lines, *m_parsed, field, index);
            if (found > 0) line = found;
        }
        complain(line, reason);
    }

    bool name(VariableDefinition& definition) {
        const AppConfigDefinitions::Variable& v = *m_parsed;
        const std::size_t before = m_complaints.size();
        if (v.node().empty()) complain("node", -1, "a variable needs a node");
        if (v.attribute().empty()) complain("attribute", -1, "a variable needs an attribute");
        definition.name = VariableName(v.node(), v.node_instance(), v.attribute(), v.attribute_instance());
        for (const char* field : {"node", "attribute"}) {
            const bool isNode = field[0] == 'n';
            const std::string& text = isNode ? definition.name.node : definition.name.attribute;
            if (text.size() > longestName) {
                complain(field, -1,
                         std::string("the ") + field + " has " + std::to_string(text.size()) + " bytes, the limit is " +
                             std::to_string(longestName));
            }
            if (std::any_of(text.begin(), text.end(), [](unsigned char c) { return c <= ' '; })) {
                complain(field, -1, std::string("the ") + field + " has a space or control character");
            }
        }
        const std::string& node = definition.name.node;
        if (node == "cfg" || node.compare(0, 4, "cfg.") == 0) {
            complain("node", -1, "the name cfg is reserved for the namespace");
        }
        if (!node.empty() && (node.front() == '.' || node.back() == '.' || node.find("..") != std::string::npos)) {
            complain("node", -1, "the node has an empty step");
        }
        if (definition.name.attribute.find('.') != std::string::npos) {
            complain("attribute", -1, "an attribute must not contain \".\"; put all steps but the last into the node");
        }
        return m_complaints.size() == before;
    }

    int level(const char* field, std::int32_t value) {
        if (value < 0 || value > highestRole) {
            complain(field, -1, std::string(field) + " " + std::to_string(value) + " is not between 0 and 4");
        }
        return value;
    }

    void only(bool present, bool allowed, const char* field, const char* types) {
        if (present && !allowed) complain(field, -1, std::string(field) + " is for " + types + " only");
    }

    void limits(VariableDefinition& definition) {
        const AppConfigDefinitions::Variable& v = *m_parsed;
        const bool isInt = v.type() == AppConfigDefinitions::INT;
        const bool isList = v.type() == AppConfigDefinitions::LIST;
        const bool isText = isList || v.type() == AppConfigDefinitions::TEXT;
        only(v.has_minimum(), isInt, "minimum", "INT");
        only(v.has_maximum(), isInt, "maximum", "INT");
        only(v.has_max_length(), isText, "max_length", "TEXT and LIST");
        only(v.has_pattern(), isText, "pattern", "TEXT and LIST");
        only(v.has_max_elements(), isList, "max_elements", "LIST");
        bound(v.has_minimum(), "minimum", v.minimum(), definition.minimum);
        bound(v.has_maximum(), "maximum", v.maximum(), definition.maximum);
        if (definition.minimum && definition.maximum && *definition.minimum > *definition.maximum) {
            complain("minimum", -1,
                     "the minimum " + std::to_string(*definition.minimum) + " is above the maximum " +
                         std::to_string(*definition.maximum));
        }
        if (v.has_max_length()) definition.maxLength = v.max_length();
        if (v.has_max_elements()) {
            definition.maxElements = v.max_elements();
            if (v.max_elements() > mostElements) {
                complain("max_elements", -1,
                         "max_elements " + std::to_string(v.max_elements()) + " is above the service's limit " +
                             std::to_string(mostElements));
            }
        }
        if (v.has_pattern()) pattern(definition);
    }

    void bound(bool present, const char* field, std::int64_t value, std::optional<std::int64_t>& out) {
        if (!present) return;
        out = value;
        if (value < std::numeric_limits<std::int32_t>::min() || value > std::numeric_limits<std::int32_t>::max()) {
            complain(field, -1, std::string(field) + " " + std::to_string(value) + " does not fit into 32 bits");
        }
    }

    void pattern(VariableDefinition& definition) {
        RE2::Options options(RE2::Quiet);
        auto matcher = std::make_shared<RE2>(m_parsed->pattern(), options);
        if (!matcher->ok()) {
            complain("pattern", -1,
                     "the pattern " + m_parsed->pattern() + " is not a valid RE2 pattern: " + matcher->error());
            return;
        }
        definition.pattern = m_parsed->pattern();
        definition.matcher = std::move(matcher);
    }

    void values(VariableDefinition& definition) {
        const AppConfigDefinitions::Variable& v = *m_parsed;
        definition.options.assign(v.option().begin(), v.option().end());
        definition.defaultIndex = v.default_index();
        for (int i = 0; i < v.option_size(); ++i) {
            const Result<> fine = checkElement(definition, v.option(i));
            if (!fine) complain("option", i, fine.error().reason);
            const auto before = definition.options.begin() + i;
            if (std::find(definition.options.begin(), before, v.option(i)) != before) {
                complain("option", i, "the option \"" + v.option(i) + "\" is listed twice");
            }
        }
        const Result<> options = checkOptions(definition, definition.options, definition.defaultIndex);
        // An option that is refused hides what is wrong with the index; nothing below may rely on either.
        if (!options) {
            const Failure& why = options.error();
            if (why.code == CommonIF::ERROR_INDEX_OUT_OF_RANGE) complain("default_index", -1, why.reason);
            if (why.code == CommonIF::ERROR_LIMIT) complain("option", 0, why.reason);
            return;
        }
        definition.defaultValue.assign(v.default_value().begin(), v.default_value().end());
        if (definition.defaultValue.empty()) definition.defaultValue = impliedDefault(definition);
        const Result<> value = checkValue(definition, definition.options, definition.defaultValue);
        if (!value) complain("default_value", 0, "the default is refused: " + value.error().reason);
    }

    static Value impliedDefault(const VariableDefinition& definition) {
        if (definition.type == ConfigAdmin::LIST) return {};
        if (!definition.options.empty()) return {definition.options[definition.defaultIndex]};
        switch (definition.type) {
            case ConfigAdmin::BOOL: return {"false"};
            case ConfigAdmin::INT: return {"0"};
            default: return {""};
        }
    }

    void variable(Definitions& definitions) {
        const AppConfigDefinitions::Variable& v = *m_parsed;
        const std::size_t before = m_complaints.size();
        VariableDefinition definition;
        definition.where = m_file + ":" + std::to_string(m_line);
        if (!name(definition)) return;
        if (!v.has_type()) complain("type", -1, displayName(definition.name) + " needs a type");
        definition.type = static_cast<ConfigAdmin::VariableType>(v.type());
        definition.readLevel = level("read_level", v.read_level());
        definition.writeLevel = level("write_level", v.write_level());
        definition.namespaceScoped = v.namespace_scoped();
        definition.needsProvider = v.provider() == AppConfigDefinitions::REQUIRED;
        limits(definition);
        // Values are looked at only within limits that make sense.
        if (m_complaints.size() == before) values(definition);
        const auto known = m_seen.emplace(definition.name, definition.where);
        if (!known.second) {
            complain(m_line, displayName(definition.name) + " is already defined at " + known.first->second);
        }
        if (m_complaints.size() == before) definitions.variables.push_back(std::move(definition));
    }

    const std::string& m_file;
    Complaints& m_complaints;
    std::map<VariableName, std::string>& m_seen;
    int m_line = 0;
    const TextFormat::ParseInfoTree* m_lines = nullptr;
    const AppConfigDefinitions::Variable* m_parsed = nullptr;
};

}  // namespace

tl::expected<Definitions, Complaints> readDefinitions(const std::vector<DefinitionsText>& texts) {
    Complaints complaints;
    Definitions result;
    std::map<VariableName, std::string> seen;
    for (const DefinitionsText& text : texts) {
        AppConfigDefinitions::Definitions parsed;
        TextFormat::ParseInfoTree lines;
        ParserComplaints collector(text.file, complaints);
        TextFormat::Parser parser;
        parser.RecordErrorsTo(&collector);
        parser.WriteLocationsTo(&lines);
        parser.SetRecursionLimit(16);
        if (parser.ParseFromString(text.text, &parsed))
            Converter(text.file, complaints, seen).convert(parsed, lines, result);
    }
    if (!complaints.empty()) return tl::unexpected(std::move(complaints));
    return result;
}

tl::expected<Definitions, Complaints> readDefinitionFiles(const std::vector<std::string>& files) {
    std::vector<DefinitionsText> texts;
    Complaints complaints;
    for (const std::string& file : files) {
        std::ifstream in(file, std::ios::binary);
        std::ostringstream text;
        // An empty file leaves the stream failed as one that cannot be read does, so the first byte is asked for.
        const bool empty = in.is_open() && in.peek() == std::ifstream::traits_type::eof() && !in.bad();
        if (!empty) text << in.rdbuf();
        if (!in.is_open() || in.bad() || text.fail()) {
            complaints.push_back(file + ":1: the file cannot be read");
            continue;
        }
        texts.push_back({file, text.str()});
    }
    if (!complaints.empty()) return tl::unexpected(std::move(complaints));
    return readDefinitions(texts);
}

}  // namespace AppConfigService
