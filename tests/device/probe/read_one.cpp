// Reads one variable through the library, against a platform that knows a single answer.
#include <google/protobuf/message_lite.h>

#include <iostream>
#include <string>

#include "AppConfig/AppConfig.h"
#include "PbUtils.h"
#include "Resident.h"

namespace {

class OneAnswer : public PbUtility::PbUtils {
public:
    int sendWaitResponse(const google::protobuf::MessageLite&, google::protobuf::MessageLite* response,
                         const std::string&) override {
        // Field 2, the value: one text of two bytes. Every other reply is good when it is empty.
        const bool isRead = response->GetTypeName() == "ConfigIF.ReadRsp";
        return response->ParseFromString(isRead ? std::string("\x12\x02") + "70" : std::string()) ? 0 : -1;
    }
    int send(const google::protobuf::MessageLite&, const std::string&, void*) override { return 0; }
    int addRemoteEndpoint(const std::string&, int) override { return 0; }
    int addHandlers(const MSG_Callback*) override { return 0; }
    std::string localEndpoint() const override { return "probe"; }
};

}  // namespace

int main() {
    static OneAnswer transport;
    AppConfig::AppCfgManager* manager = AppConfig::AppCfgManager::getInstance();
    manager->setPbInterface(&transport);
    const std::string value = manager->getConfigVar("display", 0, "brightness", 0);
    if (value != "70") {
        std::cerr << "read '" << value << "' instead of 70\n";
        return 1;
    }
    printResident();
    return 0;
}
