#pragma once

#include <google/protobuf/message.h>

#include <memory>
#include <string>

/// Messages with something in every field, the same on every machine and in every run.
namespace Definition {

/// \return the message called \p fullName: texts tell their field number, numbers are derived from it, enums hold their
/// last value, repeated fields two elements, messages within are filled the same way.
std::unique_ptr<google::protobuf::Message> filled(const std::string& fullName);

std::string hex(const std::string& bytes);
std::string bytes(const std::string& hex);

}  // namespace Definition
