#pragma once

// Included ahead of everything else in the sources that protoc generates for the full runtime (appconfig_generate); no
// other file includes it.
//
// Our texts are bytes: values, options, names and messages come from applications and providers, and need not be UTF-8.
// They are transmitted either way. But generated code with assertions enabled, as they always are here, checks each
// text when it parses or serialises a message, and has the runtime print two lines on standard error about one that is
// not UTF-8, in the application's own process. Declaring the fields as bytes would avoid that, but would change their
// type in descriptors and in programs in other languages.
//
// So the two calls are removed from our generated code. The headers that declare the functions are included first, so
// that these are unchanged for other code: an application's own messages are still checked as it was built.
#include <google/protobuf/parse_context.h>
#include <google/protobuf/wire_format.h>

// Each call names the scope of its function; a constant of that scope replaces the call.
#define VerifyUTF8(text, field) WireFormat::PARSE
#define VerifyUTF8StringNamedField(text, bytes, operation, field) SERIALIZE
