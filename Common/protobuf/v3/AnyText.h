#pragma once

// Included ahead of everything else in the sources that protoc generates for the full runtime (appconfig_generate); no
// other file includes it.
//
// A text of ours is bytes: values, options, names and messages come from applications and providers, and nobody
// promises that they are UTF-8. They travel either way. But the generated code of a build in which assert is alive, as
// it always is here, looks at each text once more when it parses or serialises a message, and has the runtime print two
// lines on standard error about one that is not UTF-8, in a process that is the application's own. Declaring the fields
// as bytes would end that too, and would change what descriptors, and programs in other languages, make of them.
//
// So the two calls are left out of our own generated code. The headers that declare the functions come first, so that
// these stay what they are for everybody: an application's own messages are verified or not as it was built.
#include <google/protobuf/parse_context.h>
#include <google/protobuf/wire_format.h>

// Each call names the scope that it finds its function in; a constant that is found there takes the call's place.
#define VerifyUTF8(text, field) WireFormat::PARSE
#define VerifyUTF8StringNamedField(text, bytes, operation, field) SERIALIZE
