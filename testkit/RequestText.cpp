#include "RequestText.h"

#include <google/protobuf/descriptor.h>
#include <google/protobuf/message.h>

#include <memory>
#include <stdexcept>

#include "AppConfig/ProtobufMessageHelper.h"
#include "RecordingTransport.h"
#include "configservice.pb.h"

namespace AppConfigTest {
namespace {

using google::protobuf::FieldDescriptor;
using google::protobuf::Message;

/// \return the message that was sent; null when this program has no such type.
std::unique_ptr<Message> messageOf(const PbUtility::Exchange& exchange) {
    const auto* const type = google::protobuf::DescriptorPool::generated_pool()->FindMessageTypeByName(exchange.type);
    if (type == nullptr) return nullptr;
    std::unique_ptr<Message> message(google::protobuf::MessageFactory::generated_factory()->GetPrototype(type)->New());
    // Whatever could be sent can be read again, except for what its own required fields lack.
    message->ParsePartialFromString(exchange.request);
    return message;
}

const FieldDescriptor* field(const Message& message, const char* name) {
    return message.GetDescriptor()->FindFieldByName(name);
}

std::string nameOf(const ConfigIF::Inst& inst) {
    std::string node;
    std::string attribute;
    int nodeInstance = 0;
    int attributeInstance = 0;
    AppConfig::ProtobufMessageHelper::getConfigVarName(node, nodeInstance, attribute, attributeInstance, inst);
    return node + "." + attribute;
}

void readTexts(const Message& message, const char* name, std::list<std::string>& texts) {
    const FieldDescriptor* list = field(message, name);
    if (list == nullptr || !list->is_repeated()) return;
    for (int i = 0; i < message.GetReflection()->FieldSize(message, list); ++i) {
        texts.push_back(message.GetReflection()->GetRepeatedString(message, list, i));
    }
}

const char* kindName(int callbackType) {
    constexpr const char* names[] = {"apply", "validate", "change", "attribute", "options", "submit", "access"};
    return callbackType >= 1 && callbackType <= 7 ? names[callbackType - 1] : "unknown";
}

int takeInstance(std::string& text) {
    const std::size_t open = text.find('[');
    if (open == std::string::npos) return 0;
    std::size_t used = 0;
    const int instance = std::stoi(text.substr(open + 1), &used);
    if (open + 1 + used + 1 != text.size() || text.back() != ']') {
        throw std::invalid_argument("'" + text + "' has a malformed instance");
    }
    text.resize(open);
    return instance;
}

}  // namespace

SentRequest describe(const PbUtility::Exchange& exchange) {
    SentRequest result;
    result.type = exchange.type.substr(exchange.type.rfind('.') + 1);
    result.awaited = exchange.kind == PbUtility::Exchange::Kind::request;
    const std::unique_ptr<Message> sent = messageOf(exchange);
    if (!sent) return result;
    const Message& message = *sent;
    const google::protobuf::Reflection& reflection = *message.GetReflection();
    if (const FieldDescriptor* pair = field(message, "inst_value")) {
        const auto& value = dynamic_cast<const ConfigIF::InstValue&>(reflection.GetMessage(message, pair));
        result.variable = nameOf(value.inst());
        result.value = {value.value().begin(), value.value().end()};
    } else if (const FieldDescriptor* inst = field(message, "inst")) {
        // A request for several variables is named after its first.
        if (!inst->is_repeated()) {
            result.variable = nameOf(dynamic_cast<const ConfigIF::Inst&>(reflection.GetMessage(message, inst)));
        } else if (reflection.FieldSize(message, inst) > 0) {
            result.variable =
                nameOf(dynamic_cast<const ConfigIF::Inst&>(reflection.GetRepeatedMessage(message, inst, 0)));
        }
    }
    for (const char* plain : {"var_name", "name"}) {
        if (const FieldDescriptor* name = field(message, plain)) result.variable = reflection.GetString(message, name);
    }
    readTexts(message, "option", result.value);
    if (const FieldDescriptor* type = field(message, "type")) {
        result.value.emplace_back(kindName(reflection.GetEnumValue(message, type)));
    }
    return result;
}

ConfigVar variableOf(const std::string& text) {
    const std::size_t dot = text.rfind('.');
    if (dot == std::string::npos) throw std::invalid_argument("no dot separates node and attribute in '" + text + "'");
    std::string node = text.substr(0, dot);
    std::string attribute = text.substr(dot + 1);
    const int nodeInstance = takeInstance(node);
    const int attributeInstance = takeInstance(attribute);
    ConfigVar var;
    var.init(0, node, nodeInstance, attribute, attributeInstance);
    return var;
}

}  // namespace AppConfigTest
