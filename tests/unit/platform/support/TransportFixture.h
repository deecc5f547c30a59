#pragma once

#include <gtest/gtest.h>

#include <chrono>
#include <condition_variable>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "ScriptedPeer.h"
#include "TemporaryDirectory.h"
#include "TransportStatus.h"
#include "UnixTransport.h"
#include "configservice.pb.h"

namespace AppConfigTest {

/// What handlers saw, for a test to wait for. Thread-safe.
class Journal {
public:
    void add(const std::string& entry) {
        const std::lock_guard lock(m_mutex);
        m_entries.push_back(entry);
        m_changed.notify_all();
    }
    /// \return the entries, as soon as there are \p count; fewer when the patience is over.
    std::vector<std::string> await(std::size_t count) {
        std::unique_lock lock(m_mutex);
        m_changed.wait_for(lock, ScriptedPeer::patience, [&] { return m_entries.size() >= count; });
        return m_entries;
    }

private:
    std::mutex m_mutex;
    std::condition_variable m_changed;
    std::vector<std::string> m_entries;
};

/// A peer at the endpoint ConfigSrvc in a directory of its own, and transports to it.
class TransportFixture : public testing::Test {
protected:
    using Status = PbUtility::TransportStatus;

    static std::string path(const TemporaryDirectory& directory) { return directory.path() + "/ConfigSrvc"; }

    PbUtility::TransportOptions options(std::chrono::milliseconds deadline = std::chrono::seconds(20)) const {
        PbUtility::TransportOptions result;
        result.runtimeDirectory = directory.path();
        result.deadline = deadline;
        result.firstPause = std::chrono::milliseconds(5);
        result.longestPause = std::chrono::milliseconds(50);
        return result;
    }

    /// \return the status of a read whose answer is \p text, checked.
    static int read(PbUtility::PbUtils& transport, const std::string& text = "hello",
                    const std::string& endpoint = "ConfigSrvc") {
        ConfigIF::ReadReq request;
        request.set_client_name(text);
        ConfigIF::ReadRsp response;
        const int status = transport.sendWaitResponse(request, &response, endpoint);
        if (status == PbUtility::TRANSPORT_OK) {
            EXPECT_EQ(response.value_size(), 1);
            if (response.value_size() == 1) {
                EXPECT_EQ(response.value(0), text) << "an answer went to another request";
            }
        }
        return status;
    }

    static int write(PbUtility::PbUtils& transport, const std::string& text) {
        ConfigIF::WriteReq request;
        request.set_client_name(text);
        return transport.send(request, "ConfigSrvc", nullptr);
    }

    TemporaryDirectory directory;
    ScriptedPeer peer{path(directory)};
};

}  // namespace AppConfigTest
