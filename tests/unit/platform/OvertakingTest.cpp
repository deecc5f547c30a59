// In which order a thread's messages reach the service: which of them share a connection.
#include <gmock/gmock.h>

#include <condition_variable>
#include <map>
#include <mutex>
#include <vector>

#include "RegistrationsFixture.h"

namespace {

using namespace AppConfigHost;
using namespace AppConfigTest;
using namespace PbUtility;
using testing::ElementsAre;

class Overtaking : public RegistrationsFixture {
protected:
    Overtaking() {
        peer.onOneWay([this](ScriptedPeer::Connection& connection, const Frame&) { note(connection); });
        peer.onRequest([this](ScriptedPeer::Connection& connection, const Frame& frame) {
            note(connection);
            answerRegistration(connection, frame, 0);
        });
    }
    static int unregisterAll(PbUtils& transport) {
        ConfigIF::UnregisterAllClientCallbacksReq request;
        request.set_client_name("self");
        return transport.send(request, "ConfigSrvc", nullptr);
    }
    static int setLevels(PbUtils& transport) {
        return transport.send(ConfigIF::SetAccessLevelsReq(), "ConfigSrvc", nullptr);
    }
    /// \return for each of \p count messages over which connection it came, counted in the order of first messages.
    std::vector<int> connections(std::size_t count) {
        std::unique_lock lock(m_mutex);
        m_changed.wait_for(lock, ScriptedPeer::patience, [&] { return m_sharers.size() >= count; });
        return m_sharers;
    }

private:
    void note(ScriptedPeer::Connection& connection) {
        const std::lock_guard lock(m_mutex);
        const int next = static_cast<int>(m_numbers.size()) + 1;
        m_sharers.push_back(m_numbers.try_emplace(&connection, next).first->second);
        m_changed.notify_all();
    }

    std::mutex m_mutex;
    std::condition_variable m_changed;
    std::map<ScriptedPeer::Connection*, int> m_numbers;
    std::vector<int> m_sharers;
};

TEST_F(Overtaking, IsForRegistrationsBehindWritesAlone) {
    UnixTransport transport(options());
    write(transport, "one");
    write(transport, "two");
    connections(2);
    EXPECT_EQ(registerFor(transport, "display"), TRANSPORT_OK);
    EXPECT_EQ(unregister(transport, "display"), TRANSPORT_OK);
    EXPECT_THAT(connections(4), ElementsAre(1, 1, 2, 1)) << "only an entry is worth it";
}

TEST_F(Overtaking, IsNothingForAnEndOfAllRegistrationsAndForWhatFollowsIt) {
    UnixTransport transport(options());
    write(transport, "one");
    unregisterAll(transport);
    write(transport, "two");
    connections(3);
    EXPECT_EQ(registerFor(transport, "display"), TRANSPORT_OK);
    EXPECT_THAT(connections(4), ElementsAre(1, 1, 1, 1));
}

TEST_F(Overtaking, IsNothingWhereLevelsWereSetAsWell) {
    UnixTransport transport(options());
    setLevels(transport);
    write(transport, "one");
    connections(2);
    EXPECT_EQ(registerFor(transport, "display"), TRANSPORT_OK);
    EXPECT_THAT(connections(3), ElementsAre(1, 1, 1));
}

}  // namespace
