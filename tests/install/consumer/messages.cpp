// Uses the part of the library that speaks in messages.
#include <AppConfig/PlatformCfgService.h>
#include <AppConfig/ProtobufMessageHelper.h>

int main() {
    const ConfigVar var(5, "Audio", 0, "Volume", 0);
    const ConfigIF::ReadReq request =
        AppConfig::ProtobufMessageHelper::getReadRequest("client", CommonIF::SECURITY_ROLE_WIRE_20, var);
    const auto same = AppConfig::ProtobufMessageHelper::fillBasicMessage<ConfigIF::ReadReq>(
        "client", CommonIF::SECURITY_ROLE_WIRE_20, var);
    const bool equal = request.SerializeAsString() == same.SerializeAsString();
    return equal && request.inst().node_size() == 3 && request.inst().node(1).name() == "audio" ? 0 : 1;
}
