#include "AppConfig/TestKit.h"

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <stdexcept>
#include <utility>

#include "AppConfig/AppConfig.h"
#include "AppConfig/ProtobufMessageHelper.h"
#include "AttachedTransport.h"
#include "FaultTransport.h"
#include "InProcessTransport.h"
#include "KitTransport.h"
#include "MessageIds.h"
#include "OtherClient.h"
#include "RequestText.h"
#include "TransportStatus.h"
#include "server/EmbeddedService.h"
#include "store/MemoryStore.h"

namespace AppConfigTest {
namespace {

// A variable of the kit's own: submitting it sends one more message through the application's delivery connection,
// behind all that is under way there.
constexpr const char* fenceNode = "testkit";
constexpr const char* fenceAttribute = "fence";
constexpr const char* fenceDefinition =
    "\nvariable { node: \"testkit\" attribute: \"fence\" type: BOOL default_value: \"false\" }\n";
constexpr const char* fenceName = "testkit-fence";
constexpr const char* serviceName = "ConfigSrvc";

/// The way from the service's sockets into a transport.
class Peer : public PbUtility::InProcessPeer {
public:
    explicit Peer(AppConfigService::EmbeddedService& service) : m_service(service) {}

    int connect(const std::string& endpoint) override {
        const AppConfig::PlainLock lock(m_mutex);
        if (!m_refusing) return m_service.connect(endpoint);
        errno = ECONNREFUSED;
        return -1;
    }

    /// Closes all connections and refuses further ones.
    void cut() {
        {
            // A connection that is made at this moment is either refused or among those that are closed.
            const AppConfig::PlainLock lock(m_mutex);
            m_refusing = true;
        }
        m_service.disconnect();
    }

    void mend() {
        const AppConfig::PlainLock lock(m_mutex);
        m_refusing = false;
    }

private:
    AppConfigService::EmbeddedService& m_service;
    AppConfig::PlainMutex m_mutex;
    bool m_refusing APPCONFIG_GUARDED_BY(m_mutex) = false;
};

}  // namespace

class TestKit::Impl {
public:
    explicit Impl(const std::string& definitions)
        : service(definitions + fenceDefinition, std::make_shared<AppConfigService::MemoryStore>()),
          other(service),
          peer(service) {
        start();
        real = std::make_unique<PbUtility::InProcessTransport>(peer);
        faults = std::make_unique<PbUtility::FaultTransport>(*real);
        transport = std::make_shared<KitTransport>(*faults);
        prepareFence();
    }

    ~Impl() {
        AttachedTransport::instance().detach(transport);
        // Ends the delivery thread before what its handlers use goes.
        real->end();
    }

    void start() {
        const auto started = service.start();
        if (!started) throw std::invalid_argument(started.error().reason);
    }

    /// Asks for the fence to be sent. \return false when the service does not run.
    bool submitFence() {
        ConfigVar fence;
        fence.init(0, fenceNode, 0, fenceAttribute, 0);
        return other.submit(fence, 0) == CFG_ERROR_NONE;
    }

    AppConfigService::EmbeddedService service;
    OtherClient other;
    Peer peer;
    std::atomic<unsigned> fences = 0;
    bool attached = false;
    std::unique_ptr<PbUtility::InProcessTransport> real;
    std::unique_ptr<PbUtility::FaultTransport> faults;
    std::shared_ptr<KitTransport> transport;

private:
    static void countFence(void* context, const MSG_Message* message) {
        ConfigIF::SubmitNtfy notification;
        const auto bytes = static_cast<int>(MSG_GetPayloadBytes(message));
        if (!notification.ParseFromArray(MSG_GetPayload(message), bytes)) return;
        if (notification.client_name() == fenceName) ++static_cast<Impl*>(context)->fences;
    }

