// What a request through the transport costs, beside what the same bytes cost over a bare socket: one message to
// another process and one back. The other process answers each request at once, so that nothing but the way is
// measured.
#include <benchmark/benchmark.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <sys/wait.h>

#include <cstdio>
#include <cstdlib>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "MessageIds.h"
#include "TransportStatus.h"
#include "UnixTransport.h"
#include "configservice.pb.h"
#include "wire/FileDescriptor.h"
#include "wire/FrameCodec.h"

namespace {

using namespace AppConfigWire;

std::string directory;

sockaddr_un addressOf(const std::string& name) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    (directory + '/' + name).copy(address.sun_path, sizeof address.sun_path - 1);
    return address;
}

FileDescriptor listenAt(const std::string& name) {
    FileDescriptor listener(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
    const sockaddr_un address = addressOf(name);
    if (bind(listener.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0 ||
        listen(listener.get(), 64) != 0) {
        std::perror(name.c_str());
        std::exit(1);
    }
    return listener;
}

std::string replyTo(const Frame& frame) {
    Frame reply;
    if (frame.kind() == HELLO) {
        reply.set_kind(WELCOME);
        reply.mutable_welcome()->set_timeline(1);
    } else {
        ConfigIF::ReadRsp response;
        response.add_value("70");
        response.set_is_default(true);
        reply.set_kind(REPLY);
        reply.set_correlation(frame.correlation());
        reply.set_status(OK);
        reply.set_message_id(ConfigIF::messageId("ConfigIF.ReadRsp"));
        response.SerializeToString(reply.mutable_payload());
    }
    return encodeFrame(reply);
}

/// Answers frames at one socket and echoes bytes at the other, until the parent has gone.
void serve(const FileDescriptor& frames, const FileDescriptor& bytes, const FileDescriptor& parent) {
    struct Client {
        FileDescriptor socket;
        bool echo;
        FrameDecoder decoder;
    };
    std::map<int, Client> clients;
    std::string buffer(1U << 16U, '\0');
    for (;;) {
        std::vector<pollfd> fds{{parent.get(), POLLIN, 0}, {frames.get(), POLLIN, 0}, {bytes.get(), POLLIN, 0}};
        for (const auto& client : clients) fds.push_back({client.first, POLLIN, 0});
        if (poll(fds.data(), fds.size(), -1) < 0 || fds[0].revents != 0) return;
        for (std::size_t i = 1; i < fds.size(); ++i) {
            if (fds[i].revents == 0) continue;
            const int fd = fds[i].fd;
            if (i < 3) {
                FileDescriptor socket(accept(fd, nullptr, nullptr));
                const int accepted = socket.get();
                clients.emplace(accepted, Client{std::move(socket), i == 2, FrameDecoder()});
                continue;
            }
            const ssize_t count = recv(fd, buffer.data(), buffer.size(), 0);
            Client& client = clients.at(fd);
            if (count <= 0) {
                clients.erase(fd);
            } else if (client.echo) {
                send(fd, buffer.data(), static_cast<std::size_t>(count), MSG_NOSIGNAL);
            } else {
                client.decoder.feed(buffer.data(), static_cast<std::size_t>(count));
                Frame frame;
                while (client.decoder.next(frame).value_or(false)) {
                    const std::string reply = replyTo(frame);
                    send(fd, reply.data(), reply.size(), MSG_NOSIGNAL);
                }
            }
        }
    }
}

ConfigIF::ReadReq sampleRequest() {
    ConfigIF::ReadReq request;
    request.set_client_name("PlatCfgSvc0-4711-0");
    request.set_role(CommonIF::SECURITY_ROLE_WIRE_20);
    request.mutable_inst()->add_node()->set_name("display");
    request.mutable_inst()->add_node()->set_name("brightness");
    return request;
}

void bareSocket(benchmark::State& state) {
    const FileDescriptor connection(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
    const sockaddr_un address = addressOf("Echo");
    if (connect(connection.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0) {
        state.SkipWithError("no echo");
        return;
    }
    Frame frame;
    frame.set_kind(REQUEST);
    frame.set_correlation(1);
    frame.set_message_id(ConfigIF::messageId("ConfigIF.ReadReq"));
    sampleRequest().SerializeToString(frame.mutable_payload());
    const std::string bytes = encodeFrame(frame);
    char buffer[1024];
    for (auto step : state) {
        (void)step;
        if (send(connection.get(), bytes.data(), bytes.size(), MSG_NOSIGNAL) < 0 ||
            recv(connection.get(), buffer, sizeof buffer, 0) <= 0) {
            state.SkipWithError("echo ended");
            return;
        }
    }
}

std::unique_ptr<PbUtility::UnixTransport> transport;

void unixTransport(benchmark::State& state) {
    const ConfigIF::ReadReq request = sampleRequest();
    ConfigIF::ReadRsp response;
    for (auto step : state) {
        (void)step;
        if (transport->sendWaitResponse(request, &response, "ConfigSrvc") != PbUtility::TRANSPORT_OK) {
            state.SkipWithError(PbUtility::lastTransportFailure().c_str());
            return;
        }
    }
}

BENCHMARK(bareSocket)->UseRealTime();
BENCHMARK(unixTransport)->UseRealTime();
BENCHMARK(unixTransport)->UseRealTime()->Threads(8);

}  // namespace

int main(int argc, char** argv) {
    char pattern[] = "/tmp/appcfg-bench-XXXXXX";
    if (mkdtemp(pattern) == nullptr) return 1;
    directory = pattern;

    int ends[2];
    if (pipe(ends) != 0) return 1;
    const FileDescriptor parentGone(ends[0]);
    FileDescriptor parentThere(ends[1]);
    const FileDescriptor frames = listenAt("ConfigSrvc");
    const FileDescriptor bytes = listenAt("Echo");
    const pid_t child = fork();
    if (child < 0) return 1;
    if (child == 0) {
        parentThere.reset();
        serve(frames, bytes, parentGone);
        _exit(0);
    }

    PbUtility::TransportOptions options;
    options.runtimeDirectory = directory;
    transport = std::make_unique<PbUtility::UnixTransport>(options);
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    transport.reset();

    parentThere.reset();
    waitpid(child, nullptr, 0);
    unlink((directory + "/ConfigSrvc").c_str());
    unlink((directory + "/Echo").c_str());
    rmdir(directory.c_str());
    return 0;
}
