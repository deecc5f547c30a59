#pragma once

#include <chrono>
#include <cstddef>
#include <functional>
#include <list>
#include <memory>
#include <string>
#include <vector>

#include "AppConfig/ConfigResult.h"
#include "AppConfig/ErrorType.h"
#include "AppConfig/SecurityRole.h"
#include "AppConfig/SentRequest.h"

namespace PbUtility {
class PbUtils;
}

namespace AppConfigTest {

/// A configuration service for an application's unit tests, in the test's own process: no service to start, no socket,
/// no file. It is the real service's code over a transport with the real transport's threads, so what it accepts,
/// refuses and notifies is what a device does. The test creates one, attaches the application's library to it, plays
/// the other clients of the service, and can make things go wrong.
///
///     TestKit kit(R"(variable { node: "display" attribute: "brightness" type: INT default_value: "70" })");
///     kit.attach();
///     Display display;                           // the class under test: reads and watches display.brightness
///     kit.setValue("display.brightness", "30");  // as another client
///     ASSERT_TRUE(kit.waitForDeliveries());
///     EXPECT_EQ(display.brightness(), 30);
///
/// Variables are named as `node.attribute`, where the last dot parts node from attribute, with instances 0; a longer
/// form `node[1].attribute[2]` names others.
///
/// **Ownership.** Owns the service, its state and the transport. Nothing is left behind when it goes. The application's
/// handlers must be unregistered, or outlive the kit, as with any service.
/// **One at a time.** At most one kit is attached; attaching another takes the place of the first. The library's
/// managers live as long as the process and register for a variable only once: what earlier kits of the process were
/// asked to register, a newly attached kit knows from the start, and its requests() does not list that again.
/// **Threads.** Any thread may call any operation, except where it says otherwise; handlers are called on the
/// transport's delivery thread, as on a device. Operations that play another client wait for the service's answer,
/// which for a variable with a provider includes the application's own provider; so they must not be called from a
/// handler.
class TestKit {
public:
    /// Starts a service on \p definitions, which are written as in a definitions file. Throws std::invalid_argument,
    /// with line and reason, when the service would refuse them.
    explicit TestKit(const std::string& definitions);
    TestKit(const TestKit&) = delete;
    TestKit& operator=(const TestKit&) = delete;
    ~TestKit();

    // ---- reaching the application

    /// Sets the transport of the primary and the local manager, empties their caches and sets their role to
    /// SECURITY_ROLE_1, the role of a new process. After the kit has been destroyed the managers find no service.
    void attach();

    /// The transport alone, for a test that sets up links of its own. Valid as long as the kit.
    PbUtility::PbUtils& transport();

    // ---- playing another client, one with every right unless \p role says otherwise

    /// Writes a value and waits for the answer. \return the service's result: m_error is CFG_ERROR_NONE when it was
    /// accepted, and m_messages says why when it was not. CFG_ERROR_UNAVAILABLE when the service is stopped.
    ConfigResult setValue(const std::string& variable, const std::list<std::string>& value,
                          AppConfig::SecurityRole role = AppConfig::SECURITY_ROLE_4);
    ConfigResult setValue(const std::string& variable, const std::string& value,
                          AppConfig::SecurityRole role = AppConfig::SECURITY_ROLE_4);

    /// Returns a variable to its default. \return CFG_ERROR_NONE, or why not.
    eErrorT resetValue(const std::string& variable, AppConfig::SecurityRole role = AppConfig::SECURITY_ROLE_4);

    /// Replaces the options and the default index. \return CFG_ERROR_NONE, or why not.
    eErrorT setOptions(const std::string& variable, const std::list<std::string>& options, unsigned defaultIndex = 0);

    /// Sets both levels. \return CFG_ERROR_NONE, or why not.
    eErrorT setLevels(const std::string& variable, AppConfig::SecurityRole read, AppConfig::SecurityRole write);

    /// Tells every client that registered for it to submit. \return CFG_ERROR_NONE, or why not.
    eErrorT submit(const std::string& variable, int type = 0);

    /// \return the value that the service holds; empty when there is no such variable or the service is stopped.
    std::list<std::string> value(const std::string& variable);

    // ---- making things go wrong for the application, until answerNormally(). The other client's operations are not
    //      touched, and deliveries only by breakConnections(). Each call takes the place of the one before.

    /// Requests get no answer: they do not reach the service, and return at once as one returns whose time ran out.
    /// To the application: reads give their empty value, awaited operations false with the result untouched, one-way
    /// writes false; what is cached stays readable and current.
    void answerNothing();

    /// Awaited requests are refused with \p error, which is not CFG_ERROR_NONE, and have no effect. With \p type, such
    /// as "WriteReq", only requests of that type; throws std::invalid_argument when there is no such type.
    /// To the application: as any refusal of the service, with \p error and a message in the result of a write.
    void refuse(eErrorT error, const std::string& type = {});

    /// Closes every connection of the application, including the delivery connection, and lets it connect again only
    /// after answerNormally(); meanwhile each request fails as when its connection is lost before the reply. The
    /// service keeps the application's registrations.
    ///
    /// To the application: requests fail as with answerNothing(). It is not told of changes, its cache keeps what it
    /// holds, and its providers are not asked, like those of any client that is away. After answerNormally() its
    /// transport reconnects by itself and the newest state of what changed meanwhile arrives; submits of that time are
    /// lost.
    void breakConnections();

    /// Takes back all of the above. waitForDeliveries() then also waits until the connections are up again.
    void answerNormally();

    // ---- the service's own life. Its state outlives it, as a device's does.

    /// Ends the service: requests fail, and the application is not told of anything. Cached values stay readable.
    void stopService();

    /// Starts it again, or does nothing when it runs.
    void startService();

    /// Ends the service and starts it again. The application's transport reconnects by itself; waitForDeliveries()
    /// waits for that, too.
    void restartService();

    // ---- what the application sent

    /// \return every request since the kit was made or forgetRequests() was called, failed ones included, in the order
    /// in which they were begun.
    std::vector<SentRequest> requests() const;

    /// \return how many of requests() have the plain name \p type, such as "ReadReq"; with \p variable, only those.
    std::size_t countRequests(const std::string& type, const std::string& variable = {}) const;

    void forgetRequests();

    // ---- waiting, without sleeping

    /// Waits until the application's handlers have returned for all that the service had to tell so far.
    /// \return false when \p deadline passed before, for instance because the service is stopped.
    bool waitForDeliveries(std::chrono::milliseconds deadline = std::chrono::seconds(5));

    /// Waits until \p condition holds, for as long as \p deadline. It is asked on the calling thread, at once and
    /// whenever the application has sent a request, got an answer or handled a delivery; since it may depend on
    /// something that the kit does not see, also some ten times a second. It may call any operation of the kit. \return
    /// what it said last.
    bool waitUntil(const std::function<bool()>& condition,
                   std::chrono::milliseconds deadline = std::chrono::seconds(5));

private:
    class Impl;
    std::unique_ptr<Impl> m_impl;
};

}  // namespace AppConfigTest
