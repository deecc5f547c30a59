#pragma once

#include <deque>
#include <map>
#include <mutex>
#include <string>
#include <tuple>

#include "ForwardingTransport.h"
#include "StandIn.h"
#include "UnixTransport.h"
#include "process/ProcessCode.h"

namespace Simulation {

class Names;

/// A host transport that tells the simulation what passes through it: how long calls take, and what is dispatched when.
/// What it carries it leaves alone. Thread-safe.
class WatchedTransport final : public PbUtility::ForwardingTransport {
public:
    /// \p host and \p names are not owned.
    WatchedTransport(std::unique_ptr<PbUtility::SocketTransport> transport, ProcessHost& host, const Names& names);

    int sendWaitResponse(const google::protobuf::MessageLite& request, google::protobuf::MessageLite* response,
                         const std::string& endpoint) override;
    int send(const google::protobuf::MessageLite& message, const std::string& endpoint, void* reserved) override;
    int addHandlers(const MSG_Callback* table) override;

    /// See SocketTransport::end().
    void end() { m_transport->end(); }

private:
    struct Row {
        WatchedTransport* transport;
        MSG_Callback row;
        AppConfigHost::StandIn inFront;

        Row(WatchedTransport* owner, const MSG_Callback& watched)
            : transport(owner), row(watched), inFront(this, watched.context) {}
    };

    static void entry(void* context, const MSG_Message* message);
    Announcement read(const Row& row, const MSG_Message* message) const;

    const std::unique_ptr<PbUtility::SocketTransport> m_transport;
    ProcessHost& m_host;
    const Names& m_names;
    std::mutex m_mutex;
    std::map<std::tuple<MSG_Entry, void*, std::uint32_t>, Row> m_rows;  ///< one object for equal rows, by m_mutex
};

}  // namespace Simulation
