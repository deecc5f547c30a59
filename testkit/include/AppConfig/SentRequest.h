#pragma once

#include <list>
#include <string>

namespace AppConfigTest {

/// A request that the application under test sent.
struct SentRequest {
    std::string type;              ///< the message's plain name, such as "ReadReq"
    std::string variable;          ///< the dotted name, such as "display.brightness"; empty when it names none
    std::list<std::string> value;  ///< the proposed value or options; of a registration what it is for, one of "apply",
                                   ///< "validate", "change", "attribute", "options", "submit", "access"
    bool awaited = true;           ///< false: the application did not wait for an answer
};

}  // namespace AppConfigTest
