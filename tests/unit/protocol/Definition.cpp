#include "Definition.h"

#include "configadmin.pb.h"
#include "configservice.pb.h"

namespace Definition {

namespace {

using namespace google::protobuf;

std::string typeOf(const FieldDescriptor& field) {
    if (field.message_type() != nullptr) return field.message_type()->full_name();
    if (field.enum_type() != nullptr) return field.enum_type()->full_name();
    return field.type_name();
}

std::string describe(const FieldDescriptor& field) {
    return field.full_name() + " = " + std::to_string(field.number()) +
           (field.is_repeated() ? " repeated " : " optional ") + typeOf(field);
}

}  // namespace

std::vector<const FileDescriptor*> files() {
    return {CommonIF::eErrorType_descriptor()->file(), ConfigIF::Node::descriptor()->file(),
            ConfigAdmin::SubmitReq::descriptor()->file()};
}

std::vector<const Descriptor*> messages() {
    std::vector<const Descriptor*> found;
    for (const FileDescriptor* file : files()) {
        for (int i = 0; i < file->message_type_count(); ++i) found.push_back(file->message_type(i));
    }
    return found;
}

std::vector<std::string> describe() {
    std::vector<std::string> lines;
    for (const Descriptor* message : messages()) {
        for (int i = 0; i < message->field_count(); ++i) lines.push_back(describe(*message->field(i)));
    }
    for (const FileDescriptor* file : files()) {
        for (int i = 0; i < file->enum_type_count(); ++i) {
            const EnumDescriptor* const type = file->enum_type(i);
            for (int j = 0; j < type->value_count(); ++j) {
                lines.push_back(type->full_name() + "." + type->value(j)->name() + " = " +
                                std::to_string(type->value(j)->number()));
            }
        }
    }
    return lines;
}

}  // namespace Definition