    void prepareFence() {
        constexpr std::uint32_t submitId = ConfigIF::messageId("ConfigIF.SubmitNtfy");
        const MSG_Callback rows[] = {{&Impl::countFence, this, submitId, submitId, 0}, {}};
        // Through the kit's transport, so that waitUntil() notices it, but not recorded among the requests.
        real->addRemoteEndpoint(serviceName, -1);
        transport->addHandlers(rows);
        const auto request = AppConfig::ProtobufMessageHelper::getRegClientCallbackRequest(
            real->localEndpoint(), CommonIF::SECURITY_ROLE_WIRE_20, std::string(fenceNode) + "." + fenceAttribute,
            ConfigIF::CALLBACK_SUBMIT, fenceName);
        ConfigIF::RegisterClientCallbackRsp reply;
        real->sendWaitResponse(request, &reply, serviceName);
    }
};

TestKit::TestKit(const std::string& definitions) : m_impl(std::make_unique<Impl>(definitions)) {}

TestKit::~TestKit() = default;

void TestKit::attach() {
    using AppConfig::AppCfgManager;
    AttachedTransport& attached = AttachedTransport::instance();
    if (!std::exchange(m_impl->attached, true)) attached.attach(m_impl->transport);
    for (AppCfgManager* manager : {AppCfgManager::getInstance(), AppCfgManager::getLocalCfgManager()}) {
        manager->setPbInterface(&attached);
        manager->setSecurityRole(AppConfig::SECURITY_ROLE_1);
        manager->removeVars("");
    }
    attached.repeatRegistrations(*m_impl->real);
}

PbUtility::PbUtils& TestKit::transport() {
    return *m_impl->transport;
}

ConfigResult TestKit::setValue(const std::string& variable, const std::list<std::string>& value,
                               AppConfig::SecurityRole role) {
    return m_impl->other.write(variableOf(variable), value, role);
}

ConfigResult TestKit::setValue(const std::string& variable, const std::string& value, AppConfig::SecurityRole role) {
    return setValue(variable, std::list<std::string>{value}, role);
}

eErrorT TestKit::resetValue(const std::string& variable, AppConfig::SecurityRole role) {
    return m_impl->other.reset(variableOf(variable), role);
}

eErrorT TestKit::setOptions(const std::string& variable, const std::list<std::string>& options, unsigned defaultIndex) {
    return m_impl->other.setOptions(variableOf(variable), options, defaultIndex);
}

eErrorT TestKit::setLevels(const std::string& variable, AppConfig::SecurityRole read, AppConfig::SecurityRole write) {
    return m_impl->other.setLevels(variableOf(variable), read, write);
}

eErrorT TestKit::submit(const std::string& variable, int type) {
    return m_impl->other.submit(variableOf(variable), type);
}

std::list<std::string> TestKit::value(const std::string& variable) {
    return m_impl->other.read(variableOf(variable));
}

void TestKit::answerNothing() {
    answerNormally();
    m_impl->faults->failWith(PbUtility::TRANSPORT_TIMED_OUT);
}

void TestKit::refuse(eErrorT error, const std::string& type) {
    answerNormally();
    const std::uint32_t id = type.empty() ? 0 : ConfigIF::messageId("ConfigIF." + type);
    if (id == 0 && !type.empty()) throw std::invalid_argument("'" + type + "' is not the name of a request");
    // At the service, which knows how each of its replies refuses.
    m_impl->service.intercept([error, id](const AppConfigService::ReceivedRequest& request) {
        AppConfigService::Interception refusal;
        if (!request.awaited || (id != 0 && id != request.messageId)) return refusal;
        refusal.action = AppConfigService::Interception::Action::refuse;
        refusal.error = static_cast<AppConfigService::Error>(error);
        refusal.message = std::string("refused by the test: ") + AppConfig::errorText(error);
        return refusal;
    });
}

void TestKit::breakConnections() {
    answerNormally();
    m_impl->faults->failWith(PbUtility::TRANSPORT_BROKEN_OFF);
    m_impl->peer.cut();
}

void TestKit::answerNormally() {
    m_impl->peer.mend();
    m_impl->faults->heal();
    m_impl->service.intercept({});
}

void TestKit::stopService() {
    m_impl->service.stop();
}

void TestKit::startService() {
    m_impl->start();
}

void TestKit::restartService() {
    stopService();
    startService();
}

std::vector<SentRequest> TestKit::requests() const {
    return m_impl->transport->requests();
}

std::size_t TestKit::countRequests(const std::string& type, const std::string& variable) const {
    const std::vector<SentRequest> sent = requests();
    return static_cast<std::size_t>(std::count_if(sent.begin(), sent.end(), [&](const SentRequest& request) {
        return request.type == type && (variable.empty() || request.variable == variable);
    }));
}

void TestKit::forgetRequests() {
    m_impl->transport->clear();
}

bool TestKit::waitForDeliveries(std::chrono::milliseconds deadline) {
    const auto end = std::chrono::steady_clock::now() + deadline;
    const unsigned before = m_impl->fences;
    // A fence is lost while the application's delivery connection is down, so it is sent until one arrives.
    do {
        if (!m_impl->submitFence()) return false;
        const auto patience = std::min<std::chrono::steady_clock::duration>(end - std::chrono::steady_clock::now(),
                                                                            std::chrono::milliseconds(100));
        if (waitUntil([&] { return m_impl->fences != before; },
                      std::chrono::duration_cast<std::chrono::milliseconds>(patience))) {
            return true;
        }
    } while (std::chrono::steady_clock::now() < end);
    return false;
}

bool TestKit::waitUntil(const std::function<bool()>& condition, std::chrono::milliseconds deadline) {
    return m_impl->transport->waitUntil(condition, deadline);
}

}  // namespace AppConfigTest
