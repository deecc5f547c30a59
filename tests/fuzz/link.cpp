// Whatever arrives at the link under one of its seven ids, it answers a request that parses, answers nothing else, and
// calls the application with a variable that the application can go on with.
#include <unistd.h>

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <list>
#include <string>
#include <vector>

#include "AppConfig/AppCfgManager.h"
#include "AppConfig/ConsumerConfigHandler.h"
#include "AppConfig/PlatformCfgService.h"
#include "AppConfig/ProviderConfigHandler.h"
#include "MSG.h"
#include "MessageIds.h"
#include "PbUtils.h"
#include "configservice.pb.h"

namespace {

using AppConfig::AppCfgManager;
using AppConfig::PlatformCfgService;
using List = std::list<std::string>;

constexpr char endpoint[] = "fuzz";
constexpr MSG_Address sender = 7;

/// Keeps the rows it is given and counts the answers.
class Transport final : public PbUtility::PbUtils {
public:
    Transport() {
        if (MSG_BindOwner(endpoint, carry, this) != 0) abort();
    }
    ~Transport() override { MSG_UnbindOwner(endpoint); }

    int sendWaitResponse(const google::protobuf::MessageLite&, google::protobuf::MessageLite*,
                         const std::string&) override {
        return 1;
    }
    int send(const google::protobuf::MessageLite&, const std::string&, void*) override { return 1; }
    int addRemoteEndpoint(const std::string&, int) override { return 0; }
    int addHandlers(const MSG_Callback* table) override {
        for (; table->entry != nullptr; ++table) rows.push_back(*table);
        return 0;
    }
    std::string localEndpoint() const override { return endpoint; }

    std::vector<MSG_Callback> rows;
    int answers = 0;

private:
    static int carry(void* context, MSG_Address receiver, MSG_Message* message) {
        if (receiver != sender) abort();
        ++static_cast<Transport*>(context)->answers;
        MSG_Destroy(message);
        return 0;
    }
};

/// Reads back what it hears of, as applications do.
class Consumer final : public ConsumerConfigHandler {
public:
    Consumer() { m_wantsChange = m_wantsSubmit = m_wantsAttribute = m_wantsOptions = m_wantsAccessLevels = true; }

    void onConfigChanged(const std::string& node, int nodeInstance, const std::string& attribute, int attributeInstance,
                         const List& value, const std::string&) override {
        if (!value.empty() && record(node, nodeInstance, attribute, attributeInstance).getValue() != value) abort();
    }
    void onOptionsChanged(const std::string& node, int nodeInstance, const std::string& attribute,
                          int attributeInstance, List, std::string) override {
        if (!record(node, nodeInstance, attribute, attributeInstance).hasOptions()) abort();
    }
    void onSubmit(const std::string&, int, const std::string&, int, int submitType, const std::string&) override {
        if (submitType != 0 && submitType != 1) abort();
    }
    void onAccessLevelsChanged(const std::string& node, int nodeInstance, const std::string& attribute,
                               int attributeInstance, AppConfig::SecurityRole, AppConfig::SecurityRole role,
                               std::string) override {
        const AppConfig::ConfigValue found = record(node, nodeInstance, attribute, attributeInstance);
        if (found.accessLevels().hasWriteRole && role != AppConfig::SECURITY_ROLE_NONE && found.writeRole() != role) {
            abort();
        }
    }

private:
    static AppConfig::ConfigValue record(const std::string& node, int nodeInstance, const std::string& attribute,
                                         int attributeInstance) {
        AppCfgManager* const manager = AppCfgManager::getInstance();
        const auto found = manager->retrieveConfigVar(ConfigVar(0, node, nodeInstance, attribute, attributeInstance));
        if (found == manager->cacheEnd()) abort();
        return found->second;
    }
};

class Provider final : public ProviderConfigHandler {
public:
    bool onDynamicValidate(const std::string&, int, const std::string&, int, const List& value, AppConfig::SecurityRole,
                           ConfigResult& result) override {
        for (const std::string& text : value) result.addResultMessage(text);
        return value.empty();
    }
    bool onChange(const std::string&, int, const std::string&, int, const List& value, AppConfig::SecurityRole,
                  ConfigResult& result) override {
        result.fillConfigResult(false, CFG_ERROR_REJECTED, value.empty());
        return false;
    }
};

struct Application {
    Application() {
        PlatformCfgService* const link = PlatformCfgService::getInstance();
        link->setPbInterface(&transport);
        link->registerHandler("display", "", &consumer);
        link->registerHandler("", "", &consumer);
        link->registerHandler("display", "", &provider);
        if (transport.rows.size() != 7) abort();
    }

