#include "GoldenMessage.h"

#include <google/protobuf/descriptor.h>

namespace Definition {

namespace {

using namespace google::protobuf;

void fill(Message& message);

std::string text(const FieldDescriptor& field, int element) {
    return "text " + std::to_string(field.number()) + "-" + std::to_string(element);
}

void setField(Message& message, const FieldDescriptor& field) {
    const Reflection& reflection = *message.GetReflection();
    const int number = field.number();
    switch (field.cpp_type()) {
        case FieldDescriptor::CPPTYPE_INT32: reflection.SetInt32(&message, &field, -number); break;
        case FieldDescriptor::CPPTYPE_INT64: reflection.SetInt64(&message, &field, -1000L * number); break;
        case FieldDescriptor::CPPTYPE_UINT32:
            reflection.SetUInt32(&message, &field, 100U + static_cast<unsigned>(number));
            break;
        case FieldDescriptor::CPPTYPE_UINT64:
            reflection.SetUInt64(&message, &field, 70000U + static_cast<unsigned>(number));
            break;
        case FieldDescriptor::CPPTYPE_BOOL: reflection.SetBool(&message, &field, true); break;
        case FieldDescriptor::CPPTYPE_ENUM: {
            const EnumDescriptor& type = *field.enum_type();
            reflection.SetEnum(&message, &field, type.value(type.value_count() - 1));
            break;
        }
        case FieldDescriptor::CPPTYPE_STRING: reflection.SetString(&message, &field, text(field, 0)); break;
        case FieldDescriptor::CPPTYPE_MESSAGE: fill(*reflection.MutableMessage(&message, &field)); break;
        default: GOOGLE_LOG(FATAL) << "no rule for " << field.full_name();
    }
}

void addElements(Message& message, const FieldDescriptor& field) {
    const Reflection& reflection = *message.GetReflection();
    for (int element = 0; element < 2; ++element) {
        switch (field.cpp_type()) {
            case FieldDescriptor::CPPTYPE_STRING: reflection.AddString(&message, &field, text(field, element)); break;
            case FieldDescriptor::CPPTYPE_MESSAGE: fill(*reflection.AddMessage(&message, &field)); break;
            default: GOOGLE_LOG(FATAL) << "no rule for " << field.full_name();
        }
    }
}

void fill(Message& message) {
    const Descriptor& type = *message.GetDescriptor();
    for (int i = 0; i < type.field_count(); ++i) {
        const FieldDescriptor& field = *type.field(i);
        if (field.is_repeated()) {
            addElements(message, field);
        } else {
            setField(message, field);
        }
    }
}

}  // namespace

std::unique_ptr<Message> filled(const std::string& fullName) {
    const Descriptor* const type = DescriptorPool::generated_pool()->FindMessageTypeByName(fullName);
    std::unique_ptr<Message> message(MessageFactory::generated_factory()->GetPrototype(type)->New());
    fill(*message);
    return message;
}

std::string hex(const std::string& bytes) {
    constexpr char digits[] = "0123456789abcdef";
    std::string text;
    for (const char c : bytes) {
        text += digits[static_cast<unsigned char>(c) >> 4];
        text += digits[static_cast<unsigned char>(c) & 15];
    }
    return text;
}

std::string bytes(const std::string& hex) {
    std::string text;
    for (std::size_t i = 0; i + 1 < hex.size(); i += 2) {
        text += static_cast<char>(std::stoi(hex.substr(i, 2), nullptr, 16));
    }
    return text;
}

}  // namespace Definition
