// Whatever a service sends, on either kind of connection, the transport neither hangs nor breaks nor takes it for a
// success that it is not.
#include <poll.h>
#include <sys/socket.h>

#include <atomic>
#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>

#include "InProcessTransport.h"
#include "TransportStatus.h"
#include "configservice.pb.h"
#include "wire/FileDescriptor.h"
#include "wire/FrameCodec.h"

using namespace AppConfigWire;

namespace {

/// Says the same bytes to whoever connects first, and then no more.
class Speaker final : public PbUtility::InProcessPeer {
public:
    explicit Speaker(const std::string& bytes) {
        int ends[2];
        if (socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends) != 0) abort();
        m_end = FileDescriptor(ends[0]);
        if (send(ends[0], bytes.data(), bytes.size(), MSG_NOSIGNAL) != static_cast<ssize_t>(bytes.size())) abort();
        shutdown(ends[0], SHUT_WR);
        m_offered = ends[1];
    }
    ~Speaker() override { FileDescriptor(m_offered.exchange(-1)).reset(); }

    int connect(const std::string&) override {
        errno = ECONNREFUSED;
        return m_offered.exchange(-1);
    }

    /// Takes what the transport says until it closes the connection.
    void listenToTheEnd() {
        pollfd state{m_end.get(), POLLIN, 0};
        char bytes[4096];
        do {
            int ready = 0;
            // The fuzzer's own timer interrupts this now and then.
            do ready = poll(&state, 1, 10000);
            while (ready < 0 && errno == EINTR);
            if (ready != 1) abort();
        } while (recv(m_end.get(), bytes, sizeof bytes, 0) > 0);
    }

private:
    FileDescriptor m_end;
    std::atomic<int> m_offered{-1};
};

/// Asks the service back, as an application's handler may.
void enter(void* context, const MSG_Message* message) {
    auto* transport = static_cast<PbUtility::PbUtils*>(context);
    char owner[128];
    MSG_GetOwnerName(message, owner, sizeof owner);
    MSG_SendMsg(owner, MSG_GetSender(message),
                MSG_Create(1, MSG_GetPayload(message), MSG_GetPayloadBytes(message), owner, 0));
    if (MSG_GetPayloadBytes(message) == 1) transport->send(ConfigIF::ReadReq(), "ConfigSrvc", nullptr);
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
    // What the transport complains of is what it should; the fuzzer itself writes past this.
    stderr = fopen("/dev/null", "w");
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    constexpr std::size_t longest = 64U * 1024;
    if (size == 0 || size > longest) return 0;
    const bool asDelivery = (data[0] & 1U) != 0;
    std::string bytes;
    if ((data[0] & 2U) != 0) {
        Frame welcome;
        welcome.set_kind(WELCOME);
        welcome.mutable_welcome()->set_timeline(7);
        welcome.mutable_welcome()->set_registrations_known(false);
        bytes = encodeFrame(welcome);
    }
    bytes.append(reinterpret_cast<const char*>(data) + 1, size - 1);

    Speaker speaker(bytes);
    PbUtility::TransportOptions options;
    options.frameLimit = 4096;
    options.firstPause = std::chrono::hours(1);
    options.longestPause = std::chrono::hours(1);
    PbUtility::InProcessTransport transport(speaker, options);
    if (asDelivery) {
        const MSG_Callback table[] = {{enter, &transport, 0, UINT32_MAX, 0}, {nullptr, nullptr, 0, 0, 0}};
        transport.addHandlers(table);
        transport.addRemoteEndpoint("ConfigSrvc", -1);
        speaker.listenToTheEnd();
    } else {
        ConfigIF::ReadRsp response;
        const int status = transport.sendWaitResponse(ConfigIF::ReadReq(), &response, "ConfigSrvc");
        if (status == PbUtility::TRANSPORT_TIMED_OUT) abort();
        if (status != PbUtility::TRANSPORT_OK && response.ByteSizeLong() != 0) abort();
        if ((status == PbUtility::TRANSPORT_OK) != PbUtility::lastTransportFailure().empty()) abort();
    }
    return 0;
}