    Transport transport;
    Consumer consumer;
    Provider provider;
};

/// A notification is for this client only under its name, which holds the process's number: nobody guesses it, so
/// the first byte says whether a message that can be read gets it.
template <typename Message>
bool readAndAddress(std::string& bytes, bool address) {
    Message message;
    if (!message.ParseFromString(bytes)) return false;
    if (address) {
        // The last one counts, and what the definition does not know stays as it is.
        Message name;
        name.set_client_name("PlatCfgSvc0-" + std::to_string(getpid()) + "-0");
        bytes += name.SerializeAsString();
    }
    return true;
}

bool readAndAddress(std::uint32_t id, std::string& bytes, bool address) {
    if (id == ConfigIF::messageId("ConfigIF.DynamicValidateReq")) {
        return readAndAddress<ConfigIF::DynamicValidateReq>(bytes, address);
    }
    if (id == ConfigIF::messageId("ConfigIF.OnChangeReq")) {
        return readAndAddress<ConfigIF::OnChangeReq>(bytes, address);
    }
    if (id == ConfigIF::messageId("ConfigIF.ConfigChangedNtfy")) {
        return readAndAddress<ConfigIF::ConfigChangedNtfy>(bytes, address);
    }
    if (id == ConfigIF::messageId("ConfigIF.AttributeChangedNtfy")) {
        return readAndAddress<ConfigIF::AttributeChangedNtfy>(bytes, address);
    }
    if (id == ConfigIF::messageId("ConfigIF.OptionsChangedNtfy")) {
        return readAndAddress<ConfigIF::OptionsChangedNtfy>(bytes, address);
    }
    if (id == ConfigIF::messageId("ConfigIF.SubmitNtfy")) return readAndAddress<ConfigIF::SubmitNtfy>(bytes, address);
    return readAndAddress<ConfigIF::AccessLevelChangedNtfy>(bytes, address);
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
    // The link complains of what it cannot read; the fuzzer itself writes to standard error.
    return std::freopen("/dev/null", "w", stdout) == nullptr ? 1 : 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static Application app;
    constexpr std::size_t longest = 64U * 1024;
    if (size < 1 || size > longest) return 0;
    const MSG_Callback& row = app.transport.rows[(data[0] & 0x7FU) % app.transport.rows.size()];
    const bool address = (data[0] & 0x80U) != 0;
    std::string bytes(reinterpret_cast<const char*>(data) + 1, size - 1);
    const bool reads = readAndAddress(row.firstId, bytes, address);
    const bool isRequest = row.firstId == ConfigIF::messageId("ConfigIF.DynamicValidateReq") ||
                           row.firstId == ConfigIF::messageId("ConfigIF.OnChangeReq");

    app.transport.answers = 0;
    MSG_Message* const message =
        MSG_Create(row.firstId, bytes.data(), static_cast<std::uint32_t>(bytes.size()), endpoint, sender);
    row.entry(row.context, message);
    MSG_Destroy(message);

    if (app.transport.answers != (isRequest && reads ? 1 : 0)) abort();
    AppCfgManager::getInstance()->removeVars("");
    return 0;
}
