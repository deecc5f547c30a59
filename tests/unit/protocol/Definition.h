#pragma once

#include <google/protobuf/descriptor.h>

#include <string>
#include <vector>

/// The files of the interface definition, and their messages in the order of the definition.
namespace Definition {

std::vector<const google::protobuf::FileDescriptor*> files();
std::vector<const google::protobuf::Descriptor*> messages();

/// One line for each field and each enum value, such as "ConfigIF.ReadReq.role = 2 optional CommonIF.eSecurityRole":
/// what must not change once released.
std::vector<std::string> describe();

}  // namespace Definition
